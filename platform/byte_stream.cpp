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

std::size_t ByteStream::InputWaiting() const {
  int waiting = 0;
  if (!IsOpen() || ioctl(DescriptorNumber(), FIONREAD, &waiting) != 0) return 0;
  return static_cast<std::size_t>(waiting);
}

void ByteStream::SendOutput() {
  std::string& output = connection_.output;
  if (!CanSend() || output.empty()) return;
  ssize_t count = 0;
  do {
    count = write(DescriptorNumber(), output.data(), output.size());
  } while (count < 0 && errno == EINTR);
  if (count >= 0) {
    output.erase(0, static_cast<std::size_t>(count));
    if (output.empty()) output.shrink_to_fit();  // do not keep megabytes after a slow reader has caught up
  } else if (errno != EAGAIN) {
    FailWhenDrained(errno);
  }
}

void ByteStream::Adopt(Descriptor descriptor) {
  descriptor_ = std::move(descriptor);
}

void ByteStream::CloseStream() {
  descriptor_.Reset();
  connection_ = {};
}

void ByteStream::Fail(std::int32_t error) {
  CloseStream();
  connection_.error = error;
  last_error_ = error;
}

void ByteStream::FailWhenDrained(std::int32_t error) {
  connection_.error = error;
  connection_.output.clear();
}

Interest ByteStream::PrepareToWait() {
  SendOutput();
  return {.descriptors = {&descriptor_, 1},
          .read = IsOpen() && !in_data_event_,
          .write = IsOpen() && !connection_.output.empty(),
          .deadline = connection_.error != 0 && !in_data_event_ ? Interest::kNow : Interest::kNever};
}

void ByteStream::HandleReady() {
  if (in_data_event_) return;
  if (IsOpen()) {
    const ssize_t count = Receive(connection_.inbox, receive_size_);
    if (count > 0) {
      RaiseData();
      return;
    }
    const std::int32_t reason = count == 0 ? ECONNRESET : errno;
    if (reason == EAGAIN && connection_.error == 0) return;
    Fail(connection_.error != 0 ? connection_.error : reason);
  }
  if (std::exchange(connection_.error, 0) != 0) Event_Error();
}

// Makes one receive of at most `most` bytes and appends them to `to`. Returns their number, 0 at the end of the stream,
// or -1 with errno set.
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
  const std::weak_ptr<void> lifetime = Lifetime();
  Event_DataAvailable();
  if (lifetime.expired()) return;
  in_data_event_ = false;
  connection_.inbox.clear();
}

}  // namespace platform
