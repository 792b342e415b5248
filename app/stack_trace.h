// Prints the stack of an uncaught failure on the console.

#ifndef APP_STACK_TRACE_H_
#define APP_STACK_TRACE_H_

#include "platform/failure.h"

// Prints "stack trace begin", the names of the functions on the stack (innermost first) and "done logging the stack",
// each followed by an empty line. If the names cannot be determined, prints a line about that error in their place.
void LogStackTrace(const platform::Failure& failure);

#endif  // APP_STACK_TRACE_H_
