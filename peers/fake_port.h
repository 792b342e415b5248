// A device port without a transport: passes written bytes to a function.

#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "ports/abstract_port.h"

class FakePort : public iAbstractPort {
 public:
  explicit FakePort(std::function<void(const std::string&)> on_data) : on_data_(std::move(on_data)) {}

  void PortSetParent(std::shared_ptr<iAbstractPortReceiver> /*receiver*/) override {}
  void PortSendData(const std::string& data) override { on_data_(data); }
  bool PortOpen() override { return true; }
  void PortClose() override {}
  void PortClear() override {}
  void PortFlush() override {}
  void PortPoll() override {}
  void PortXmitWait() override {}

 private:
  std::function<void(const std::string&)> on_data_;
};
