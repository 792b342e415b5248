// Process-wide state: the host socket, the driver, the device port, and two flags. Main thread only.

#ifndef APP_PROCESS_STATE_H_
#define APP_PROCESS_STATE_H_

#include <memory>

class cQuorvaneDeviceSocket;
class cTorvy;
class iAbstractPort;

struct ProcessState {
  std::shared_ptr<cQuorvaneDeviceSocket> HostSocket;  // null until ConnectToHost
  std::shared_ptr<cTorvy> Driver;                     // null until the port has been opened
  std::shared_ptr<iAbstractPort> DevicePort;          // null until its constructor has returned
  bool DebugMode = false;                             // the host wants detail lines; toggled by its "D" command
  bool QuitRequested = false;                         // the service loop is to end; never cleared

  // Releases the port, then the driver, then the host socket, so that the others can log until the end.
  void Release();
};

// The one instance. The application's destructor releases what it holds.
ProcessState& State();

#endif  // APP_PROCESS_STATE_H_
