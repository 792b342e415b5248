// The application: start-up, service loop and shutdown.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "app/version.h"
#include "platform/console_application.h"

class App : public platform::ConsoleApplication {
 public:
  // Logged to the host once the device port is open, unless the host has asked to quit.
  static constexpr std::string_view kReadyLine = "Torvy Serial Remote Control interface " TORVY_VERSION " ready.";

  // Runs the driver and returns 0. After the program's path, the arguments are the device port or "IP", the host's
  // address and port, the connection identifier and, with "IP", the device's address and port as the last two. With one
  // argument, prints the banner; with none, two or three, the usage line.
  std::int32_t Event_Run(const std::vector<std::string>& arguments) override;

  // Prints the failure's stack on the console and returns false, so that the process aborts.
  bool Event_UnhandledException(const platform::Failure& failure) override;

  App() = default;
  // Releases the process state.
  ~App() override;
};
