// Records a session as a script that, when replayed, expects the same events.

#ifndef SIMULATOR_RECORDER_H_
#define SIMULATOR_RECORDER_H_

#include <chrono>
#include <fstream>
#include <string>
#include <string_view>

#include "simulator/steps.h"

class Recorder {
 public:
  // Records to a new file, which Keep renames to `path`; writes directly to a file that is not regular. Records nothing
  // if the path is empty. Throws std::system_error if the file cannot be written.
  explicit Recorder(const std::string& path);
  // Discards a recording that was not kept.
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // Starts the recording, when the driver is ready; earlier events are not recorded.
  void Begin(bool over_ip);
  // Record events: Performed, a step that is about to be performed; Waited, the duration of a wait that has ended.
  void Performed(const Step& step);
  void Waited(std::chrono::milliseconds time);
  void DeviceGot(std::string_view bytes);
  void Logged(std::string_view text);
  void Ended(std::string_view console, int status);
  // Discards device bytes that were not written yet.
  void ForgetDeviceBytes() { device_bytes_.clear(); }

  // Replaces the file with the recording, if one was begun. Returns false if it could not be written.
  bool Keep();

 private:
  void WriteWait(std::chrono::milliseconds time);
  void WriteDeviceBytes();
  void Write(std::string_view line) { file_ << line << '\n'; }

  std::string path_;      // the file to replace; empty if it is written directly
  std::string new_path_;  // the file being written
  std::ofstream file_;
  bool begun_ = false;
  std::string device_bytes_;
  std::chrono::nanoseconds last_event_{};
};

#endif  // SIMULATOR_RECORDER_H_
