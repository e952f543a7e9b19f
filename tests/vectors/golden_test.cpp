// The project's golden vectors: all of them are there, and hold.

#include <gtest/gtest.h>

#include "data.h"
#include "replay.h"

namespace OrvixModBus::Vectors {
namespace {

TEST(GoldenVectors, AreAllThereAndPass) {
  const std::vector<Json> vectors = LoadAllVectors(ORVIX_SOURCE_DIR);
  ASSERT_GT(vectors.size(), 4000U);
  for (const Json& vector : vectors) {
    const TJudgement judgement = Judge(vector);
    const bool isOpen = vector.contains("open") && vector["open"] == true;
    EXPECT_EQ(judgement.Verdict, isOpen ? EVerdict::kSkipped : EVerdict::kPassed)
        << judgement.Id << ": " << judgement.Text;
  }
}

}  // namespace
}  // namespace OrvixModBus::Vectors
