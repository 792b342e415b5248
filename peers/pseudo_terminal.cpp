#include "peers/pseudo_terminal.h"

#include <fcntl.h>
#include <poll.h>

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

bool PseudoTerminal::WaitForInput() const {
  constexpr int kLimitMilliseconds = 30'000;
  const platform::Descriptor other_side(open(path_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
  pollfd waiting{other_side.Number(), POLLIN, 0};
  return poll(&waiting, 1, kLimitMilliseconds) == 1;
}
