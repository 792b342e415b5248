// Process-wide state: the host socket, the driver, the device port and two flags. Main thread only.

#pragma once

#include <memory>

class cQuorvaneDeviceSocket;
class cTorvy;
class iAbstractPort;

struct ProcessState {
  std::shared_ptr<cQuorvaneDeviceSocket> HostSocket;  // null until ConnectToHost
  std::shared_ptr<cTorvy> Driver;                     // null until the port's constructor has returned
  std::shared_ptr<iAbstractPort> DevicePort;          // null until its constructor has returned
  bool DebugMode = false;                             // send debug log entries to the host; toggled by its "D" command
  bool QuitRequested = false;                         // ends the service loop; never cleared

  // Releases the port, then the driver, then the host socket, so that the destructors of the first two can still log.
  void Release();
};

// Returns the only instance. The application's destructor releases its contents.
ProcessState& State();
