// Standard output, a line at a time.

#ifndef PLATFORM_CONSOLE_H_
#define PLATFORM_CONSOLE_H_

#include <string_view>

namespace platform {

// Writes the text and a line end at once, unbuffered and without allocating. Writes block for at most one second in
// total over the life of the process; later output that would block is dropped, as is output to a closed console.
// Nothing is reported.
void PrintLine(std::string_view text);

// As PrintLine, with an empty line after it.
void PrintLineAndEmptyLine(std::string_view text);

}  // namespace platform

#endif  // PLATFORM_CONSOLE_H_
