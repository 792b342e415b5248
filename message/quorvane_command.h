// One message of the host protocol: a packet received from Quorvane, or one being built to send to it.
//
// A parser fills a received message; fields and setters fill a message to send, which GetRawCommand converts to bytes.
// Texts are byte strings, mostly of one byte; integers are sent as one unsigned byte. Headers, commands and keys are
// not case-sensitive. Setters, except SetHouseCode, do not check their arguments: callers must keep values in range.
//
// Names and order, including their mixed styles, are those of the host's other drivers, so that the drivers can be
// compared side by side. Sources: common_packet.cpp (plain, log and error packets), flags_addressing.cpp (flags,
// addresses, raw data, setters), multipacket.cpp (dictionary, acknowledgements), debug_text.cpp (descriptions for
// logs), code_descriptions.cpp (descriptions of codes).

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "message/multi_dictionary.h"
#include "platform/date_time.h"

class cQuorvaneCommand {
 public:
  // The maximum number of raw data bytes in a packet.
  static constexpr std::size_t kMaxRawData = 244;

  std::string Header;              // packet kind; sent as "X" if empty
  std::int32_t TransactionID = 0;  // sent as 64 if 0
  std::string Command;             // command code; set it before building
  std::string Address1;            // house code digit, or the length of raw data; sent as byte 0x80 if empty
  std::string Address2;            // unit code digit, or the raw data; sent as byte 0x80 if empty
  std::int32_t level = 0;
  std::int32_t param1 = 0;
  std::int32_t param2 = 0;
  bool fDoTransmit = false;
  bool fCCM = false;  // a controller command, for the driver process itself, not for a unit
  bool fWireless = false;
  std::string InterfaceType;     // sent as "L" if empty
  platform::DateTime TimeStamp;  // when the message was created
  bool fStacked = false;
  std::string LogMessage;  // text of a received log packet
  std::string Name;
  bool WaitForAck = false;
  std::string analog3;
  std::string analog2;
  std::string analog1;
  std::string analog0;
  std::int32_t rawAnalog16 = 0;  // of a received "M" packet
  bool fSecurity = false;
  double SentAtTicks = 0;
  std::int32_t LogData = 0;  // level of a received log packet, 0 to 4
  bool LowBattery = false;
  double DoubleMeasurement = 0;              // sent with a "Z" command
  bool isMultiPacket = false;                // if true, MultiDict is set
  std::optional<MultiDictionary> MultiDict;  // entries of a multipacket
  std::int32_t MultiFlags = 0;               // flag byte of a received multipacket
  bool LittleEndian = false;                 // byte order of a received multipacket

  // Fills the message from a plain or log packet. Returns false for an error packet, of which it parses only the header
  // and the code, and for an unknown kind. Fields past the packet's end are empty or 0.
  virtual bool InitFromCommonMessage(std::string packet);

  // Returns a dump of the message for a log: twelve lines, each ending with a carriage return.
  virtual std::string DebugString() const;

  // Returns a description of the command: a pan-and-tilt, controller or unit command.
  virtual std::string GetCommandCodeDescription() const;

  // Returns the house code for the hexadecimal number in Address1: "A" to "P" for one digit, "A" if it is not a number.
  virtual std::string GetHouseCode() const;

  // Returns the hexadecimal number in Address2 plus one: "1" to "16" for one digit, "1" if it is not a number.
  virtual std::string GetUnitCode() const;

  virtual std::string GetCommandCode() const;

  // Accepts "A" to "P"; ignores any other text.
  virtual void SetHouseCode(std::string_view letter);

  // `unit` must be 1 to 16.
  virtual void SetUnitCode(std::int32_t unit);

  // Toggles the flag bits given by a number such as "128", "&h80" or "&b10000000". A bool field stays true when its bit
  // is cleared.
  virtual void SetFlag(std::string_view number);

 protected:
  // Sets the bool field of each bit that is set in Flags; never clears one.
  virtual void ParseFlags();

 public:
  virtual void SetCommand(std::string_view command);

  // Builds the message's packet for the host. The defaults that it applies stay in the message.
  virtual std::string GetRawCommand();

  cQuorvaneCommand();

  virtual std::int32_t GetTransactionID() const;
  virtual void SetTransactionID(std::int32_t id);

  // Returns one line for a log: the command and its unit, without a line end.
  virtual std::string GetLogLine() const;

  virtual void SetLevel(std::int32_t value);

  // Sets the data of a send-raw-data command "X", at most kMaxRawData bytes.
  virtual void SetRawData(std::string_view data);

  virtual void SetParam1(std::int32_t value);
  virtual void SetParam2(std::int32_t value);

  // Returns a description of an error packet's code.
  virtual std::string GetErrorCodeDescription() const;

  // Returns the value of an entry, or an empty string if there is no such entry. This and the other functions that read
  // the dictionary throw MissingObject if the message has no dictionary.
  virtual std::string GetMulti(std::string_view key) const;

  // Returns the four-byte keys of all entries, in the order in which they were first stored.
  virtual std::vector<std::string> GetKeys() const;

  // Builds the multipacket, with values truncated to 65535 bytes. Without a dictionary, builds the plain packet.
  virtual std::string GetRawMultipacket();

  // Fills the dictionary from a multipacket and returns true. Parses everything after the header as entries; truncates
  // a value that extends past the packet's end.
  virtual bool initFromMultiPacket(std::string packet);

  // Sets an entry, replacing one with the same key, and makes the message a multipacket.
  virtual void SetMulti(std::string_view key, std::string_view value);

  // Returns a new message that acknowledges this multipacket by its "PkID".
  virtual cQuorvaneCommand MakeAck() const;

  // Returns the raw data of a received send-raw-data command, limited by the end of the packet.
  virtual std::string GetSendRawData() const;

  virtual bool hasKey(std::string_view key) const;

  virtual ~cQuorvaneCommand() = default;
  cQuorvaneCommand(const cQuorvaneCommand&) = default;
  cQuorvaneCommand(cQuorvaneCommand&&) = default;
  cQuorvaneCommand& operator=(const cQuorvaneCommand&) = default;
  cQuorvaneCommand& operator=(cQuorvaneCommand&&) = default;

 protected:
  std::string Version;     // sent as "a" if empty
  std::string UnitClass;   // sent as "X" if empty
  std::int32_t Flags = 0;  // the flag byte; ParseFlags sets the bool fields from it
  std::string Code;        // sent as "0" if empty; in an error packet, the error code
  bool fAddressOnly = false;
  bool fCommandOnly = false;
  bool fPassThrough = false;
  std::string RawCommonCommand;   // the packet as received
  std::int32_t PacketLength = 0;  // the length byte of a received plain or log packet; the size of a built plain packet

 private:
  std::string BuildPlainPacket();
  const MultiDictionary& RequireDictionary() const;
};

// Builds a log packet with a level from 0 to 255. Truncates the text to at most 249 bytes, at a character boundary.
std::string BuildLogPacket(std::string_view text, std::int32_t level);
