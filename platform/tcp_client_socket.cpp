#include "platform/tcp_client_socket.h"

#include <cerrno>
#include <utility>

namespace platform {

void TcpClientSocket::Connect() {
  Close();
  connector_ = std::make_unique<TcpConnector>(Address, Port, keep_alive_);
}

void TcpClientSocket::Close() {
  connector_.reset();
  CloseStream();
}

void TcpClientSocket::Write(std::string_view bytes) {
  if (!connector_ && !CanSend()) return;
  if (bytes.size() > kOutputLimit - OutputQueued()) {
    connector_.reset();
    Fail(ENOBUFS);
    return;
  }
  QueueOutput(bytes);
}

Interest TcpClientSocket::PrepareToWait() {
  return connector_ ? connector_->PrepareToWait() : ByteStream::PrepareToWait();
}

void TcpClientSocket::HandleReady() {
  if (connector_) {
    auto result = connector_->Advance();
    if (!result) return;
    connector_.reset();
    if (result->socket.IsOpen()) {
      Adopt(std::move(result->socket));
      Event_Connected();
      return;
    }
    Fail(result->error);
  }
  ByteStream::HandleReady();
}

}  // namespace platform
