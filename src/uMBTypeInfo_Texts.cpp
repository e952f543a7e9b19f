#include "uMBTypeInfo_Texts.h"

#include <charconv>
#include <cstddef>
#include <optional>
#include <system_error>

#include "platform/rtl/uNumText.h"

namespace OrvixModBus {
namespace {

// The bits of the longest register, and some.
constexpr std::int32_t kLowCount = 2048;

bool IsLow(std::int32_t number) { return number >= 0 && number < kLowCount; }

// Only the text that IntToStr makes: "07" and "+7" are names, but not those of 7.
std::optional<std::int32_t> NumberNamed(std::string_view name) {
  std::int32_t number = 0;
  const auto read = std::from_chars(name.data(), name.data() + name.size(), number);
  if (read.ec != std::errc() || IntToStr(number) != name) return std::nullopt;
  return number;
}

}  // namespace

std::string_view TMBRegTypeTexts::FindOther(std::int32_t number) const {
  const auto found = fOther.find(number);
  return found != fOther.end() ? found->second : std::string_view();
}

void TMBRegTypeTexts::Set(std::int32_t number, std::string_view text) {
  fLines.SetValue(IntToStr(number), text);
}

std::string TMBRegTypeTexts::Description() const {
  std::string result;
  for (int i = 0; i < fLines.Count(); ++i) {
    if (i > 0) result.append("; ");
    result.append(fLines.Names(i)).append(": ").append(fLines.ValueFromIndex(i));
  }
  return result;
}

void TMBRegTypeTexts::Learn() const {
  fLow.clear();
  fOther.clear();
  for (int i = 0; i < fLines.Count(); ++i) {
    const auto number = NumberNamed(fLines.Names(i));
    if (!number) continue;
    const std::string_view text = fLines.ValueFromIndex(i);
    if (!IsLow(*number)) {
      fOther.try_emplace(*number, text);
      continue;
    }
    const auto place = static_cast<std::size_t>(*number);
    if (place >= fLow.size()) fLow.resize(place + 1);
    if (fLow[place].data() == nullptr) fLow[place] = text;
  }
  fRevision = fLines.Revision();
}

}  // namespace OrvixModBus
