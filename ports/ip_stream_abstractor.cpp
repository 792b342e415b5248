#include "ports/ip_stream_abstractor.h"

#include <chrono>
#include <utility>

#include "app/process_state.h"
#include "host/log.h"
#include "platform/clock.h"
#include "platform/event_pump.h"

namespace {

constexpr std::int64_t kConnectLimitTicks = 600;
constexpr std::chrono::milliseconds kWaitSlice{250};

}  // namespace

cIPStreamAbstractor::cIPStreamAbstractor(std::string address, std::int32_t port) {
  Address = std::move(address);
  Port = port;
  if (cIPStreamAbstractor::PortOpen()) return;
  QueueLogToHost("IP Open  to " + Address + ":" + std::to_string(Port) + " failed.", kLogLevelOperational);
  State().QuitRequested = true;
}

bool cIPStreamAbstractor::PortOpen() {
  LogInDebugMode("torvy opening IP connection, polling and waiting...");
  Connect();
  const std::int64_t start = platform::Ticks();
  while (platform::Ticks() - start < kConnectLimitTicks && !IsConnected()) {
    Poll();
    platform::EventPump::Instance().Run(kWaitSlice);
    platform::YieldToBackground();
  }
  const std::string outcome = IsConnected() ? "is open" : "failed to open";
  LogInDebugMode("torvy Connection " + outcome + " after " + std::to_string(platform::Ticks() - start) + " ticks.");
  return IsConnected();
}

void cIPStreamAbstractor::Event_DataAvailable() {
  const std::string data = ReadAll();
  if (const auto receiver = Parent) receiver->PortDataAvailable(data);
}

void cIPStreamAbstractor::Event_Error() {
  if (const auto receiver = Parent) receiver->PortError("", LastErrorCode());
}

void cIPStreamAbstractor::Event_Connected() {
  LogInDebugMode("torvy Device connection event. ");
  InitialFlush = true;
}

void cIPStreamAbstractor::PortSetParent(std::shared_ptr<iAbstractPortReceiver> receiver) {
  Parent = std::move(receiver);
}

void cIPStreamAbstractor::PortSendData(const std::string& data) {
  Write(data);
}

void cIPStreamAbstractor::PortClose() {
  SendOutput();  // a command received together with the quit may still be queued
  Close();
}

void cIPStreamAbstractor::PortClear() {
  cIPStreamAbstractor::PortClose();
  Parent.reset();
}

void cIPStreamAbstractor::PortFlush() {
  const std::size_t count = ReadAll().size();
  if (State().DebugMode) QueueLogToHost("port flush reads " + std::to_string(count) + " bytes.", kLogLevelDetail);
}

void cIPStreamAbstractor::PortPoll() {
  Poll();
}

void cIPStreamAbstractor::PortXmitWait() {
  Poll();
}
