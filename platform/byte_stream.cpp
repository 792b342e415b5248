#include "platform/byte_stream.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/event_pump.h"

namespace platform {

void ByteStream::Poll() {
  if (in_data_event_ && CanSend()) {
    if (!connection_.output_refused) SendOutput();
    return;
  }
  EventPump::Instance().RunOnly(*this);
}

std::string ByteStream::ReadAll() {
  std::string bytes = std::exchange(connection_.inbox, {});
  if (in_data_event_) return bytes;
  const std::size_t end = bytes.size() + InputWaiting();
  while (bytes.size() < end && Receive(bytes, end - bytes.size()) > 0) {
  }
  return bytes;
}

std::string ByteStream::ReadWaiting(std::size_t most) {
  std::string bytes;
  Receive(bytes, most);
  return bytes;
}

std::size_t ByteStream::InputWaiting() const {
  int waiting = 0;
  if (!IsOpen() || ioctl(DescriptorNumber(), FIONREAD, &waiting) != 0) return 0;
  return static_cast<std::size_t>(waiting);
}

void ByteStream::QueueOutput(std::string_view bytes) {
  connection_.output.Append(bytes);
  RetryOutput();
}

void ByteStream::SendOutput() {
  if (!CanSend() || connection_.output.Empty()) return;
  const std::int32_t error = connection_.output.SendTo(DescriptorNumber());
  if (error != 0) FailWhenDrained(error);
  connection_.output_refused = !connection_.output.Empty();
}

void ByteStream::Adopt(Descriptor descriptor) {
  descriptor_ = std::move(descriptor);
  DescriptorChanged();
}

void ByteStream::CloseStream() {
  descriptor_.Reset();
  connection_ = {};
  DescriptorChanged();
}

void ByteStream::Fail(std::int32_t error) {
  std::string inbox = std::move(connection_.inbox);  // a running data handler may not have read it yet
  CloseStream();
  connection_.inbox = std::move(inbox);
  connection_.error_due = true;
  last_error_ = error;
}

void ByteStream::FailWhenDrained(std::int32_t error) {
  connection_.error_when_drained = error;
  connection_.output.Clear();
}

Interest ByteStream::PrepareToWait() {
  if (!connection_.output_refused) SendOutput();
  const bool failing = connection_.error_due || connection_.error_when_drained != 0;
  return {.descriptor = DescriptorNumber(),
          .read = IsOpen() && !in_data_event_,
          .write = IsOpen() && !connection_.output.Empty(),
          .pending = failing && !in_data_event_};
}

void ByteStream::HandleReady() {
  RetryOutput();
  if (in_data_event_) return;
  if (IsOpen()) {
    const ssize_t count = Receive(connection_.inbox, receive_size_);
    if (count > 0) {
      RaiseData();
      return;
    }
    const std::int32_t reason = count == 0 ? ECONNRESET : errno;
    const std::int32_t earlier = connection_.error_when_drained;
    if (reason == EAGAIN && earlier == 0) return;
    Fail(earlier != 0 ? earlier : reason);
  }
  if (std::exchange(connection_.error_due, false)) Event_Error();
}

// Receives once and appends the bytes to `to`. Returns their number, 0 at the end of the stream, or -1 with errno set.
std::ptrdiff_t ByteStream::Receive(std::string& to, std::size_t most) const {
  static std::array<char, kReceiveSize> buffer;  // shared by all streams: it is copied before any handler runs
  ssize_t count = 0;
  do {
    count = read(DescriptorNumber(), buffer.data(), std::min(most, buffer.size()));
  } while (count < 0 && errno == EINTR);
  if (count > 0) to.append(buffer.data(), static_cast<std::size_t>(count));
  return count;
}

void ByteStream::RaiseData() {
  in_data_event_ = true;
  const LifetimeGuard guard(*this);
  Event_DataAvailable();
  if (!guard.Alive()) return;
  in_data_event_ = false;
  connection_.inbox.clear();
}

}  // namespace platform
