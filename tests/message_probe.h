// A message whose protected fields are accessible.

#ifndef TESTS_MESSAGE_PROBE_H_
#define TESTS_MESSAGE_PROBE_H_

#include "message/quorvane_command.h"

class MessageProbe : public cQuorvaneCommand {
 public:
  using cQuorvaneCommand::Code;
  using cQuorvaneCommand::fAddressOnly;
  using cQuorvaneCommand::fCommandOnly;
  using cQuorvaneCommand::Flags;
  using cQuorvaneCommand::fPassThrough;
  using cQuorvaneCommand::PacketLength;
  using cQuorvaneCommand::RawCommonCommand;
  using cQuorvaneCommand::UnitClass;
  using cQuorvaneCommand::Version;
};

#endif  // TESTS_MESSAGE_PROBE_H_
