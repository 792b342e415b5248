// Prints the stack of an uncaught failure on the console.

#ifndef APP_STACK_TRACE_H_
#define APP_STACK_TRACE_H_

#include "platform/failure.h"

// Prints a first line, the stack's entries (innermost first) and a last line, each followed by an empty line. If the
// stack cannot be read, prints a fixed line instead of the entries. Called by the application's failure handler.
void LogStackTrace(const platform::Failure& failure);

#endif  // APP_STACK_TRACE_H_
