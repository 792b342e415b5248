// Writes the stack of an uncaught failure to the console.

#ifndef APP_STACK_TRACE_H_
#define APP_STACK_TRACE_H_

#include "platform/failure.h"

// Prints the stack's entries, innermost first, between a first and a last line, each followed by an empty line. If the
// stack cannot be read, a fixed line is printed instead. Called by the application's handler while the process ends.
void LogStackTrace(const platform::Failure& failure);

#endif  // APP_STACK_TRACE_H_
