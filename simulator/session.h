// One run of the driver between a simulated host and a device, simulated or real.

#ifndef SIMULATOR_SESSION_H_
#define SIMULATOR_SESSION_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "peers/child_process.h"
#include "peers/listener.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "simulator/script.h"
#include "simulator/transcript.h"

class Session {
 public:
  struct Setup {
    std::string driver;          // path of the driver's executable
    bool over_ip = false;        // the device is reached over TCP
    std::string port;            // a real serial port; empty for a pseudo-terminal
    std::string other_end;       // the port at the other end of that one's line; empty when it cannot be seen
    std::string device_address;  // a real device in the network; empty for one on the loopback
    std::int32_t device_port = 0;
  };

  // Starts the driver; throws std::system_error when it cannot. The transcript must outlive the session.
  Session(const Setup& setup, Transcript& transcript);

  // Waits until the driver is ready for commands; false, with the reason in the transcript, if it will not be.
  bool WaitUntilReady();

  // Carries one step out; false, with the reason in the transcript, when it was not understood or not as expected.
  bool Perform(const Step& step);

  // Asks the driver to quit, unless it was asked or has left, and waits for its end. Returns whether it ended
  // in order and the device got nothing but what was expected of it, if anything was.
  bool Finish();

  // Whether the driver has ended, or will.
  bool IsOver() { return quit_sent_ || driver_->Status().has_value(); }

 private:
  std::vector<std::string> DriverArguments(const Setup& setup);
  void ListenToDevice(Channel& line);
  void Send(cQuorvaneCommand message, const std::string& in_words);
  void SendUntilTaken(const std::string& packets, const std::string& in_words);
  void SendStream(int count);
  void SendRawData(int count);
  bool Flood();
  bool BringAbout(const std::string& fault);
  bool Check(const Step& step);
  bool ExpectDevice(const std::string& bytes);
  bool ExpectLog(const std::string& text);
  bool ExpectIdle();
  bool ExpectMemory(std::int32_t mebibytes);
  bool Await(const std::function<bool()>& condition, const std::string& what);

  Transcript& transcript_;
  SimulatedHost host_;
  std::unique_ptr<PseudoTerminal> terminal_;
  std::unique_ptr<Channel> other_end_;
  std::unique_ptr<Listener> network_device_;
  std::unique_ptr<ChildProcess> driver_;
  std::string device_bytes_;  // what reached the device and was not yet expected
  std::string stream_bytes_;  // what the last stream asked for
  std::size_t logs_seen_ = 0;
  int packets_sent_ = 0;
  bool device_expected_ = false;
  bool quit_sent_ = false;
};

#endif  // SIMULATOR_SESSION_H_
