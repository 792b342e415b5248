// Records a session as a script that, when replayed, expects the same events.

#pragma once

#include <chrono>
#include <string>
#include <string_view>

#include "simulator/steps.h"

class Recorder {
 public:
  // Records nothing if the path is empty. Throws std::system_error if the file cannot be written. Until the end of the
  // session, an existing file keeps its contents, and a new one is not created.
  explicit Recorder(std::string path);

  // Starts the recording, when the driver is ready; earlier events are not recorded.
  void Begin(bool over_ip);
  // Record events: Performed, a step that is about to be performed; Failed, the reason why a step or the session
  // failed, as a comment; Waited, the duration of a wait that has ended.
  void Performed(const Step& step);
  void Failed(std::string_view line, std::string_view why);
  void Waited(std::chrono::milliseconds time);
  void DeviceGot(std::string_view bytes);
  void Logged(std::string_view text);
  // What arrives while the driver is stopped is expected after it continues, because a replay may stop it earlier.
  void DriverStopped(bool stopped);
  void Ended(std::string_view console, const std::string& exit_state);
  // Ignores later device bytes and log entries: those that a flood causes differ in each run.
  void Flooded() { is_flooded_ = true; }

  // Writes the recording, if one was begun, over the file. Returns 0, or the errno value if it could not be written.
  int Keep() const;

 private:
  void WriteWait(std::chrono::milliseconds time);
  void WriteDeviceBytes();
  void WriteExpectation(std::string_view words, std::string_view bytes);
  void Write(std::string_view line) { (script_ += line) += '\n'; }
  bool HasBegun() const { return !script_.empty(); }

  std::string path_;
  std::string script_;
  std::string device_bytes_;
  std::string held_;  // expectations to be written when the driver continues
  bool driver_is_stopped_ = false;
  bool is_flooded_ = false;
  std::chrono::nanoseconds last_event_{};
};
