#include "host/dispatch.h"

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/device_socket.h"
#include "platform/text.h"

namespace {

void Quit(std::string_view log_line) {
  State().QuitRequested = true;
  SendLogToHost(log_line, cQuorvaneDeviceSocket::kLevelOperational);
}

void ActOnControllerCommand(const cQuorvaneCommand& message) {
  using platform::EqualIgnoringCase;
  ProcessState& state = State();
  if (EqualIgnoringCase(message.Command, "Q")) {
    Quit("The torvy plx has been asked to quit. (1)");
  } else if (EqualIgnoringCase(message.Command, "P")) {
    Quit("The torvy plx has been asked to quit. (2)");
  } else if (EqualIgnoringCase(message.Command, "D")) {
    state.DebugMode = !state.DebugMode;
  } else if (EqualIgnoringCase(message.Command, "X")) {
    if (state.DevicePort) state.DevicePort->PortSendData(message.GetSendRawData());
  }
}

}  // namespace

void DispatchHostCommand(const cQuorvaneCommand& message) {
  if (State().DebugMode) {
    LogToHost("received command from Quorvane: " + message.Command, cQuorvaneDeviceSocket::kLevelOperational);
  }
  if (message.fCCM) {
    ActOnControllerCommand(message);
  } else if (const auto driver = State().Driver) {
    driver->HandleQuorvaneCommand(message);
  }
}
