#include "uTextDesigner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

#include "platform/rtl/uException.h"
#include "uMBRegister.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

// The package in a designer made of text.
class TextDesigner : public testing::Test {
 protected:
  TextDesigner() { Register(Designer.Registry()); }
  /// An auto-fill on a form that has been saved since.
  TMBRegsAutoFill& AddAutoFill() {
    auto& fill = dynamic_cast<TMBRegsAutoFill&>(Designer.Create("TMBRegsAutoFill"));
    Designer.MarkSaved();
    return fill;
  }

  std::istringstream Typed;
  std::ostringstream Shown;
  TTextDesigner Designer{Typed, Shown};
};

TEST_F(TextDesigner, ShowsThePaletteOfThePackage) {
  Designer.ShowPalette();
  EXPECT_EQ(Shown.str(),
            "ModBus: TMBConnection TMBRTUConnection TMBLetter TMBTypeInfo TMBRegsAutoFill "
            "TMBClient\n"
            "MBCustomFunctions: TMBFunction20 TMBFunction24 TMBFunction41\n");
}

TEST_F(TextDesigner, NamesWhatItPutsOnTheForm) {
  EXPECT_FALSE(Designer.IsModified());
  EXPECT_EQ(Designer.Create("TMBLetter").Name(), "MBLetter1");
  EXPECT_TRUE(Designer.IsModified());
  TComponent& second = Designer.Create("tmbletter");
  EXPECT_EQ(second.Name(), "MBLetter2");
  EXPECT_EQ(Designer.Create("TMBClient").Name(), "MBClient1");
  second.SetName("Boiler");
  EXPECT_EQ(Designer.Create("TMBLetter").Name(), "MBLetter2");
  EXPECT_EQ(Designer.Form().ComponentCount(), 4);
}

TEST_F(TextDesigner, KnowsOnlyThePalette) {
  EXPECT_THAT([&] { Designer.Create("TMBRegs"); },
              ThrowsMessage<Exception>("No class TMBRegs on the palette"));
  EXPECT_FALSE(Designer.IsModified());
}

TEST_F(TextDesigner, ShowsTheVerbsOfAComponent) {
  Designer.ShowVerbs(Designer.Create("TMBClient"));
  EXPECT_EQ(Shown.str(), "");
  Designer.ShowVerbs(Designer.Create("TMBRegsAutoFill"));
  EXPECT_EQ(Shown.str(), "0 &RegNameList Editor...\n");
}

TEST_F(TextDesigner, EditsTheNamesOfAnAutoFill) {
  TMBRegsAutoFill& fill = AddAutoFill();
  Typed.str("Pressure\nLevel\nok\nFlow\nok\n");
  Designer.DoubleClick(fill);
  EXPECT_EQ(fill.RegNameList().Text(), "Pressure\r\nLevel\r\n");
  EXPECT_TRUE(Designer.IsModified());
  Designer.ExecuteVerb(fill, 0);
  EXPECT_EQ(fill.RegNameList().Text(), "Flow\r\n");
  EXPECT_EQ(Shown.str(),
            "[RegNameList Editor Editor (MBRegsAutoFill1)]\n"
            "[RegNameList Editor Editor (MBRegsAutoFill1)]\nPressure\nLevel\n");
}

TEST_F(TextDesigner, KeepsTheFormWhenTheUserCancels) {
  for (const char* typed : {"Pressure\ncancel\n", "Pressure\n", ""}) {
    TMBRegsAutoFill& fill = AddAutoFill();
    fill.RegNameList().Add("Level");
    Typed = std::istringstream(typed);
    Designer.ExecuteVerb(fill, 0);
    EXPECT_EQ(fill.RegNameList().Text(), "Level\r\n") << typed;
    EXPECT_FALSE(Designer.IsModified()) << typed;
  }
}

TEST_F(TextDesigner, DoesNothingForAComponentWithoutEditor) {
  TComponent& client = Designer.Create("TMBClient");
  Designer.MarkSaved();
  Designer.DoubleClick(client);
  Designer.ExecuteVerb(client, 0);
  EXPECT_EQ(Shown.str(), "");
  EXPECT_FALSE(Designer.IsModified());
}

std::string ReadFile(const std::string& name) {
  std::ifstream file(std::string(ORVIX_SOURCE_DIR) + "/" + name);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST(DesignerGuide, ShowsCodeThatRuns) {
  const std::string code = ReadFile("tests/design/uTextDesigner.cpp");
  const std::string guide = ReadFile("docs/designer.md");
  const std::string begin = "```cpp\n";
  int blocks = 0;
  for (auto at = guide.find(begin); at != std::string::npos; at = guide.find(begin, at)) {
    at += begin.size();
    EXPECT_THAT(code, HasSubstr(guide.substr(at, guide.find("```", at) - at)));
    ++blocks;
  }
  EXPECT_EQ(blocks, 3);
}

}  // namespace
}  // namespace OrvixModBus
