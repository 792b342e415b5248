#include "peers/channel.h"

void Channel::Send(std::string_view bytes) {
  if (TakesOutput()) output_.Append(bytes);
}

platform::EventSource::Interest Channel::PrepareToWait() {
  Interest interest = SendBeforeWait(output_);
  interest.read = interest.read && !Paused;
  interest.pending = interest.pending && !Paused;
  return interest;
}

void Channel::HandleReady() {
  if (Paused) {
    TryOutputAgain();
  } else {
    ByteStream::HandleReady();
  }
}

void Channel::Event_DataAvailable() {
  Received += ReadAll();
  if (OnChange) OnChange();
}

void Channel::Event_Error() {
  Ended = true;
  if (OnChange) OnChange();
}
