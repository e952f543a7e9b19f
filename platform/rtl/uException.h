#pragma once
// uException: the exception classes that the components raise.

#include <stdexcept>
#include <string>

namespace OrvixModBus {

/// The general exception class: a message text and nothing else. Everything that the components
/// raise on purpose is one of these or a descendant.
class Exception : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// A text or a value that can't be converted: numbers, dates, format strings.
class EConvertError : public Exception {
 public:
  using Exception::Exception;
};

/// A floating-point division by zero.
class EZeroDivide : public Exception {
 public:
  using Exception::Exception;
  EZeroDivide() : Exception("Floating point division by zero") {}
};

/// An integer division by zero.
class EDivByZero : public Exception {
 public:
  using Exception::Exception;
  EDivByZero() : Exception("Division by zero") {}
};

/// An index outside a list, a string list's refusals included.
class EListError : public Exception {
 public:
  using Exception::Exception;
  /// The list has no such place.
  explicit EListError(int index)
      : Exception("List index out of bounds (" + std::to_string(index) + ")") {}
};

/// An argument outside the range that an operation takes.
class EArgumentOutOfRangeException : public Exception {
 public:
  using Exception::Exception;
};

/// A variant that does not hold what it is asked for.
class EVariantError : public Exception {
 public:
  using Exception::Exception;
};

/// A thread that can't be started, or used after its end.
class EThreadError : public Exception {
 public:
  using Exception::Exception;
};

}  // namespace OrvixModBus
