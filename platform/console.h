// Prints lines on standard output.

#pragma once

#include <string_view>

namespace platform {

// Writes the text and a line end immediately, without buffering or allocating. All writes of the process together block
// for at most one second; later output that would block is dropped, as is output to a closed console. Reports no
// errors.
void PrintLine(std::string_view text);

}  // namespace platform
