// The interfaces of a device port and of the receiver of its events.
//
// A port opens its transport when it is constructed. It keeps its receiver alive while one is set, and calls it only
// from a poll of the port or a run of the event pump. Bytes pass through unchanged, without framing.

#pragma once

#include <cstdint>
#include <memory>
#include <string>

// The user of a port.
class iAbstractPortReceiver {
 public:
  // Called with bytes from the device, as they arrive.
  virtual void PortDataAvailable(const std::string& data) = 0;

  // Called when the transport has failed. `message` is empty; `code` is the transport's errno value.
  virtual void PortError(const std::string& message, std::int32_t code) = 0;

  iAbstractPortReceiver() = default;
  iAbstractPortReceiver(const iAbstractPortReceiver&) = delete;
  iAbstractPortReceiver& operator=(const iAbstractPortReceiver&) = delete;
  virtual ~iAbstractPortReceiver() = default;
};

class iAbstractPort {
 public:
  // Sets the receiver of input and errors. Without a receiver they are dropped.
  virtual void PortSetParent(std::shared_ptr<iAbstractPortReceiver> receiver) = 0;

  // Writes the bytes. Does not report the outcome; a failed port drops them.
  virtual void PortSendData(const std::string& data) = 0;

  // Opens the transport; returns whether it is open.
  virtual bool PortOpen() = 0;

  // Closes the transport; the receiver stays set.
  virtual void PortClose() = 0;

  // Closes the transport and releases the receiver.
  virtual void PortClear() = 0;

  // Discards pending input, and unsent output of a serial line, without calling the receiver.
  virtual void PortFlush() = 0;

  // Sends queued output and raises pending events, without waiting.
  virtual void PortPoll() = 0;

  // Returns when the written bytes have left, if the transport reports this.
  virtual void PortXmitWait() = 0;

  iAbstractPort() = default;
  iAbstractPort(const iAbstractPort&) = delete;
  iAbstractPort& operator=(const iAbstractPort&) = delete;
  virtual ~iAbstractPort() = default;
};
