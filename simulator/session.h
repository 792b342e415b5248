// One run of the driver between a simulated host and a simulated or real device: starts the driver, sends
// packets to it, and waits.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "peers/child_process.h"
#include "peers/simulated_host.h"
#include "simulator/device.h"
#include "simulator/recorder.h"
#include "simulator/transcript.h"

// A step that failed, with the reason.
struct StepFailed : std::runtime_error {
  using std::runtime_error::runtime_error;
};

class Session {
 public:
  struct Setup {
    std::string driver;  // a path, or a name in PATH
    Device::Endpoint device;
    std::string record;                // file to record to; empty for none
    std::chrono::seconds timeout{30};  // a wait without progress fails after this time plus the driver's pauses
  };

  // Starts the driver; throws std::system_error on failure. The transcript must outlive the session.
  Session(const Setup& setup, Transcript& transcript);

  const Device::Endpoint& Endpoint() const { return endpoint_; }
  Transcript& Output() { return transcript_; }
  SimulatedHost& HostEnd() { return host_; }
  Device& DeviceEnd() { return device_; }
  // Stops or continues the driver: SIGSTOP or SIGCONT.
  void SignalDriver(int signal);
  // Returns the bytes that the device has received and that were not removed yet.
  const std::string& DeviceBytes() const { return device_bytes_; }
  void RemoveDeviceBytes(std::size_t count) { device_bytes_.erase(0, count); }
  Recorder& Recording() { return recorder_; }
  ChildProcess& Driver() { return driver_; }
  bool DriverHasEnded() { return driver_.Status().has_value(); }
  // Returns "status N" or "signal N" once the driver has ended.
  std::string ExitState();
  long MemoryWhenReadyKiB() const { return memory_when_ready_; }
  // Returns what the device receives for the last stream.
  const std::string& StreamBytes() const { return stream_bytes_; }
  bool QuitWasSent() const { return quit_sent_; }

  // The functions below throw StepFailed.

  // Waits until the driver is ready for commands.
  void WaitUntilReady();

  Channel& HostLink();
  Channel& DeviceLink();

  // Send packets, without waiting for an answer. SendStream and SendRawPackets wait until all bytes are sent, Flood
  // until the driver has ended. Those that send data for the device, except Flood, fail if the device link is lost,
  // unless a step closed it.
  void SendCommand(const std::string& address, const std::string& command);
  void SendRaw(const std::string& bytes);
  void SendStream(std::int32_t count);
  void SendRawPackets(std::int32_t count);
  void Flood();
  void Send(cQuorvaneCommand message, const std::string& in_words);
  void Quit();

  void Wait(std::chrono::milliseconds time);
  // Waits for a condition. The timeout is that of the setup plus `driver_pause`. Progress restarts it, so that a slow
  // machine does not fail the session; the total is at most `max_timeouts` times as long.
  void Await(const std::function<bool()>& condition, const std::string& what,
             std::chrono::seconds driver_pause = std::chrono::seconds::zero(), int max_timeouts = kMaxTimeouts);
  void AwaitEnd();
  // Kills the driver if it has not ended, and waits for its remaining output.
  void End();

 private:
  static constexpr std::chrono::seconds kPauseAtEnd{2};
  static constexpr int kMaxTimeouts = 20;

  std::vector<std::string> DriverArguments() const;
  void ShowEvents();
  void ShowConsole();
  void SendUntilAccepted(const std::string& packets, const std::string& in_words);
  void ReportLostCommands();
  // Returns a number that changes with each byte or log entry that is sent or received.
  std::size_t Progress();

  Transcript& transcript_;
  Recorder recorder_;
  const Device::Endpoint endpoint_;
  const std::chrono::seconds timeout_;
  SimulatedHost host_;
  Device device_;
  ChildProcess driver_;
  std::string device_bytes_;
  std::string stream_bytes_;
  std::size_t console_shown_ = 0;
  long memory_when_ready_ = 0;
  int packets_sent_ = 0;
  bool quit_sent_ = false;
};
