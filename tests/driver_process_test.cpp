// The real driver as a child process, from start to end, as the host sees it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <termios.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

#include "app/app.h"
#include "app/process_state.h"
#include "host/connection.h"
#include "host/host_socket.h"
#include "peers/child_process.h"
#include "peers/pseudo_terminal.h"
#include "peers/simulated_host.h"
#include "peers/waiting.h"

namespace {

using testing::ElementsAre;

class DriverProcess : public testing::Test {
 protected:
  SimulatedHost host;
  std::unique_ptr<PseudoTerminal> terminal;
  std::unique_ptr<ChildProcess> driver;

  // Starts the driver on a new pseudo-terminal, and waits until it is ready.
  void Start(const std::function<void()>& prepare = nullptr) {
    terminal = std::make_unique<PseudoTerminal>();
    const std::vector<std::string> arguments{terminal->Path(), "", std::to_string(host.Port()), "17"};
    driver = std::make_unique<ChildProcess>(TORVY_DRIVER, arguments, prepare);
    ASSERT_TRUE(WaitFor([this] { return host.HasLogged(App::kReadyLine); }));
  }
  // Waits for the driver to end; expects status 0 and an empty console.
  void ExpectEnd() {
    EXPECT_TRUE(WaitFor([this] { return driver->Status() && driver->Output().Ended; }));
    EXPECT_EQ(driver->Status(), 0);
    EXPECT_EQ(driver->Output().Received, "");
    EXPECT_EQ(host.Unexpected(), "");
  }
};

TEST_F(DriverProcess, RunsWithFewDescriptorsAndAcquiresNoTerminal) {
  Start([] {
    setsid();
    constexpr int kDescriptors = 8;
    const rlimit eight{kDescriptors, kDescriptors};
    setrlimit(RLIMIT_NOFILE, &eight);
    for (int number = 0; number < kDescriptors; ++number) close(number);
  });
  EXPECT_EQ(tcgetsid(terminal->Line().Number()), -1);  // not a controlling terminal
  for (const char* number : {"0", "1", "2"}) {         // all are open, so no other descriptor gets their numbers
    EXPECT_EQ(access(("/proc/" + std::to_string(driver->Id()) + "/fd/" + number).c_str(), F_OK), 0) << number;
  }
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(DeviceCommand("0102", "DIM", "2"));
  host.Send(RawDataCommand(std::string("\0\xFF\r", 3)));
  EXPECT_TRUE(WaitFor([this] { return terminal->Line().Received.size() >= 8; }));
  terminal->Line().Send("what the device says is ignored");
  EXPECT_TRUE(WaitFor([this] { return host.Log().size() >= 2; }));
  host.Link()->Close();  // makes the driver print
  ExpectEnd();
  EXPECT_THAT(host.Lines(), ElementsAre("2 " + std::string(App::kReadyLine), "4 unsupported command: DIM"));
  EXPECT_EQ(terminal->Line().Received, std::string("0102U\0\xFF\r", 8));
  EXPECT_TRUE(terminal->Line().Ended);
}

// The driver runs in the background of its port's terminal.
TEST_F(DriverProcess, IsNotStoppedInBackgroundOfItsTerminal) {
  Start([this] {
    setsid();
    const int controlling = open(terminal->Path().c_str(), O_RDWR);  // a session leader's first terminal
    sigset_t all;
    sigfillset(&all);
    const pid_t foreground = fork();
    if (foreground == 0) {
      setpgid(0, 0);
      for (int number = 0; number < 100; ++number) close(number);
      pause();
    }
    setpgid(foreground, foreground);
    sigprocmask(SIG_BLOCK, &all, nullptr);  // otherwise tcsetpgrp would stop this process
    tcsetpgrp(controlling, foreground);
    sigprocmask(SIG_UNBLOCK, &all, nullptr);
  });
  host.Send(DeviceCommand("0102", "ON", "1"));
  host.Send(ControllerCommand("Q"));
  ExpectEnd();
}

TEST_F(DriverProcess, SurvivesConsoleThatIsClosedPipeOrFullFile) {
  const std::unique_ptr<FILE, int (*)(FILE*)> file(std::tmpfile(), &std::fclose);
  for (const bool is_pipe : {true, false}) {
    Start([&] {
      const rlimit nothing{};
      if (!is_pipe) setrlimit(RLIMIT_FSIZE, &nothing);
      if (!is_pipe) dup2(fileno(file.get()), STDOUT_FILENO);
    });
    driver->Output().Close();
    host.Link()->Close();
    EXPECT_TRUE(WaitFor([this] { return driver->Status() == 0; }));
    host.ForgetLog();
  }
}

TEST(ConnectToHost, AppliesDefaultsAndReplacesSocket) {
  ConnectToHost("", 0, "17");
  EXPECT_EQ(State().HostSocket->Address + ":" + std::to_string(State().HostSocket->Port), "127.0.0.1:20300");
  SimulatedHost host;
  for (const char* id : {"first", "second"}) {
    ConnectToHost("127.0.0.1", host.Port(), id);
    EXPECT_TRUE(WaitForHostConnection(15));
  }
  State() = {};
}

}  // namespace
