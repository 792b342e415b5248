#include "platform/descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace platform {

Descriptor::Descriptor(int number) : number_(number) {
  if (number > STDERR_FILENO) {
    fcntl(number, F_SETFD, FD_CLOEXEC);
  } else if (number >= 0) {
    number_ = fcntl(number, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    close(number);
  }
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    Reset();
    number_ = std::exchange(other.number_, -1);
    closer_ = other.closer_;
  }
  return *this;
}

void Descriptor::SetNonBlocking() const {
  fcntl(number_, F_SETFL, O_NONBLOCK);
}

void Descriptor::Reset() {
  if (number_ >= 0) closer_(number_);
  number_ = -1;
}

void Descriptor::Close(int number) {
  close(number);
}

}  // namespace platform
