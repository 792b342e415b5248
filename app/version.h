// The version of the driver and the simulator. CMake reads it from here for the man pages and packages, which use the
// form 1.0.1.

#ifndef APP_VERSION_H_
#define APP_VERSION_H_

// A macro, so that it can be concatenated with other literals.
#define TORVY_VERSION "version 1 (build 001)"  // NOLINT(cppcoreguidelines-macro-usage)

#endif  // APP_VERSION_H_
