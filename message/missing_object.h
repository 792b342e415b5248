// Thrown by a function that needs an object that does not exist, such as the dictionary of a message without one.

#pragma once

#include <stdexcept>

class MissingObject : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};
