// Byte strings for tests: from hexadecimal text and from files.

#ifndef TESTS_BYTES_H_
#define TESTS_BYTES_H_

#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "platform/text.h"

// Returns the bytes given as hexadecimal pairs separated by blanks.
inline std::string Bytes(std::string_view hexadecimal) {
  std::string bytes;
  for (std::size_t i = 0; i < hexadecimal.size(); i += 3) {
    bytes += static_cast<char>(platform::ReadHexadecimal(hexadecimal.substr(i, 2)));
  }
  return bytes;
}

// Returns the contents of a file.
inline std::string Contents(const char* path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

#endif  // TESTS_BYTES_H_
