// Records a session as a script that expects, when it is played again, what happened this time.

#ifndef SIMULATOR_RECORDER_H_
#define SIMULATOR_RECORDER_H_

#include <chrono>
#include <fstream>
#include <string>
#include <string_view>

#include "simulator/steps.h"

class Recorder {
 public:
  // Records to a file that Keep replaces, or nothing when the path is empty. Throws std::system_error when it cannot be
  // written.
  explicit Recorder(const std::string& path);
  // Drops a recording that was not kept.
  ~Recorder();
  Recorder(const Recorder&) = delete;
  Recorder& operator=(const Recorder&) = delete;

  // The driver is ready; what comes before is in no script.
  void Begin(bool over_ip);
  // What happens from then on.
  void Performed(const Step& step);
  void DeviceGot(std::string_view bytes);
  void Logged(std::string_view text);
  void Ended(std::string_view console, int status);
  // Device bytes that were not written yet are not to be expected.
  void ForgetDeviceBytes() { device_bytes_.clear(); }

  // Puts a recording that was begun in the file's place; false when something could not be written.
  bool Keep();

 private:
  void WritePause();
  void WriteDeviceBytes();
  void Write(std::string_view line) { file_ << line << '\n'; }

  std::string path_;      // of the file to replace; empty when it is written to directly
  std::string new_path_;  // of the file that is written
  std::ofstream file_;
  bool begun_ = false;
  std::string device_bytes_;
  std::chrono::nanoseconds last_event_{};
};

#endif  // SIMULATOR_RECORDER_H_
