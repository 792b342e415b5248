// Writes a session as a script that expects, when it is played again, what happened this time.

#ifndef SIMULATOR_RECORDER_H_
#define SIMULATOR_RECORDER_H_

#include <fstream>
#include <string>
#include <string_view>

#include "simulator/steps.h"

class Recorder {
 public:
  // Records nothing.
  Recorder() = default;
  // Records to a file; throws std::system_error when it cannot be written.
  explicit Recorder(const std::string& path);

  // The driver is ready; what comes before is in no script.
  void Begin(bool over_ip);
  // What happens from then on.
  void Performed(const Step& step);
  void DeviceGot(std::string_view bytes) { device_bytes_ += bytes; }
  void Logged(std::string_view text);
  void Ended(std::string_view console, int status);
  // Device bytes that were not written yet are nothing to expect.
  void ForgetDeviceBytes() { device_bytes_.clear(); }

  // Whether everything could be written.
  bool IsWhole() { return !file_.is_open() || file_.flush().good(); }

 private:
  void WriteDeviceBytes();
  void Write(std::string_view line) { file_ << line << '\n'; }

  std::ofstream file_;
  bool begun_ = false;
  std::string device_bytes_;
};

#endif  // SIMULATOR_RECORDER_H_
