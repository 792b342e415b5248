// One run of the driver between a simulated host and a device, simulated or real.

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
    std::string driver;  // path of the driver's executable
    Device::Place place;
    std::chrono::seconds patience{30};  // how long to wait while nothing at all happens
  };

  // Starts the driver; throws std::system_error when it cannot. Transcript and recorder must outlive the session.
  Session(const Setup& setup, Transcript& transcript, Recorder& recorder);

  // Waits until the driver is ready for commands; false, with the reason in the transcript, if it will not be.
  bool WaitUntilReady();

  // Carries out one step that was understood; false, with the reason in the transcript, when it did not go as expected.
  // A place, such as "file:7", stands before that reason.
  bool Perform(const Step& step, const std::string& place = {});

  // Asks the driver to quit, unless it was asked or has left, and waits for its end. Returns whether it ended
  // in order and the device got nothing but what was expected of it, if anything was.
  bool Finish();

  const Device::Place& Place() const { return place_; }
  bool QuitWasSent() const { return quit_sent_; }
  bool DriverHasEnded() { return driver_.Status().has_value(); }

  // What the steps act on. The device's link may be asked for only when the device can be seen.
  Transcript& Output() { return transcript_; }
  Channel& HostLink() { return *host_.Link(); }
  Channel& DeviceLink() { return *device_.Link(); }
  ChildProcess& Driver() { return driver_; }

  // What the steps do, each returning whether it went as it should. The sending ones wait for room, not for an answer.
  bool SendCommand(const std::string& address, const std::string& command);
  bool ToggleDebugMode();
  bool SendRaw(const std::string& bytes);
  bool SendStream(std::int32_t count);
  bool SendRawPackets(std::int32_t count);
  bool Flood();
  bool Wait(std::int32_t milliseconds);
  bool Quit();
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
  bool CanSend();
  bool IsLookedInto();
  std::size_t Progress();
  bool Await(const std::function<bool()>& condition, const std::string& what);
  bool Await(const std::function<bool()>& condition, const std::string& what, std::chrono::seconds patience);
  bool Fail(const std::string& why);
  std::string StateOfTheEnd();

  Transcript& transcript_;
  Recorder& recorder_;
  const Device::Place place_;
  const std::chrono::seconds patience_;
  SimulatedHost host_;
  Device device_;
  ChildProcess driver_;
  std::string where_;         // the step that is carried out
  std::string device_bytes_;  // what reached the device and was not yet expected
  std::string stream_bytes_;  // what the last stream asked for
  std::size_t logs_seen_ = 0;
  std::size_t bytes_sent_ = 0;
  long memory_when_ready_ = 0;
  int packets_sent_ = 0;
  bool device_expected_ = false;
  bool quit_sent_ = false;
};

#endif  // SIMULATOR_SESSION_H_
