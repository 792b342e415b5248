#include "app/process_state.h"

void ProcessState::Release() {
  DevicePort.reset();
  Driver.reset();
  HostSocket.reset();
}

ProcessState& State() {
  static ProcessState state;
  return state;
}
