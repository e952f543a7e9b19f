#include "tools/docs/uFormDocs.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "platform/model/uCollection.h"

namespace OrvixModBus {
namespace {

TEST(FormDocs, EveryClassAndPropertyIsDescribedAndNothingElse) {
  std::set<std::string> wanted;
  for (const TClassInfo* info : FormClasses()) {
    if (!info->InheritsFrom(TCollection::StaticClass())) wanted.emplace(info->Name());
    for (const TPropertyInfo* property : info->Properties()) {
      wanted.insert(DeclaredName(*info, *property));
    }
  }
  std::set<std::string> described;
  for (const auto name : FormDescriptionNames()) described.emplace(name);
  EXPECT_EQ(described, wanted);
}

TEST(FormDocs, APropertyBelongsToTheClassThatDeclaresIt) {
  for (const TClassInfo* info : FormClasses()) {
    if (info->Name() != "TMBRTUConnection") continue;
    EXPECT_EQ(DeclaredName(*info, *info->Property("Port")), "TModbusConnection.Port");
    return;
  }
  FAIL() << "there is no TMBRTUConnection";
}

}  // namespace
}  // namespace OrvixModBus
