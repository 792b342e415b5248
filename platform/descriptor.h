// Sole owner of one open descriptor, which it closes.

#ifndef PLATFORM_DESCRIPTOR_H_
#define PLATFORM_DESCRIPTOR_H_

#include <utility>

namespace platform {

class Descriptor {
 public:
  Descriptor() = default;
  using Closer = void (*)(int number);

  // Takes over `number`, or nothing if it is negative. One of 0 to 2 (free when the process was started
  // without them) is moved up first, so that console output can never end on a wire. Sets close-on-exec.
  explicit Descriptor(int number);
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)), closer_(other.closer_) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  bool IsOpen() const { return number_ >= 0; }
  // The number, -1 when nothing is open.
  int Number() const { return number_; }
  // Has `closer` close it.
  void SetCloser(Closer closer) { closer_ = closer; }
  // Closes what is open.
  void Reset();

 private:
  static void Close(int number);

  int number_ = -1;
  Closer closer_ = Close;
};

}  // namespace platform

#endif  // PLATFORM_DESCRIPTOR_H_
