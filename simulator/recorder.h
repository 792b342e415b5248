// Records a session as a script that, when replayed, expects the same events.

#ifndef SIMULATOR_RECORDER_H_
#define SIMULATOR_RECORDER_H_

#include <chrono>
#include <string>
#include <string_view>

#include "simulator/steps.h"

class Recorder {
 public:
  // Records nothing if the path is empty. Throws std::system_error if the file cannot be written; creates it if it does
  // not exist.
  explicit Recorder(std::string path);

  // Starts the recording, when the driver is ready; earlier events are not recorded.
  void Begin(bool over_ip);
  // Record events: Performed, a step that is about to be performed; Waited, the duration of a wait that has ended.
  void Performed(const Step& step);
  void Waited(std::chrono::milliseconds time);
  void DeviceGot(std::string_view bytes);
  void Logged(std::string_view text);
  void Ended(std::string_view console, int status);
  // Discards device bytes that were not written yet.
  void ClearDeviceBytes() { device_bytes_.clear(); }

  // Writes the recording, if one was begun, over the file. Returns false if it could not be written.
  bool Keep() const;

 private:
  void WriteWait(std::chrono::milliseconds time);
  void WriteDeviceBytes();
  void Write(std::string_view line) { (script_ += line) += '\n'; }
  bool HasBegun() const { return !script_.empty(); }

  std::string path_;
  std::string script_;
  std::string device_bytes_;
  std::chrono::nanoseconds last_event_{};
};

#endif  // SIMULATOR_RECORDER_H_
