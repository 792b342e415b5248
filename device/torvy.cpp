#include "device/torvy.h"

#include "app/process_state.h"
#include "device/actions.h"
#include "host/log.h"
#include "platform/text.h"

namespace {

constexpr std::size_t kAddressPieceCharacters = 2;

const TorvyAction* FindAction(std::string_view name) {
  for (const TorvyAction& action : kTorvyActions) {
    if (platform::EqualIgnoringCase(action.name, name)) return &action;
  }
  return nullptr;
}

void ReportUnsupported(const std::string& command) {
  LogToHost("unsupported command: " + command, kLogLevelDetail);
}

}  // namespace

void cTorvy::HandleQuorvaneCommand(const cQuorvaneCommand& command) {
  if (!command.MultiDict) {
    if (!platform::EqualIgnoringCase(command.Header, "L")) ReportUnsupported(command.GetLogLine());
    return;
  }
  const std::string address = command.GetMulti("addr");
  const std::string name = command.GetMulti("mcmd");
  const TorvyAction* const action = FindAction(name);
  if (action == nullptr) {
    ReportUnsupported(name);
    return;
  }
  std::string torvy_command(platform::FirstCharacters(address, kAddressPieceCharacters));
  torvy_command += platform::LastCharacters(address, kAddressPieceCharacters);
  torvy_command += action->letter;
  if (const auto port = State().DevicePort) port->PortSendData(torvy_command);
  LogInDebugMode("sending command: (" + torvy_command + ")");
}

void cTorvy::PortDataAvailable(const std::string& /*data*/) {}

void cTorvy::PortError(const std::string& /*message*/, std::int32_t /*code*/) {}
