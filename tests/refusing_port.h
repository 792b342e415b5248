// A TCP port of the loopback that refuses connections until it listens. It is bound, so that no other process gets it.

#ifndef TESTS_REFUSING_PORT_H_
#define TESTS_REFUSING_PORT_H_

#include <cstdint>

#include "platform/descriptor.h"

// A plain socket outside the event pump: nothing of it can fail in a test that makes calls fail.
class RefusingPort {
 public:
  // Throws std::system_error when no port can be had.
  RefusingPort();

  std::int32_t Number() const { return number_; }
  void Listen() const;
  // The next connection, or -1.
  int Accept() const;

 private:
  platform::Descriptor socket_;
  std::int32_t number_ = 0;
};

#endif  // TESTS_REFUSING_PORT_H_
