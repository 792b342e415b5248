// The console: standard output, a line at a time.

#ifndef PLATFORM_CONSOLE_H_
#define PLATFORM_CONSOLE_H_

#include <string_view>

namespace platform {

// Writes the text and a line end to standard output at once, unbuffered and without allocating. A console that is
// closed loses the line. One that takes nothing is waited for, for one second in the whole life of the process, and
// then loses what it does not take. Nothing is reported.
void PrintLine(std::string_view text);

// As PrintLine, with an empty line after it.
void PrintLineAndEmptyLine(std::string_view text);

}  // namespace platform

#endif  // PLATFORM_CONSOLE_H_
