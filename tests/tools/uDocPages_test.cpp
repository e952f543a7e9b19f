#include "tools/docs/uDocPages.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

TEST(DocPages, ThoseInDocsAreTheProgramsOwn) {
  for (const TDocPage& page : DocPages()) {
    EXPECT_EQ(ReadWholeFile(ORVIX_SOURCE_DIR "/docs/" + page.Name), page.Text)
        << "./run docs makes " << page.Name;
  }
}

}  // namespace
}  // namespace OrvixModBus
