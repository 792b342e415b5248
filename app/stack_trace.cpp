#include "app/stack_trace.h"

#include <string>

#include "platform/console.h"
#include "platform/event_pump.h"

namespace {

void PrintEntry(std::string_view text) {
  platform::PrintLine(text);
  platform::PrintLine("");
}

}  // namespace

void LogStackTrace(const platform::Failure& failure) {
  PrintEntry("stack trace begin");
  try {
    for (const std::string& entry : failure.Stack()) {
      PrintEntry(entry);
      platform::YieldToBackground();
    }
  } catch (...) {
    PrintEntry("there was an error while logging the stack trace");
  }
  PrintEntry("done logging the stack");
}
