// Two versions, both of the driver and of the simulator. CMake reads the release from here.

#pragma once

// Macros, so that they can be concatenated with other literals.

// The version that the host knows, in the banner and the ready line. It stays the same in every release.
#define TORVY_VERSION "version 1 (build 001)"  // NOLINT(cppcoreguidelines-macro-usage)

// The release, in the packages, the man pages and torvy-simulator --version. Before a release it ends with "~dev",
// which apt sorts after the previous release and before this one.
#define TORVY_RELEASE "1.2.0~dev"  // NOLINT(cppcoreguidelines-macro-usage)
