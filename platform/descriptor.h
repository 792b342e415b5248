// Owns one open descriptor and closes it.

#pragma once

#include <utility>

namespace platform {

class Descriptor {
 public:
  Descriptor() = default;
  using Closer = void (*)(int number);

  // Takes ownership of `number`, or of nothing if it is negative, and sets close-on-exec. Replaces a number from 0 to
  // 2, which is free if the process was started without standard descriptors, by a higher one: console output must
  // never go to a device.
  explicit Descriptor(int number);
  ~Descriptor() { Reset(); }
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)), closer_(other.closer_) {}
  Descriptor& operator=(Descriptor&& other) noexcept;

  bool IsOpen() const { return number_ >= 0; }
  // Returns the number; -1 if nothing is open.
  int Number() const { return number_; }
  // Sets the function that closes the descriptor.
  void SetCloser(Closer closer) { closer_ = closer; }
  // Makes calls on the open descriptor return instead of waiting.
  void SetNonBlocking() const;
  // Closes the descriptor, if it is open.
  void Reset();

 private:
  static void Close(int number);

  int number_ = -1;
  Closer closer_ = Close;
};

}  // namespace platform
