// The simulator's language: one step a line, typed or read from a file.

#ifndef SIMULATOR_SCRIPT_H_
#define SIMULATOR_SCRIPT_H_

#include <cstdint>
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
    kWait,           // let `count` milliseconds go by
    kStream,         // `count` device commands at once, for the units 0000 and up
    kFill,           // `count` packets of raw data at once
    kFlood,          // device commands without end, until the driver ends
    kFault,          // do what `text` names to a link or to the driver
    kExpectDevice,   // the next bytes that reach the device are `text`
    kExpectStream,   // all that the last stream asked for reaches the device
    kExpectLog,      // the driver logs the line `text`
    kExpectConsole,  // the driver's console has shown `text`
    kExpectIdle,     // the driver is at rest
    kExpectEnd,      // the driver ends by itself, with status 0
    kExpectMemory,   // the driver, which has ended, never had more than `count` MiB
    kNotUnderstood,  // `text` says why
  };
  Kind kind = Kind::kNothing;
  std::string address{};
  std::string text{};
  std::int32_t count = 0;
};

Step ReadStep(std::string_view line);

// A text in quotation marks, for a message about it.
std::string Quoted(std::string_view text);

// The steps, one a line, with what they do.
extern const char* const kScriptHelp;

// The session that the simulator plays when it is given nothing else.
extern const char* const kDemonstration;

#endif  // SIMULATOR_SCRIPT_H_
