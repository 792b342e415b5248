// The real driver as a child process between a simulated host and a device, serial or in the network.

#ifndef TESTS_DRIVER_RUN_H_
#define TESTS_DRIVER_RUN_H_

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulator/child_process.h"
#include "simulator/listener.h"
#include "simulator/pseudo_terminal.h"
#include "simulator/simulated_host.h"
#include "simulator/wait.h"

class DriverRun : public testing::Test {
 protected:
  static constexpr const char* kReady = "Torvy Serial Remote Control interface version 1 (build 001) ready.";
  static constexpr const char* kPipeError = "Quorvane Pipe Error\n\n";

  SimulatedHost host;
  PseudoTerminal terminal;
  Listener network_device;
  std::unique_ptr<ChildProcess> driver;

  void Start(const std::vector<std::string>& arguments, const std::function<void()>& prepare = nullptr) {
    driver = std::make_unique<ChildProcess>(TORVY_DRIVER, arguments, prepare);
  }
  // Starts the driver on a serial port, by default the pseudo-terminal, and waits until it is connected to
  // the host.
  void StartSerial(const std::string& port = {}, const std::function<void()>& prepare = nullptr) {
    Start({port.empty() ? terminal.Path() : port, "127.0.0.1", std::to_string(host.Port()), "17"}, prepare);
    ASSERT_TRUE(WaitFor([this] { return host.ConnectionID() == "17"; }));
  }
  void StartIP(std::int32_t device_port) {
    Start({"ip", "", std::to_string(host.Port()), "", "more", "127.0.0.1", std::to_string(device_port)});
    ASSERT_TRUE(WaitFor([this] { return host.ConnectionID() == ""; }));
  }
  void WaitUntilReady() {
    ASSERT_TRUE(WaitFor([this] { return host.HasLogged(kReady); }));
    EXPECT_EQ(host.Log().back(), (SimulatedHost::LogLine{2, kReady}));
  }
  void StartSerialAndWait() {
    StartSerial();
    WaitUntilReady();
  }
  void StartIPAndWait() {
    StartIP(network_device.Port());
    WaitUntilReady();
  }

  Channel& SerialDevice() { return terminal.Line(); }
  Channel& NetworkDevice() { return *network_device.Peer(); }

  bool Got(Channel& device, const std::string& bytes) {
    return WaitFor([&] { return device.Received == bytes; });
  }
  bool Logged(const std::string& text) {
    return WaitFor([&] { return host.HasLogged(text); });
  }
  // Waits for the driver's end and returns its status; -1 if it does not end.
  int End() {
    WaitFor([this] { return driver->Status() && driver->Output().Ended; });
    return driver->Status().value_or(-1);
  }
  int Quit() {
    host.Send(ControllerCommand("Q"));
    EXPECT_TRUE(Logged("The torvy plx has been asked to quit. (1)"));
    return End();
  }
  const std::string& Console() { return driver->Output().Received; }
};

#endif  // TESTS_DRIVER_RUN_H_
