#include "platform/designer/uDesigner.h"

#include <gtest/gtest.h>

#include "tests/designer/uTestDesigner.h"

namespace OrvixModBus {
namespace {

TEST(Designer, KnowsAComponentByItsNameUnlessItShowsAnother) {
  TTestDesigner designer;
  TComponent component;
  EXPECT_EQ(designer.GetComponentName(component), "");
  component.SetName("Pump1");
  EXPECT_EQ(designer.GetComponentName(component), "Pump1");
}

}  // namespace
}  // namespace OrvixModBus
