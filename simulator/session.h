// One run of the driver between a simulated host and a simulated or real device.

#ifndef SIMULATOR_SESSION_H_
#define SIMULATOR_SESSION_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "peers/child_process.h"
#include "peers/simulated_host.h"
#include "simulator/device.h"
#include "simulator/recorder.h"
#include "simulator/steps.h"
#include "simulator/transcript.h"

class Session {
 public:
  struct Setup {
    std::string driver;  // path of the driver executable
    Device::Endpoint device;
    std::chrono::seconds patience{30};  // how long to wait without progress, in addition to the driver's pauses
  };

  // Starts the driver; throws std::system_error on failure. The transcript and recorder must outlive the session.
  Session(const Setup& setup, Transcript& transcript, Recorder& recorder);

  // Waits until the driver is ready for commands. Returns false, with the reason in the transcript, on failure.
  bool WaitUntilReady();

  // Performs a step. Returns false, with the reason in the transcript, on failure; `position`, such as "file:7",
  // precedes the reason.
  bool Perform(const Step& step, const std::string& position = {});

  // Asks the driver to quit, unless it was asked or has ended, and waits for its end. Returns true if it ended with
  // status 0, the host received nothing unexpected, no commands were lost (other than by CloseDeviceLink, if no device
  // bytes were expected) and, once device bytes were expected, all of them were.
  bool Finish();

  const Device::Endpoint& Endpoint() const { return endpoint_; }
  // Whether commands were sent while the device link was closed.
  bool CommandsWereLost() const { return commands_lost_; }
  bool QuitWasSent() const { return quit_sent_; }
  bool DriverHasEnded() { return driver_.Status().has_value(); }

  // What the steps act on. DeviceLink exists only if the device is visible.
  Transcript& Output() { return transcript_; }
  Channel& HostLink() { return *host_.Link(); }
  Channel& DeviceLink() { return *device_.Link(); }
  ChildProcess& Driver() { return driver_; }

  // The actions of the steps; false on failure. SendStream and SendRawPackets wait until all bytes are sent; none waits
  // for an answer.
  bool SendCommand(const std::string& address, const std::string& command);
  bool ToggleDebugMode();
  bool SendRaw(const std::string& bytes);
  bool SendStream(std::int32_t count);
  bool SendRawPackets(std::int32_t count);
  bool Flood();
  bool Wait(std::int32_t milliseconds);
  bool Quit();
  void CloseDeviceLink();
  bool ExpectDevice(const std::string& bytes);
  bool ExpectStream();
  bool ExpectLog(const std::string& text);
  bool ExpectConsole(const std::string& text);
  bool ExpectIdle();
  bool ExpectEnd();
  bool ExpectMemory(std::int32_t mebibytes);

 private:
  std::vector<std::string> DriverArguments() const;
  void ShowEvents();
  bool Send(cQuorvaneCommand message, const std::string& in_words);
  bool SendUntilTaken(const std::string& packets, const std::string& in_words);
  void ShowConsole();
  bool HostCanSend() const { return host_.Link() != nullptr && host_.Link()->CanSend(); }
  bool RequireHostLink();
  bool RequireDeviceLink();
  void NoteLostCommands();
  std::size_t Progress();
  // Waits for a condition; progress restarts the timeout, which is the patience plus `driver_pause`.
  bool Await(const std::function<bool()>& condition, const std::string& what,
             std::chrono::seconds driver_pause = std::chrono::seconds::zero());
  bool AwaitEnd(const std::function<bool()>& ended);
  bool Fail(const std::string& why);
  std::string ExitState();

  Transcript& transcript_;
  Recorder& recorder_;
  const Device::Endpoint endpoint_;
  const std::chrono::seconds patience_;
  SimulatedHost host_;
  Device device_;
  ChildProcess driver_;
  std::string position_;      // of the current step
  std::string device_bytes_;  // received by the device and not yet expected
  std::string stream_bytes_;  // what the last stream should produce
  std::size_t console_shown_ = 0;
  std::size_t logs_seen_ = 0;
  std::size_t bytes_sent_ = 0;
  long memory_when_ready_ = 0;
  int packets_sent_ = 0;
  bool device_expected_ = false;
  bool device_link_closed_by_step_ = false;
  bool commands_lost_ = false;
  bool quit_sent_ = false;
};

#endif  // SIMULATOR_SESSION_H_
