// A serial line of this computer. Derive from it to receive its events.
//
// Find a port, make its settings, then Open. Writing blocks until the line has taken every byte: what is written
// is short, and its writer wants to know when it has left. No call blocks without a limit, whatever the line does: one
// that takes no byte for kPatience is failed. Only waiting counts, not the time for which the process is stopped. A
// line that failed is closed at once, so that its name is free for the adapter that is plugged in again, and drops what
// is written to it.

#ifndef PLATFORM_SERIAL_PORT_H_
#define PLATFORM_SERIAL_PORT_H_

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/byte_stream.h"

namespace platform {

class SerialPort : public ByteStream {
 public:
  enum class ParityKind { kNone, kOdd, kEven };

  // How long a line may take no byte before a write or a transmit wait fails it with ETIMEDOUT; and how long opening
  // may take.
  static constexpr std::chrono::seconds kPatience{5};
  // How long closing may take.
  static constexpr std::chrono::milliseconds kClosingPatience{500};

  // Looks the port up: a name with a slash is a path, any other is a device under /dev; links are followed.
  // Returns whether it names a character device, which this object is then attached to.
  [[nodiscard]] bool Find(const std::string& name);

  // Settings of the next Open, all required but the last: 5 to 8 data bits, parity, a standard speed in bits a second;
  // DTR, which is dropped unless asserted. One stop bit and no flow control are fixed.
  void SetDataBits(std::int32_t bits) { data_bits_ = bits; }
  void SetParity(ParityKind parity) { parity_ = parity; }
  void SetSpeed(std::int32_t bits_per_second) { speed_ = bits_per_second; }
  void SetDtr(bool asserted) { dtr_ = asserted; }

  // Opens the port found, for this process alone, with the settings in place before any byte. Returns false, with the
  // last error code set, when it is no terminal, is in use by another driver or refuses the settings.
  [[nodiscard]] bool Open();

  // Closes the port. Output that has not left by then is discarded.
  void Close() { CloseStream(); }

  // Writes the bytes; returns when the system has taken them all, or the line has failed.
  void Write(std::string_view bytes);

  // Returns when every byte written has left the line, or the line has failed.
  void WaitTransmitted();

  // Gives all later writes and transmit waits so much time together; a line that needs more is failed. The first call
  // counts.
  void SetOutputDeadline(std::chrono::nanoseconds time);

  // Discards all input and output that waits in the port; returns the number of input bytes among it.
  std::size_t Flush();

 private:
  bool ApplySettings(const Descriptor& line) const;
  // Waits for the transmitter; false when it stayed busy too long.
  bool Drain();
  // How long output may still make no progress.
  std::chrono::nanoseconds TimeLeft() const;
  // Takes a wait that began at `start` off the time that is left.
  void Charge(std::chrono::nanoseconds start);

  std::string path_;
  std::int32_t data_bits_ = 0;
  std::int32_t speed_ = 0;
  std::optional<ParityKind> parity_;
  bool dtr_ = false;
  std::chrono::nanoseconds patience_left_{};                      // until the line has to take a byte
  std::chrono::nanoseconds output_time_left_ = Interest::kNever;  // of all output, once it has a deadline
};

}  // namespace platform

#endif  // PLATFORM_SERIAL_PORT_H_
