#include "simulator/pseudo_terminal.h"

#include <fcntl.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <system_error>

PseudoTerminal::PseudoTerminal() {
  platform::Descriptor master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  std::array<char, 128> path{};
  if (!master.IsOpen() || grantpt(master.Number()) != 0 || unlockpt(master.Number()) != 0 ||
      ptsname_r(master.Number(), path.data(), path.size()) != 0) {
    throw std::system_error(errno, std::generic_category(), "pseudo-terminal");
  }
  path_ = path.data();
  line_ = std::make_unique<Channel>(std::move(master));
}
