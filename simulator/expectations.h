// What a session expects of the driver, and the verdict.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "simulator/session.h"

class Expectations {
 public:
  // The session must outlive the expectations.
  explicit Expectations(Session& session) : session_(session) {}

  // Each waits until the expectation is met; throws StepFailed if it is not.
  void DeviceReceives(const std::string& bytes);  // next
  void DeviceReceivesStream();                    // the last one sent
  void DriverLogs(const std::string& text);       // after the log entry that was expected last
  void ConsoleShows(const std::string& text);
  void DriverBecomesIdle();
  void DriverEnds();
  void MemoryGrewByLessThan(std::int32_t mebibytes);

  // Call after the session has ended. Returns true if the driver ended with status 0, the host received nothing
  // unexpected and, if device bytes were expected, the device received no others. Otherwise returns false, with the
  // reasons in the transcript.
  bool Verdict();

 private:
  Session& session_;
  std::size_t logs_seen_ = 0;
  bool device_expected_ = false;
};
