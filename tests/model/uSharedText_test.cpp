#include "platform/model/uSharedText.h"

#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

TEST(TSharedText, IsEmptyOrWhatItWasMadeOf) {
  EXPECT_EQ(TSharedText().Get(), "");
  EXPECT_EQ(TSharedText("").Get(), "");
  EXPECT_EQ(TSharedText("Temperature").Get(), "Temperature");
}

TEST(TSharedText, CopiesShareTheText) {
  const TSharedText text("Temperature");
  TSharedText copy = text;
  EXPECT_EQ(&copy.Get(), &text.Get());
  copy = TSharedText("Pressure");
  EXPECT_EQ(text.Get(), "Temperature");
}

TEST(TSharedTexts, EqualTextsAreOne) {
  TSharedTexts texts;
  const TSharedText first = texts.Share("Temperature"), other = texts.Share("Pressure");
  EXPECT_EQ(&texts.Share("Temperature").Get(), &first.Get());
  EXPECT_EQ(&texts.Share("Pressure").Get(), &other.Get());
  EXPECT_EQ(texts.Share("temperature").Get(), "temperature");
  EXPECT_EQ(texts.Share("").Get(), "");
}

TEST(TSharedTexts, KeepsThoseThatAreHeldThroughoutManyOthers) {
  TSharedTexts texts;
  const TSharedText held = texts.Share("Temperature");
  for (int i = 0; i < 1000; ++i) texts.Share("Type" + std::to_string(i));
  EXPECT_EQ(&texts.Share("Temperature").Get(), &held.Get());
  EXPECT_LT(texts.Count(), 100);
}

TEST(TSharedTexts, WhoHoldsATextKeepsItWhenTheyAreGone) {
  TSharedText held;
  {
    TSharedTexts texts;
    held = texts.Share("Temperature");
  }
  EXPECT_EQ(held.Get(), "Temperature");
}

}  // namespace
}  // namespace OrvixModBus
