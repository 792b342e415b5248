#include "platform/byte_stream.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

namespace platform {

void ByteStream::Poll() {
  // Only sending is possible then, and what was just refused would be refused again.
  if (in_data_event_ && opening_.output_refused) return;
  EventPump::Instance().RunOnly(*this);
}

std::string ByteStream::ReadAll() {
  std::string bytes = std::exchange(opening_.inbox, {});
  if (!in_data_event_) bytes += ReadWaiting(InputWaiting());
  return bytes;
}

std::string ByteStream::ReadWaiting(std::size_t most) {
  std::string bytes(std::min(most, InputWaiting()), '\0');
  if (bytes.empty()) return bytes;
  const ssize_t count = read(DescriptorNumber(), bytes.data(), bytes.size());
  bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
  return bytes;
}

std::size_t ByteStream::InputWaiting() const {
  int waiting = 0;
  if (!IsOpen() || ioctl(DescriptorNumber(), FIONREAD, &waiting) != 0) return 0;
  return static_cast<std::size_t>(waiting);
}

void ByteStream::Use(Descriptor descriptor) {
  CloseStream();
  descriptor_ = std::move(descriptor);
}

void ByteStream::CloseStream() {
  descriptor_.Reset();
  opening_ = {};
  DescriptorChanged();
}

void ByteStream::FailLater(std::int32_t error) {
  if (opening_.failed) return;
  opening_.failed = true;
  opening_.error_due = true;
  last_error_ = error;
  OnFailure();
}

void ByteStream::FailAfterInput(std::int32_t error) {
  opening_.error_after_input = error;
}

Interest ByteStream::InputInterest() const {
  if (in_data_event_) return {.descriptor = DescriptorNumber()};
  return {.descriptor = DescriptorNumber(),
          .read = IsOpen(),
          .pending = opening_.error_due || (opening_.error_after_input != 0 && IsOpen())};
}

Interest ByteStream::SendBeforeWait(OutputQueue& output) {
  if (!TakesOutput()) output.Clear();
  if (!opening_.output_refused || output.Empty()) {
    if (const std::int32_t error = output.SendTo(DescriptorNumber()); error != 0) FailAfterInput(error);
    opening_.output_refused = !output.Empty();
  }
  Interest interest = InputInterest();
  interest.write = !output.Empty();
  return interest;
}

void ByteStream::HandleInput() {
  TryOutputAgain();
  if (in_data_event_) return;
  if (IsOpen()) {
    // One buffer for all streams: its bytes are copied out before any handler runs.
    static std::array<char, kReceiveSize> received;
    const ssize_t count = read(DescriptorNumber(), received.data(), receive_size_);
    if (count > 0) {
      RaiseData(received.data(), static_cast<std::size_t>(count));
      return;
    }
    if (count < 0 && errno == EINTR) return;
    const bool ended = count == 0 || errno != EAGAIN;
    if (!ended && opening_.error_after_input == 0) return;
    const std::int32_t reason = count == 0 || !ended ? ECONNRESET : errno;
    FailLater(opening_.error_after_input != 0 ? opening_.error_after_input : reason);
  }
  if (std::exchange(opening_.error_due, false)) Event_Error();
}

void ByteStream::RaiseData(const char* bytes, std::size_t count) {
  opening_.inbox.append(bytes, count);
  in_data_event_ = true;
  const LifetimeGuard guard(*this);
  Event_DataAvailable();
  if (!guard.Alive()) return;
  in_data_event_ = false;
  opening_.inbox.clear();
}

}  // namespace platform
