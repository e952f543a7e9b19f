#include "platform/rtl/uException.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace OrvixModBus {
namespace {

template <class TError>
class EveryError : public testing::Test {};

using TErrors = testing::Types<EConvertError, EZeroDivide, EDivByZero, EListError,
                               EArgumentOutOfRangeException, EVariantError, EThreadError>;
TYPED_TEST_SUITE(EveryError, TErrors);

TYPED_TEST(EveryError, IsCaughtAsTheGeneralClassWithItsText) {
  try {
    throw TypeParam("what happened");
  } catch (const Exception& error) {
    EXPECT_STREQ(error.what(), "what happened");
    return;
  }
}

TEST(Exception, IsCaughtAsAStandardRuntimeError) {
  EXPECT_THROW(throw Exception("text"), std::runtime_error);
}

TEST(Exception, DivisionsByZeroBringTheirOwnTexts) {
  EXPECT_STREQ(EDivByZero().what(), "Division by zero");
  EXPECT_STREQ(EZeroDivide().what(), "Floating point division by zero");
}

}  // namespace
}  // namespace OrvixModBus
