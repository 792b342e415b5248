#include "ports/serial_port_abstractor.h"

#include <utility>

#include "app/process_state.h"
#include "host/log.h"

namespace {

constexpr std::int32_t kDataBits = 8;
constexpr std::int32_t kBitsPerSecond = 9600;

void ReportOpenFailure(const std::string& log_text) {
  QueueLogToHost(log_text, kLogLevelDetail);
  State().QuitRequested = true;
}

}  // namespace

cSerialPortAbstractor::cSerialPortAbstractor(std::string port_name) : MyPortName(std::move(port_name)) {
  SetupAndOpen();
}

void cSerialPortAbstractor::SetupAndOpen() {
  if (!Find(MyPortName)) {
    ReportOpenFailure("torvy: unable to find a serial port named: " + MyPortName);
    return;
  }
  SetDataBits(kDataBits);
  SetParity(ParityKind::kNone);
  SetSpeed(kBitsPerSecond);
  SetDtr(true);
  if (!Open()) ReportOpenFailure("torvy: unable to open the port named: " + MyPortName);
}

void cSerialPortAbstractor::Event_DataAvailable() {
  const std::string data = ReadAll();
  if (const auto receiver = Parent) receiver->PortDataAvailable(data);
}

void cSerialPortAbstractor::Event_Error() {
  if (const auto receiver = Parent) receiver->PortError("", LastErrorCode());
}

void cSerialPortAbstractor::PortSetParent(std::shared_ptr<iAbstractPortReceiver> receiver) {
  Parent = std::move(receiver);
}

void cSerialPortAbstractor::PortSendData(const std::string& data) {
  // Commands received together with the quit are still sent, but a slow line must not delay the exit for long.
  if (State().QuitRequested) LimitOutput();
  Write(data);
  WaitTransmitted();
}

bool cSerialPortAbstractor::PortOpen() {
  return Open();
}

void cSerialPortAbstractor::PortClose() {
  Close();
}

void cSerialPortAbstractor::PortClear() {
  Close();
  Parent.reset();
}

void cSerialPortAbstractor::PortFlush() {
  const std::size_t count = Flush();
  if (!State().DebugMode) return;
  QueueLogToHost(count == 0 ? "port flush empty" : "port flush reads " + std::to_string(count) + " bytes.",
                 kLogLevelDetail);
}

void cSerialPortAbstractor::PortPoll() {
  Poll();
}

void cSerialPortAbstractor::PortXmitWait() {
  WaitTransmitted();
}
