#include "platform/failure.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <unwind.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include "platform/text.h"

namespace platform {
namespace {

const void* AsPointer(std::uintptr_t address) {
  return reinterpret_cast<const void*>(address);  // NOLINT(performance-no-int-to-ptr): dladdr takes a pointer
}

std::string FunctionName(std::uintptr_t address) {
  Dl_info place{};
  const bool known = dladdr(AsPointer(address), &place) != 0;
  if (known && place.dli_sname != nullptr) {
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> readable(
        abi::__cxa_demangle(place.dli_sname, nullptr, nullptr, &status), &std::free);
    return readable != nullptr ? readable.get() : place.dli_sname;
  }
  if (!known) return "0x" + ToHexadecimal(address);
  const auto offset = address - reinterpret_cast<std::uintptr_t>(place.dli_fbase);
  return std::string(place.dli_fname) + "+0x" + ToHexadecimal(offset);
}

// Returns the index of the first frame after the C++ runtime's frames for throwing and terminating.
std::size_t FirstOwnFrame(const std::vector<std::string>& names) {
  constexpr auto kRuntime = std::to_array<std::string_view>({"__cxa_throw", "__cxa_rethrow", "std::terminate()"});
  std::size_t first = 0;
  for (std::size_t i = 0; i < names.size(); ++i) {
    for (const std::string_view function : kRuntime) {
      if (names[i] == function) first = i + 1;
    }
  }
  return first;
}

}  // namespace

Failure::Failure() {
  const auto add_frame = [](_Unwind_Context* context, void* failure) {
    auto& [addresses, count] = *static_cast<Failure*>(failure);
    int before_instruction = 0;
    const std::uintptr_t address = _Unwind_GetIPInfo(context, &before_instruction);
    if (address == 0) return _URC_END_OF_STACK;  // end of the call chain
    // The return address of a call that never returns can be past the end of the function: step back into the call.
    addresses.at(count++) = before_instruction != 0 ? address : address - 1;
    return count < addresses.size() ? _URC_NO_REASON : _URC_END_OF_STACK;
  };
  _Unwind_Backtrace(add_frame, this);
}

std::vector<std::string> Failure::Stack() const {
  std::vector<std::string> names;
  names.reserve(count_);
  for (std::size_t i = 0; i < count_; ++i) names.push_back(FunctionName(addresses_.at(i)));
  names.erase(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(FirstOwnFrame(names)));
  return names;
}

}  // namespace platform
