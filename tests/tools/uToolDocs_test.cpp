#include "tools/docs/uToolDocs.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

// A program with options of every kind.
class ToolDocs : public testing::Test {
 protected:
  ToolDocs() {
    fApp.name("dig");
    fApp.description("Digs.");
    fApp.footer("Mind the roots.");
    CLI::App& hole = *fApp.add_subcommand("hole", "Dig a hole.");
    hole.footer("Example:\n  dig hole garden.map --deep 2");
    hole.add_option("FORM", fText, "where")->required();
    hole.add_option("--deep", fNumber, "how deep")
        ->type_name("M")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    hole.add_option("--log", fText, "what was found")->type_name("FILE");
    hole.add_flag("--dry-run", fFlag, "only look\\think");
    fApp.add_subcommand("hedge", "Dig a hedge.");
  }

  // What bash completes the words to, which begin with the program.
  std::string Completed(const std::string& words, int current) {
    const TTempFolder folder;
    const std::string file = folder.Write("completion.bash", BashCompletion(fApp));
    const std::string command = "bash -c 'source " + file + "; COMP_WORDS=(" + words +
                                "); COMP_CWORD=" + std::to_string(current) +
                                "; _dig; echo \"${COMPREPLY[@]}\"' 2>&1";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    char line[256] = "";
    if (std::fgets(line, sizeof line, pipe.get()) == nullptr) return "nothing printed";
    return line;
  }

  CLI::App fApp;

 private:
  std::string fText;
  int fNumber = 1;
  bool fFlag = false;
};

TEST_F(ToolDocs, TheManualPageTellsEverySubcommandAndOption) {
  EXPECT_EQ(ManPage(fApp), R"(.TH DIG 1
.SH NAME
dig \- Digs.
.SH SYNOPSIS
.B dig
SUBCOMMAND [OPTIONS]
.SH OPTIONS
.TP
.B \-h,\-\-help
Print this help message and exit
.SH SUBCOMMANDS
.SS hole FORM [OPTIONS]
Dig a hole.
.TP
.B FORM
where
.TP
.B \-h,\-\-help
Print this help message and exit
.TP
.B \-\-deep M
how deep (default: 1)
.TP
.B \-\-log FILE
what was found
.TP
.B \-\-dry\-run
only look\ethink
.PP
.nf
Example:
  dig hole garden.map \-\-deep 2
.fi
.SS hedge [OPTIONS]
Dig a hedge.
.TP
.B \-h,\-\-help
Print this help message and exit
.SH NOTES
.nf
Mind the roots.
.fi
)");
}

TEST_F(ToolDocs, BashCompletesSubcommandsAndOptions) {
  EXPECT_EQ(Completed("dig h", 1), "hole hedge\n");
  EXPECT_EQ(Completed("dig hed", 1), "hedge\n");
  EXPECT_EQ(Completed("dig hole garden.map --d", 3), "--deep --dry-run\n");
  EXPECT_EQ(Completed("dig hole --deep -", 3), "\n") << "a value that nobody knows";
  EXPECT_EQ(Completed("dig hedge --l", 2), "\n") << "of another subcommand";
}

}  // namespace
}  // namespace OrvixModBus
