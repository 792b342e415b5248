#include "app/stack_trace.h"

#include <string>

#include "platform/console.h"
#include "platform/event_pump.h"

void LogStackTrace(const platform::Failure& failure) {
  platform::PrintLineAndEmptyLine("stack trace begin");
  try {
    for (const std::string& entry : failure.Stack()) {
      platform::PrintLineAndEmptyLine(entry);
      platform::YieldToBackground();
    }
  } catch (...) {
    platform::PrintLineAndEmptyLine("there was an error while logging the stack trace");
  }
  platform::PrintLineAndEmptyLine("done logging the stack");
}
