// The simulator's language: one step a line, typed or read from a file.

#ifndef SIMULATOR_SCRIPT_H_
#define SIMULATOR_SCRIPT_H_

#include <chrono>
#include <string>
#include <string_view>

// What one line asks for.
struct Step {
  enum class Kind {
    kNothing,        // an empty line or a comment
    kCommand,        // a device command `text` for the unit at `address`
    kDebug,          // toggle the driver's debug mode
    kRaw,            // pass the bytes in `text` to the device
    kQuit,           // ask the driver to quit
    kHelp,           // list the steps
    kWait,           // let `pause` go by
    kExpectDevice,   // the next bytes that reach the device are `text`
    kExpectLog,      // the driver logs the line `text`
    kNotUnderstood,  // `text` says why
  };
  Kind kind = Kind::kNothing;
  std::string address{};
  std::string text{};
  std::chrono::milliseconds pause{0};
};

Step ReadStep(std::string_view line);

// A text in quotation marks, for a message about it.
std::string Quoted(std::string_view text);

// The steps, one a line, with what they do.
extern const char* const kScriptHelp;

// The session that the simulator plays when it is given nothing else.
extern const char* const kDemonstration;

#endif  // SIMULATOR_SCRIPT_H_
