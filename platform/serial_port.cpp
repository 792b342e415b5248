#include "platform/serial_port.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <utility>

#include "platform/call_timeout.h"
#include "platform/clock.h"

namespace platform {
namespace {

using std::chrono::milliseconds;

// The most that one wait counts towards a timeout, so that time for which the process is stopped does not count.
constexpr std::chrono::nanoseconds kSlice = milliseconds(100);

struct Speed {
  std::int32_t bits_per_second;
  speed_t code;
};

constexpr auto kSpeeds = std::to_array<Speed>({{300, B300},
                                               {600, B600},
                                               {1200, B1200},
                                               {2400, B2400},
                                               {4800, B4800},
                                               {9600, B9600},
                                               {19200, B19200},
                                               {38400, B38400},
                                               {57600, B57600},
                                               {115200, B115200}});

constexpr auto kDataBits = std::to_array<tcflag_t>({CS5, CS6, CS7, CS8});
constexpr std::int32_t kMinDataBits = 5;

// Returns the termios code of a speed; B0 if the speed is not standard.
speed_t SpeedCode(std::int32_t bits_per_second) {
  for (const Speed& speed : kSpeeds) {
    if (speed.bits_per_second == bits_per_second) return speed.code;
  }
  return B0;
}

// Returns the number of bytes that the port has not yet sent; 0 if the system does not report it.
std::size_t OutputWaiting(int port) {
  int waiting = 0;
  if (ioctl(port, TIOCOUTQ, &waiting) != 0) return 0;
  return static_cast<std::size_t>(waiting);
}

// Discards unsent output. Skips the flush if there is none: on a pseudo-terminal, it would also discard bytes that the
// other side has not read yet.
void DiscardOutput(int port) {
  if (OutputWaiting(port) > 0) tcflush(port, TCOFLUSH);
}

// Closes the port within a time limit: an adapter that accepts no data blocks a close for half a minute, even if its
// output is discarded.
void ClosePort(int port) {
  DiscardOutput(port);
  const CallTimeout timeout(SerialPort::kCloseTimeout);
  close(port);
}

// Opens the port without waiting for a modem's carrier (O_NONBLOCK).
Descriptor OpenPort(const std::string& path) {
  const auto deadline = MonotonicNow() + SerialPort::kStallTimeout;
  int port = -1;
  do {
    port = open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  } while (port < 0 && errno == EINTR && MonotonicNow() < deadline);
  return Descriptor(port);
}

}  // namespace

bool SerialPort::Find(const std::string& name) {
  const bool is_path = name.find('/') != std::string::npos;
  path_ = is_path ? name : "/dev/" + name;
  struct stat found{};
  return stat(path_.c_str(), &found) == 0 && S_ISCHR(found.st_mode);
}

bool SerialPort::Open() {
  Close();
  stall_timer_ = StallTimer(kStallTimeout);
  const CallTimeout timeout(kStallTimeout);
  Descriptor port = OpenPort(path_);
  const bool usable = port.IsOpen() && isatty(port.Number()) == 1 && flock(port.Number(), LOCK_EX | LOCK_NB) == 0 &&
                      ApplySettings(port);
  if (!usable) {
    SetLastErrorCode(errno);
    return false;
  }
  // Ignore failures: pseudo-terminals and some adapters do not support this.
  int dtr = TIOCM_DTR;
  ioctl(port.Number(), dtr_ ? TIOCMBIS : TIOCMBIC, &dtr);
  port.SetCloser(ClosePort);  // only once the port is locked: ClosePort would discard another process's output
  Adopt(std::move(port));
  return true;
}

bool SerialPort::ApplySettings(const Descriptor& port) const {
  const speed_t speed = SpeedCode(speed_);
  const std::int32_t data_bits = data_bits_ - kMinDataBits;
  if (speed == B0 || !parity_ || data_bits < 0 || data_bits >= static_cast<std::int32_t>(kDataBits.size())) {
    errno = EINVAL;
    return false;
  }
  termios settings{};
  if (tcgetattr(port.Number(), &settings) != 0) return false;
  settings.c_iflag = 0;
  settings.c_oflag = 0;
  settings.c_lflag = 0;
  settings.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB | CRTSCTS);
  settings.c_cflag |= CREAD | CLOCAL | kDataBits.at(static_cast<std::size_t>(data_bits));
  if (parity_ != ParityKind::kNone) settings.c_cflag |= PARENB;
  if (parity_ == ParityKind::kOdd) settings.c_cflag |= PARODD;
  settings.c_cc[VMIN] = 1;
  settings.c_cc[VTIME] = 0;
  cfsetispeed(&settings, speed);
  cfsetospeed(&settings, speed);
  if (tcsetattr(port.Number(), TCSANOW, &settings) != 0) return false;

  // tcsetattr succeeds if it makes any of the changes, so read the settings back.
  termios applied{};
  if (tcgetattr(port.Number(), &applied) != 0) return false;
  constexpr tcflag_t kChecked = CSIZE | PARENB | PARODD | CSTOPB;
  if ((applied.c_cflag & kChecked) == (settings.c_cflag & kChecked) && cfgetospeed(&applied) == speed) return true;
  errno = EINVAL;
  return false;
}

void SerialPort::Write(std::string_view bytes) {
  stall_timer_.Restart();
  while (!bytes.empty() && CanSend()) {
    const ssize_t count = write(DescriptorNumber(), bytes.data(), bytes.size());
    if (count > 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
      stall_timer_.Restart();
    } else if (count < 0 && errno != EAGAIN && errno != EINTR) {
      FailWhenDrained(errno);
    } else if (stall_timer_.TimeLeft().count() == 0) {
      Fail(ETIMEDOUT);
    } else {
      const auto start = MonotonicNow();
      pollfd waiting{DescriptorNumber(), POLLOUT, 0};
      const auto limit = std::chrono::ceil<milliseconds>(std::min(stall_timer_.TimeLeft(), kSlice));
      poll(&waiting, 1, static_cast<int>(limit.count()));
      Charge(start);
    }
  }
}

void SerialPort::WaitTransmitted() {
  stall_timer_.Restart();
  std::size_t waiting = OutputWaiting(DescriptorNumber());
  while (CanSend()) {
    const auto start = MonotonicNow();
    {
      // An adapter that keeps reporting a busy transmitter would block the drain forever.
      const CallTimeout timeout(kSlice);
      if (tcdrain(DescriptorNumber()) == 0 || errno != EINTR) return;
    }
    Charge(start);
    // A shorter queue is progress, which the drain does not report.
    const std::size_t now_waiting = OutputWaiting(DescriptorNumber());
    if (now_waiting < waiting) stall_timer_.Restart();
    waiting = now_waiting;
    if (stall_timer_.TimeLeft().count() == 0) Fail(ETIMEDOUT);
  }
}

void SerialPort::Charge(std::chrono::nanoseconds start) {
  stall_timer_.Charge(std::min(MonotonicNow() - start, kSlice));
}

std::size_t SerialPort::Flush() {
  const std::size_t read_before = ReadAll().size();
  const std::size_t waiting = InputWaiting();
  if (IsOpen()) {
    tcflush(DescriptorNumber(), TCIFLUSH);
    DiscardOutput(DescriptorNumber());
  }
  return read_before + waiting;
}

}  // namespace platform
