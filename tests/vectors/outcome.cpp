#include "outcome.h"

#include <algorithm>
#include <map>
#include <typeinfo>

#include "platform/rtl/uException.h"

namespace OrvixModBus::Vectors {
namespace {

using TFits = bool (*)(const std::exception&);

template <class T>
bool IsOf(const std::exception& error) {
  return dynamic_cast<const T*>(&error) != nullptr;
}

template <class T>
bool IsExactly(const std::exception& error) {
  return typeid(error) == typeid(T);
}

// The classes of the platform stand for their descendants, too; the system's own do not.
const std::map<std::string, TFits, std::less<>> kClasses = {
    {"EArgumentOutOfRangeException", IsOf<EArgumentOutOfRangeException>},
    {"EConvertError", IsOf<EConvertError>},
    {"EDivByZero", IsOf<EDivByZero>},
    {"EListError", IsOf<EListError>},
    {"EVariantError", IsOf<EVariantError>},
    {"EZeroDivide", IsOf<EZeroDivide>},
    {"Exception", IsExactly<Exception>},
    {"TBitBoundException", IsExactly<TBitBoundException>},
    {"TEmptyArgException", IsExactly<TEmptyArgException>},
    {"TListBoundException", IsExactly<TListBoundException>},
    {"TListIndexException", IsExactly<TListIndexException>},
    {"TOutBoundException", IsExactly<TOutBoundException>},
};

bool FitsClass(const TOutcome& outcome, const std::string& name) {
  const auto found = kClasses.find(name);
  if (found == kClasses.end()) throw ENotUnderstood("unknown exception class " + name);
  try {
    std::rethrow_exception(outcome.Error);
  } catch (const std::exception& error) {
    return found->second(error);
  }
}

std::string ShowError(const TOutcome& outcome) {
  if (!outcome.Error) return std::string(kNothing);
  try {
    std::rethrow_exception(outcome.Error);
  } catch (const std::exception& error) {
    return typeid(error).name() + (" " + Show(outcome.Message));
  }
}

}  // namespace

TOutcome Attempt(const std::function<Json()>& operation) {
  try {
    return {operation(), nullptr, {}};
  } catch (const ENotUnderstood&) {
    throw;
  } catch (const std::exception& error) {
    return {nullptr, std::current_exception(), error.what()};
  }
}

TExpectation::TExpectation(TFields& line)
    : fResult(line["result"].Value()),
      fRaises(line["raises"].Value()),
      fClass(line["raises_class"].Value()),
      fAccept(line.Has("accept") ? line["accept"].Value() : Json::object()),
      fOpenFields(line.Has("open_fields") ? line["open_fields"].Value() : Json::array()) {}

bool TExpectation::IsOpen(const std::string& field) const {
  return std::find(fOpenFields.begin(), fOpenFields.end(), field) != fOpenFields.end();
}

bool TExpectation::IsAccepted(const std::string& field, const Json& got) const {
  if (!fAccept.contains(field)) return false;
  return std::ranges::any_of(
      fAccept[field], [&](const Json& value) { return !FirstDifference(value, got, field); });
}

std::optional<TDifference> TExpectation::FieldDifference(const std::string& name,
                                                         const Json& expected,
                                                         const Json& got) const {
  if (IsOpen(name) || IsAccepted(name, got)) return std::nullopt;
  return FirstDifference(expected, got, name);
}

std::optional<TDifference> TExpectation::OutcomeDifference(const TOutcome& outcome) const {
  if (auto found = ErrorDifference(outcome)) return found;
  return ResultDifference(outcome.Result);
}

std::optional<TDifference> TExpectation::ErrorDifference(const TOutcome& outcome) const {
  const bool expected = !fClass.is_null() || !fRaises.is_null();
  if (!expected && !outcome.Error) return std::nullopt;
  const bool fits = expected && outcome.Error &&
                    (fClass.is_null() || FitsClass(outcome, fClass.get<std::string>())) &&
                    (fRaises.is_null() || fRaises == outcome.Message);
  if (fits) return std::nullopt;
  const std::string wanted =
      fClass.is_null() ? std::string(kNothing) : fClass.get<std::string>() + " " + Show(fRaises);
  return TDifference{"raises", wanted, ShowError(outcome)};
}

// The fields of a decoded value are accepted and open one by one.
std::optional<TDifference> TExpectation::ResultDifference(const Json& got) const {
  if (!fResult.is_object() || !got.is_object() || fResult.contains("bits")) {
    return FieldDifference("result", fResult, got);
  }
  if (IsOpen("result") || IsAccepted("result", got)) return std::nullopt;
  Json expected = fResult;
  for (const auto& [name, value] : got.items()) {
    if (expected.contains(name) && (IsOpen(name) || IsAccepted(name, value))) {
      expected[name] = value;
    }
  }
  return FirstDifference(expected, got, "result");
}

}  // namespace OrvixModBus::Vectors
