// Prints the stack of an uncaught failure on the console.

#pragma once

#include "platform/failure.h"

// Prints "stack trace begin", the names of the functions on the stack (innermost first) and "done logging the stack",
// each followed by an empty line. If the names cannot be determined, prints a line about that error in their place.
void LogStackTrace(const platform::Failure& failure);
