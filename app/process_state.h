// What the whole process shares: the two links, the driver between them, and two flags. Main thread only.

#ifndef APP_PROCESS_STATE_H_
#define APP_PROCESS_STATE_H_

#include <memory>

#include "platform/event_pump.h"
#include "ports/abstract_port.h"

class cQuorvaneDeviceSocket;
class cTorvy;

// Members leave in reverse order: the port, then the driver, then the host socket, which can log until the end.
struct ProcessState {
  std::shared_ptr<cQuorvaneDeviceSocket> HostSocket;  // null until ConnectToHost
  std::shared_ptr<cTorvy> Driver;                     // null until the port has been opened
  std::unique_ptr<iAbstractPort> DevicePort;          // null until its constructor has returned
  bool DebugMode = false;                             // the host wants detail lines; toggled by its "D" command
  bool QuitRequested = false;                         // the service loop is to end; never cleared
};

// The one instance, which lives until the process ends.
inline ProcessState& State() {
  // Sources of events must leave before the pump, so the pump has to be there first.
  [[maybe_unused]] static platform::EventPump& pump = platform::EventPump::Instance();
  static ProcessState state;
  return state;
}

#endif  // APP_PROCESS_STATE_H_
