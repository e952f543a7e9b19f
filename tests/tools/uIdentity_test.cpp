#include "tools/orvixmb/uIdentity.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

struct TIdentityRow {
  Bytes Data, Id;
  std::optional<bool> Running;
  const char* Text;
};

TEST(Identity, IsAnIdASignAndAText) {
  const TIdentityRow kRows[] = {
      {{0x12, 0xFF, 'A', 'b', ' '}, {0x12}, true, "Ab"},
      {{0x12, 0x34, 0x00, 'A', 0xFF}, {0x12, 0x34}, false, "A\u00FF"},
      {{0x00, 0xFF, 'A'}, {0x00}, true, "A"},
      {{0xFF, 'A', 'b'}, {}, true, "Ab"},
      {{0x00}, {}, false, ""},
      {{'A', 'b'}, {}, std::nullopt, "Ab"},
      {{}, {}, std::nullopt, ""},
  };
  for (const TIdentityRow& row : kRows) {
    SCOPED_TRACE(testing::PrintToString(row.Data));
    const TIdentity identity = IdentityOf(row.Data);
    EXPECT_EQ(identity.Id, row.Id);
    EXPECT_EQ(identity.Running, row.Running);
    EXPECT_EQ(identity.Text, row.Text);
  }
}

}  // namespace
}  // namespace OrvixModBus
