// The failure of an operation that needs an object which is not there, such as the entries of a message
// that has none. Thrown to the caller, who may catch it; uncaught, it ends the process like any failure.

#ifndef MESSAGE_MISSING_OBJECT_H_
#define MESSAGE_MISSING_OBJECT_H_

#include <stdexcept>

class MissingObject : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

#endif  // MESSAGE_MISSING_OBJECT_H_
