#include "peers/serial_line.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

platform::Descriptor OpenSerialLine(const std::string& name) {
  const std::string path = name.find('/') == std::string::npos ? "/dev/" + name : name;
  // O_NONBLOCK, so that the call does not wait for a modem's carrier.
  platform::Descriptor line(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  bool usable = line.IsOpen() && isatty(line.Number()) == 1;
  if (usable) {
    termios settings{};
    cfmakeraw(&settings);
    settings.c_cflag = CS8 | CREAD | CLOCAL;
    cfsetspeed(&settings, B9600);
    usable = tcsetattr(line.Number(), TCSANOW, &settings) == 0 && tcflush(line.Number(), TCIFLUSH) == 0;
  }
  if (!usable) throw std::system_error(errno, std::generic_category(), path);
  return line;
}
