#include "app/process_state.h"

ProcessState& State() {
  static ProcessState state;
  return state;
}
