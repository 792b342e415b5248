#include "host/dispatch.h"

#include "app/process_state.h"
#include "device/torvy.h"
#include "host/log.h"
#include "platform/text.h"
#include "ports/abstract_port.h"

namespace {

void RequestQuit(std::string_view log_text) {
  State().QuitRequested = true;
  QueueLogToHost(log_text, kLogLevelOperational);
}

void HandleControllerCommand(const cQuorvaneCommand& message) {
  using platform::EqualIgnoringCase;
  ProcessState& state = State();
  if (EqualIgnoringCase(message.Command, "Q")) {
    RequestQuit("The torvy plx has been asked to quit. (1)");
  } else if (EqualIgnoringCase(message.Command, "P")) {
    RequestQuit("The torvy plx has been asked to quit. (2)");
  } else if (EqualIgnoringCase(message.Command, "D")) {
    state.DebugMode = !state.DebugMode;
  } else if (EqualIgnoringCase(message.Command, "X")) {
    if (const auto port = state.DevicePort) port->PortSendData(message.GetSendRawData());
  }
}

}  // namespace

void DispatchHostCommand(const cQuorvaneCommand& message) {
  LogInDebugMode("received command from Quorvane: " + message.Command, kLogLevelOperational);
  if (message.fCCM) {
    HandleControllerCommand(message);
  } else if (const auto driver = State().Driver) {
    driver->HandleQuorvaneCommand(message);
  }
}
