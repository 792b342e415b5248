// A port of this computer that refuses every connection until it listens: it is taken, so that nobody else can.

#ifndef TESTS_REFUSING_PORT_H_
#define TESTS_REFUSING_PORT_H_

#include <cstdint>

#include "platform/descriptor.h"

// Nothing but a socket, outside the event pump: a far end that cannot fail after it was made.
class RefusingPort {
 public:
  // Throws std::system_error when no port can be had.
  RefusingPort();

  std::int32_t Number() const { return number_; }
  void Listen() const;
  // A connection that has come, or -1.
  int Accept() const;

 private:
  platform::Descriptor socket_;
  std::int32_t number_ = 0;
};

#endif  // TESTS_REFUSING_PORT_H_
