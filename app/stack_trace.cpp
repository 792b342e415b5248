#include "app/stack_trace.h"

#include <exception>
#include <string>
#include <string_view>

#include "platform/console.h"
#include "platform/event_pump.h"

namespace {

void PrintSpaced(std::string_view text) {
  platform::PrintLine(std::string(text) + std::string(platform::kEndOfLine));
}

}  // namespace

void LogStackTrace(const platform::Failure& failure) {
  PrintSpaced("stack trace begin");
  try {
    for (const std::string& entry : failure.Stack()) {
      PrintSpaced(entry);
      platform::YieldToBackground();
    }
  } catch (const std::exception&) {
    PrintSpaced("there was an error while logging the stack trace");
  }
  PrintSpaced("done logging the stack");
}
