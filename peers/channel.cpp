#include "peers/channel.h"

#include <sys/socket.h>

void Channel::Send(std::string_view bytes) {
  if (CanSend()) QueueOutput(bytes);
}

void Channel::Reset() {
  const linger at_once{1, 0};  // with a time of 0, close sends a reset
  setsockopt(DescriptorNumber(), SOL_SOCKET, SO_LINGER, &at_once, sizeof at_once);
  CloseStream();
}

void Channel::FinishSending() {
  finished_ = true;
  shutdown(DescriptorNumber(), SHUT_WR);
}

platform::Interest Channel::PrepareToWait() {
  platform::Interest interest = ByteStream::PrepareToWait();
  interest.read = interest.read && !Paused;
  if (Paused) interest.deadline = platform::Interest::kNever;
  return interest;
}

void Channel::HandleReady() {
  if (!Paused) ByteStream::HandleReady();
}

void Channel::Event_DataAvailable() {
  Received += ReadAll();
  if (OnChange) OnChange();
}

void Channel::Event_Error() {
  Ended = true;
  if (OnChange) OnChange();
}
