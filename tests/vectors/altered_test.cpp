// Every judged place of every kind of vector is altered, and the vector must fail.

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "data.h"
#include "replay.h"

namespace OrvixModBus::Vectors {
namespace {

const std::vector<Json>& AllVectors() {
  static const std::vector<Json> kVectors = LoadAllVectors(ORVIX_SOURCE_DIR);
  return kVectors;
}

using TPointer = Json::json_pointer;

Json OtherText(const std::string& text) {
  if (text == "Exception") return "EConvertError";
  if (text == "EConvertError") return "Exception";
  return text + "0";
}

/// Another value of the same type.
Json Other(const Json& value) {
  if (value.is_boolean()) return !value.get<bool>();
  if (value.is_number_float()) return value.get<double>() + 1;
  if (value.is_number()) return value.get<std::int64_t>() + 1;
  if (value.is_string()) return OtherText(value.get<std::string>());
  if (value.is_null()) return "Exception";
  return value;
}

Json OtherReal(Json real) {
  auto bits = real["bits"].get<std::string>();
  bits.back() = bits.back() == '0' ? '1' : '0';
  real["bits"] = bits;
  return real;
}

/// Calls found with every place inside value at which it can be altered, and the altered value.
void AlterEach(const Json& value, const TPointer& place,
               const std::function<void(const TPointer&, const Json&)>& found) {
  if (value.is_object() && value.contains("bits")) return found(place, OtherReal(value));
  if (!value.is_structured()) return found(place, Other(value));
  if (value.is_array()) {
    Json longer = value;
    longer.push_back(value.empty() ? Json("more") : value.back());
    found(place, longer);
    for (std::size_t i = 0; i < value.size(); ++i) AlterEach(value[i], place / i, found);
    if (value.empty()) return;
    Json shorter = value;
    shorter.erase(shorter.size() - 1);
    found(place, shorter);
    return;
  }
  for (const auto& [key, field] : value.items()) {
    Json without = value;
    without.erase(key);
    found(place, without);
    AlterEach(field, place / key, found);
  }
}

EVerdict VerdictWith(const Json& vector, const TPointer& place, const Json& altered) {
  Json changed = vector;
  changed[place] = altered;
  return Judge(changed).Verdict;
}

/// Alters every place of the fields of the object at owner. An altered vector may as well not be
/// understood any more, but must not pass.
void ExpectJudged(const Json& vector, const TPointer& owner, const std::set<std::string>& fields) {
  for (const std::string& field : fields) {
    if (!vector[owner].contains(field)) continue;
    AlterEach(vector[owner / field], owner / field, [&](const TPointer& place, const Json& other) {
      EXPECT_NE(VerdictWith(vector, place, other), EVerdict::kPassed)
          << vector["id"] << " with " << place << " altered to " << other;
    });
  }
}

bool IsPlain(const Json& line) { return !line.contains("open_fields") && !line.contains("open"); }

/// The first vector of every operation, apart by whether it raises.
std::map<std::string, Json> OneVectorPerCall() {
  std::map<std::string, Json> chosen;
  for (const Json& vector : AllVectors()) {
    if (!vector.contains("op") || vector["op"] == "script" || !IsPlain(vector)) continue;
    chosen.try_emplace(vector["unit"].get<std::string>() + "." + vector["op"].get<std::string>() +
                           (vector["raises_class"].is_null() ? "" : " raises"),
                       vector);
  }
  return chosen;
}

TEST(AlteredVector, OfEveryCallFails) {
  const auto chosen = OneVectorPerCall();
  ASSERT_GT(chosen.size(), 80U);
  for (const auto& [name, vector] : chosen) {
    SCOPED_TRACE(name);
    ASSERT_EQ(Judge(vector).Verdict, EVerdict::kPassed);
    ExpectJudged(vector, TPointer(""), {"result", "raises_class", "after"});
    if (!vector["raises"].is_null()) ExpectJudged(vector, TPointer(""), {"raises"});
  }
}

/// The first step of every operation on every kind of script, with the observations that it has.
std::map<std::string, std::pair<Json, TPointer>> OneStepPerOperation() {
  std::map<std::string, std::pair<Json, TPointer>> chosen;
  for (const Json& vector : AllVectors()) {
    if (!vector.contains("op") || vector["op"] != "script" || !IsPlain(vector)) continue;
    for (std::size_t i = 0; i < vector["steps"].size(); ++i) {
      const Json& step = vector["steps"][i];
      if (!IsPlain(step)) continue;
      std::string name = vector["unit"].get<std::string>() + " " + step["op"].get<std::string>();
      for (const char* seen : {"changed", "freed", "events", "notifications"}) {
        if (step.contains(seen)) name += std::string(" ") + seen;
      }
      if (!step["raises_class"].is_null()) name += " raises";
      chosen.try_emplace(name, vector, TPointer("/steps") / i);
    }
  }
  return chosen;
}

TEST(AlteredVector, OfEveryStepOfAScriptFails) {
  const auto chosen = OneStepPerOperation();
  ASSERT_GT(chosen.size(), 80U);
  for (const auto& [name, place] : chosen) {
    SCOPED_TRACE(name);
    const auto& [vector, step] = place;
    ASSERT_EQ(Judge(vector).Verdict, EVerdict::kPassed);
    ExpectJudged(vector, step,
                 {"result", "raises_class", "changed", "freed", "events", "notifications"});
    if (!vector[step]["raises"].is_null()) ExpectJudged(vector, step, {"raises"});
  }
}

TEST(AlteredVector, WithAnObservationThatWasNotMadeFails) {
  for (const auto& [name, place] : OneStepPerOperation()) {
    SCOPED_TRACE(name);
    auto [vector, step] = place;
    const bool registers = vector["unit"] != "TMBTypeInfo";
    if (registers && !vector[step].contains("events")) {
      EXPECT_EQ(VerdictWith(vector, step / "events", {"N:A0"}), EVerdict::kFailed);
    }
    if (registers && !vector[step].contains("freed")) {
      EXPECT_EQ(VerdictWith(vector, step / "freed", {"A0"}), EVerdict::kFailed);
    }
    if (!vector[step].contains("changed")) {
      const Json changed = {{"A0", {{"Adress", 77}}}};
      EXPECT_EQ(VerdictWith(vector, step / "changed", changed), EVerdict::kFailed);
    }
  }
}

/// Kind of an effect: its name, and of events and dumps what they tell.
std::string KindOf(const Json& effect) {
  std::string kind = effect[1].get<std::string>();
  if (kind == "ev" || kind == "lst" || kind == "cb" || kind == "hook") {
    kind += " " + effect[3].get<std::string>();
  }
  return kind;
}

/// The first judged vector with an effect of every kind, and the effect's place.
std::map<std::string, std::pair<Json, std::size_t>> OneEffectPerKind() {
  std::map<std::string, std::pair<Json, std::size_t>> chosen;
  for (const Json& vector : AllVectors()) {
    if (!vector.contains("area")) continue;
    for (std::size_t i = 0; i < vector["expect"].size(); ++i) {
      const std::string kind = KindOf(vector["expect"][i]);
      if (chosen.contains(kind) || Judge(vector).Verdict != EVerdict::kPassed) continue;
      chosen.try_emplace(kind, vector, i);
    }
  }
  return chosen;
}

TEST(AlteredVector, OfEveryKindOfEffectFails) {
  const auto chosen = OneEffectPerKind();
  ASSERT_GT(chosen.size(), 20U);
  for (const auto& [kind, place] : chosen) {
    SCOPED_TRACE(kind);
    const Json& vector = place.first;
    const std::size_t index = place.second;
    AlterEach(vector["expect"][index], TPointer("/expect") / index,
              [&](const TPointer& where, const Json& other) {
                if (vector.at(where) == "*") return;
                EXPECT_NE(VerdictWith(vector, where, other), EVerdict::kPassed)
                    << vector["id"] << " with " << where << " altered to " << other;
              });
  }
}

TEST(AlteredVector, WithAMissingAnExtraOrAMisplacedEffectFails) {
  for (const auto& [kind, place] : OneEffectPerKind()) {
    SCOPED_TRACE(kind);
    const auto& [vector, index] = place;
    Json missing = vector;
    missing["expect"].erase(index);
    EXPECT_EQ(Judge(missing).Verdict, EVerdict::kFailed);
    Json twice = vector;
    twice["expect"].insert(twice["expect"].begin() + static_cast<std::ptrdiff_t>(index),
                           vector["expect"][index]);
    EXPECT_EQ(Judge(twice).Verdict, EVerdict::kFailed);
    Json swapped = vector;
    if (index + 1 >= vector["expect"].size()) continue;
    if (vector["expect"][index] == vector["expect"][index + 1]) continue;
    swapped["expect"][index].swap(swapped["expect"][index + 1]);
    EXPECT_EQ(Judge(swapped).Verdict, EVerdict::kFailed);
  }
}

}  // namespace
}  // namespace OrvixModBus::Vectors
