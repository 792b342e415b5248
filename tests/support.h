// Helpers for tests: byte strings, a function run in a child process, streams that record their events, and a connected
// host socket.

#pragma once

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/host_socket.h"
#include "peers/simulated_host.h"
#include "peers/wait_for.h"
#include "platform/event_pump.h"
#include "platform/text.h"
#include "tests/system_calls.h"

// Returns the bytes given as hexadecimal pairs separated by blanks.
inline std::string Bytes(std::string_view hexadecimal) {
  std::string bytes;
  for (std::size_t i = 0; i < hexadecimal.size(); i += 3) {
    bytes += static_cast<char>(platform::ReadHexadecimal(hexadecimal.substr(i, 2)));
  }
  return bytes;
}

// Returns the contents of a file.
inline std::string Contents(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct ChildResult {
  std::string console;
  std::string errors;
  int status = 0;  // the exit status, or the negative number of the signal that killed or stopped it
};

// Runs `run`, which returns the child's exit status. Returns when the child has ended or is stopped.
inline ChildResult RunInChild(const std::function<int()>& run) {
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  const pid_t child = fork();
  if (child == 0) {
    const rlimit no_core{};
    setrlimit(RLIMIT_CORE, &no_core);
    _exit(run());
  }
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, WUNTRACED), child);
  const int signal = WIFSIGNALED(status) ? WTERMSIG(status) : WSTOPSIG(status);
  return {testing::internal::GetCapturedStdout(), testing::internal::GetCapturedStderr(),
          WIFEXITED(status) ? WEXITSTATUS(status) : -signal};
}

// Runs the event pump for a moment, in which it must not spin.
inline void ExpectQuietPump() {
  Calls() = {};
  platform::EventPump::Instance().Run(std::chrono::milliseconds(20));
  EXPECT_LT(Calls().counts[kPoll], 5);
}

inline std::string Error(int code) {
  return "error " + std::to_string(code);
}

// A stream that records its events in order; a test may run an action after each.
template <typename Stream>
class Recording : public Stream {
 public:
  using Stream::DescriptorNumber;

  std::vector<std::string> events;
  std::function<void(const std::string& event)> then;
  bool reads = true;

 protected:
  using Stream::Stream;

  void Record(const std::string& event) {
    events.push_back(event);
    if (const auto action = then) action(event);
  }
  void Event_DataAvailable() override { Record("data " + (reads ? this->ReadAll() : "")); }
  void Event_Error() override {
    EXPECT_EQ(DescriptorNumber(), -1);
    Record(Error(this->LastErrorCode()));
  }
};

// A host socket that is connected to a simulated host.
class ConnectedSocket : public cQuorvaneDeviceSocket {
 public:
  using cQuorvaneDeviceSocket::DescriptorNumber;

  SimulatedHost Host;

  explicit ConnectedSocket(MessageHandler handler) : cQuorvaneDeviceSocket(std::move(handler)) {
    Address = "127.0.0.1";
    Port = Host.Port();
    ConnectionID = "17";
    Connect();
    EXPECT_TRUE(WaitFor([this] { return IsConnected() && Host.ConnectionID() == "17"; }));
  }

  // Sends bytes from the host and waits until data events have delivered all of them.
  void Deliver(std::string_view bytes) {
    const int events_before = data_events_;
    Host.Link()->Send(bytes);
    EXPECT_TRUE(WaitFor(
        [&] { return data_events_ > events_before && Host.Link()->OutputQueued() == 0 && InputWaiting() == 0; }));
  }

  // Returns the log lines that the host has received since the last call.
  std::vector<std::string> Logged() {
    SendLog("end of the lines", 0);
    EXPECT_TRUE(WaitFor([this] { return Host.HasLogged("end of the lines"); }));
    std::vector<std::string> lines = Host.Entries();
    lines.pop_back();
    Host.ClearLog();
    return lines;
  }

 protected:
  void Event_DataAvailable() override {
    ++data_events_;
    cQuorvaneDeviceSocket::Event_DataAvailable();
  }

 private:
  int data_events_ = 0;
};
