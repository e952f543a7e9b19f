// What of the project's golden vectors holds: all, but for the parts that are still to come.

#include <gtest/gtest.h>

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

/// Operations that the library does not offer yet. Each goes from here as soon as it does.
const std::set<std::string> kStillToCome = {
    // register containers and sorters
    "dic_new",
    "cont_new",
    "sorter_new",
    // auto-fill and the design-time part
    "setup.autofills",
};

TEST(GoldenVectors, PassOrNameAnOperationStillToCome) {
  ASSERT_GT(AllVectors().size(), 4000U);
  for (const Json& vector : AllVectors()) {
    const TJudgement judgement = Judge(vector);
    const bool isToCome = kStillToCome.contains(judgement.Operation);
    EXPECT_TRUE(judgement.Verdict == EVerdict::kPassed || judgement.Verdict == EVerdict::kSkipped ||
                isToCome)
        << judgement.Id << ": " << judgement.Text;
  }
}

TEST(GoldenVectors, EveryOperationStillToComeIsUnknown) {
  std::set<std::string> unknown;
  for (const Json& vector : AllVectors()) unknown.insert(Judge(vector).Operation);
  for (const std::string& operation : kStillToCome) {
    EXPECT_TRUE(unknown.contains(operation)) << operation;
  }
}

}  // namespace
}  // namespace OrvixModBus::Vectors
