#include "letters.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "letters_scenario.h"

namespace OrvixModBus::Vectors {
namespace {

/// What a vector may need; this program has all of it.
constexpr std::array<std::string_view, 9> kFeatures = {
    "base", "beep", "dx", "hook", "message", "post", "postfail", "rpos", "userdata"};

void RefuseUnknownNeeds(TFields& vector) {
  if (!vector.Has("needs")) return;
  for (const std::string& need : vector["needs"].Texts()) {
    if (std::ranges::find(kFeatures, need) == kFeatures.end()) {
      throw ENotUnderstood("unknown need " + need);
    }
  }
}

/// "raise_any" leaves class and text to the platform.
bool IsAnyRaise(const Json& expected, const Json& got) {
  return expected.size() == 2 && expected[1] == "raise_any" && got.size() == 3 &&
         got[1] == "raise" && !FirstDifference(expected[0], got[0], "");
}

std::optional<TDifference> EffectDifference(const Json& expected, const Json& got) {
  if (IsAnyRaise(expected, got)) return std::nullopt;
  if (!FirstDifference(expected, got, "", EWildcard::kStar)) return std::nullopt;
  return TDifference{"step " + Show(expected.at(0)), Show(expected), Show(got)};
}

std::optional<TDifference> EffectsDifference(const Json& expected, const Json& got) {
  const std::size_t common = std::min(expected.size(), got.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (auto found = EffectDifference(expected[i], got[i])) return found;
  }
  const std::string nothing(kNothing);
  if (expected.size() > common) {
    return TDifference{"step " + Show(expected[common].at(0)), Show(expected[common]), nothing};
  }
  if (got.size() > common) {
    return TDifference{"step " + Show(got[common].at(0)), nothing, Show(got[common])};
  }
  return std::nullopt;
}

}  // namespace

std::optional<TDifference> JudgeLetters(const Json& vectorJson) {
  TFields vector(vectorJson);
  vector.Ignore({"id", "area", "tags", "note", "derived", "open", "why"});
  RefuseUnknownNeeds(vector);
  const Json& steps = vector["steps"].Elements();
  const Json& expected = vector["expect"].Elements();
  TScenario scenario(vector["setup"].Value());
  vector.RefuseUnread();
  scenario.Play(steps);
  return EffectsDifference(expected, scenario.Effects());
}

}  // namespace OrvixModBus::Vectors
