// The version of the driver and the simulator. It stands here alone: CMake hands it on to the man pages and packages,
// whose form of it is 1.0.1.

#ifndef APP_VERSION_H_
#define APP_VERSION_H_

// A macro, to be part of longer texts.
#define TORVY_VERSION "version 1 (build 001)"  // NOLINT(cppcoreguidelines-macro-usage)

#endif  // APP_VERSION_H_
