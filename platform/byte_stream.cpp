#include "platform/byte_stream.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace platform {

void ByteStream::Poll() {
  EventPump::Instance().RunOnly(*this);
}

std::string ByteStream::ReadAll() {
  std::string bytes = std::move(inbox_);
  inbox_.clear();
  if (in_data_event_) return bytes;

  const std::size_t waiting = InputWaiting();
  if (waiting == 0) return bytes;
  const std::size_t before = bytes.size();
  bytes.resize(before + waiting);
  const ssize_t count = read(DescriptorNumber(), bytes.data() + before, waiting);
  bytes.resize(before + static_cast<std::size_t>(count > 0 ? count : 0));
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
  inbox_.clear();
  error_after_input_ = 0;
  failed_ = false;
  error_due_ = false;
  DescriptorChanged();
}

void ByteStream::FailLater(std::int32_t error) {
  if (failed_) return;
  failed_ = true;
  error_due_ = true;
  last_error_ = error;
}

void ByteStream::FailAfterInput(std::int32_t error) {
  error_after_input_ = error;
}

EventSource::Interest ByteStream::InputInterest() const {
  if (in_data_event_) return {.descriptor = DescriptorNumber()};
  return {.descriptor = DescriptorNumber(),
          .read = IsOpen(),
          .pending = error_due_ || (error_after_input_ != 0 && IsOpen())};
}

EventSource::Interest ByteStream::SendBeforeWait(OutputQueue& output) {
  if (!TakesOutput()) output.Clear();
  if (const std::int32_t error = output.SendTo(DescriptorNumber()); error != 0) FailAfterInput(error);
  Interest interest = InputInterest();
  interest.write = !output.Empty();
  return interest;
}

void ByteStream::HandleInput() {
  if (in_data_event_) return;
  if (IsOpen()) {
    // One buffer for all streams: its bytes are copied out before any handler runs.
    static std::array<char, kReceiveSize> received;
    const ssize_t count = read(DescriptorNumber(), received.data(), received.size());
    if (count > 0) {
      RaiseData(received.data(), static_cast<std::size_t>(count));
      return;
    }
    if (count < 0 && errno == EINTR) return;
    const bool ended = count == 0 || errno != EAGAIN;
    if (!ended && error_after_input_ == 0) return;
    const std::int32_t reason = count == 0 || !ended ? ECONNRESET : errno;
    FailLater(error_after_input_ != 0 ? error_after_input_ : reason);
  }
  if (std::exchange(error_due_, false)) Event_Error();
}

void ByteStream::RaiseData(const char* bytes, std::size_t count) {
  inbox_.append(bytes, count);
  in_data_event_ = true;
  const Watch watch(*this);
  Event_DataAvailable();
  if (!watch.Alive()) return;
  in_data_event_ = false;
  inbox_.clear();
}

}  // namespace platform
