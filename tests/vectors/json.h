#pragma once
// json: the forms in which vectors write values, and the comparison of an expected with a got one.

#include <nlohmann/json.hpp>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "platform/rtl/uBytes.h"
#include "uMBLib.h"

namespace OrvixModBus::Vectors {

using Json = nlohmann::json;

/// A vector that can't be judged: it names an operation or a field that the runner does not know,
/// or its form is not the one agreed upon.
class ENotUnderstood : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// One that names an operation that the runner does not know, or knows not yet.
class EUnknownOperation : public ENotUnderstood {
 public:
  explicit EUnknownOperation(const std::string& operation, const std::string& place = "")
      : ENotUnderstood(place + "unknown operation " + operation), fOperation(operation) {}
  const std::string& Operation() const { return fOperation; }

 private:
  std::string fOperation;
};

/// A vector that names an object which is not there, because the library did not do what was
/// expected: a failure, as any other exception.
class EMissing : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The first place where a got value is not the expected one.
struct TDifference {
  std::string Path;
  std::string Expected;
  std::string Got;
};

/// What stands for an element that one side does not have.
inline constexpr std::string_view kNothing = "nothing";

/// As text on one line, whatever bytes the strings hold.
std::string Show(const Json& value);

/// Upper-case hexadecimal digits without separators.
std::string ToHex(std::span<const std::uint8_t> data);
/// ENotUnderstood unless text is such digits, two per byte.
Bytes FromHex(std::string_view text);

/// {"dec": ..., "bits": ...}, the form of doubles in vectors of values.
Json RealJson(double value);
/// Reads that form; ENotUnderstood for any other.
double RealOf(const Json& value);
/// {"Srt", "Int", "R"}
Json ValueJson(const TRegValue& value);
/// Stores the fields that value has.
void StoreFields(const Json& value, TRegValue& into);
/// A cleared value with the fields that value has.
TRegValue ValueOf(const Json& value);

enum class EWildcard { kNone, kStar };  ///< kStar: an expected "*" fits everything

/// Deep comparison. Numbers by value, doubles in their own form by bits but a zero equals a zero.
std::optional<TDifference> FirstDifference(const Json& expected, const Json& got,
                                           const std::string& path,
                                           EWildcard wildcard = EWildcard::kNone);

}  // namespace OrvixModBus::Vectors
