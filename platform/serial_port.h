// A local serial port. Derive from it to receive its events.
//
// Call Find and the setters, then Open. Output is not queued: Write returns when the system has accepted every byte,
// WaitTransmitted when they have left. Every call is bounded: a port that makes no progress for kStallTimeout fails.
// Time for which the process is stopped does not count. A failed port closes itself, so that an adapter that is plugged
// in again gets the same name; later writes are dropped.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/byte_stream.h"
#include "platform/stall_timer.h"

namespace platform {

class SerialPort : public ByteStream {
 public:
  enum class ParityKind { kNone, kOdd, kEven };

  // How long a write or a transmit wait may go without progress before the port fails with ETIMEDOUT; also the time
  // limit for opening.
  static constexpr std::chrono::seconds kStallTimeout{5};
  // The time limit for closing.
  static constexpr std::chrono::milliseconds kCloseTimeout{500};

  // Looks up the port for the next Open: a name with a slash is a path, any other is a device under /dev; links are
  // followed. Returns whether it is a character device.
  [[nodiscard]] bool Find(const std::string& name);

  // Settings for the next Open: 5 to 8 data bits, parity and a standard speed from 300 to 115200 bits per second are
  // required; DTR is not asserted by default. One stop bit and no flow control are fixed.
  void SetDataBits(std::int32_t bits) { data_bits_ = bits; }
  void SetParity(ParityKind parity) { parity_ = parity; }
  void SetSpeed(std::int32_t bits_per_second) { speed_ = bits_per_second; }
  void SetDtr(bool asserted) { dtr_ = asserted; }

  // Opens and locks the port found, and applies the settings. Returns false, with the last error code set, if the port
  // cannot be opened, is not a terminal, is already locked or does not support the settings.
  [[nodiscard]] bool Open();

  // Closes the port and discards unsent output.
  void Close() { CloseStream(); }

  // Writes the bytes; returns when the system has accepted all of them or the port has failed.
  void Write(std::string_view bytes);

  // Returns when all written bytes have been transmitted or the port has failed.
  void WaitTransmitted();

  // From now on, until the next Open, the stall timeout limits the total time of all writes and transmit waits.
  void LimitOutput() { stall_timer_.MakeTotal(); }

  // Discards pending input and output; returns the number of input bytes discarded.
  std::size_t Flush();

 private:
  bool ApplySettings(const Descriptor& port) const;
  // Counts a wait that began at `start` towards the timeout.
  void Charge(std::chrono::nanoseconds start);

  std::string path_;
  std::int32_t data_bits_ = 0;
  std::int32_t speed_ = 0;
  std::optional<ParityKind> parity_;
  bool dtr_ = false;
  StallTimer stall_timer_{kStallTimeout};
};

}  // namespace platform
