#include "replay.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>

#include "scratch_file.h"

namespace OrvixModBus::Vectors {
namespace {

using testing::EndsWith;

const char kGood[] =
    R"({"id":"good","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":1,"Lo":2},"setup":{},)"
    R"("result":258,"raises":null,"raises_class":null})";
const char kBad[] =
    R"({"id":"bad","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":1,"Lo":2},"setup":{},)"
    R"("result":259,"raises":null,"raises_class":null})";
const char kOpen[] =
    R"({"id":"open","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":1,"Lo":2},"setup":{},)"
    R"("result":259,"raises":null,"raises_class":null,"open":true})";
const char kUnknownCall[] =
    R"({"id":"call","unit":"TMBLib","op":"ToByteToWard","args":{},"setup":{},)"
    R"("result":259,"raises":null,"raises_class":null})";
const char kUnknownStep[] =
    R"({"id":"step","area":"client","setup":{},"steps":[{"do":"pending"},{"do":"dance"}],)"
    R"("expect":[[0,"ret",0]]})";
const char kBadStep[] =
    R"({"id":"badstep","area":"client","setup":{},"steps":[{"do":"pending"},{"do":"pending"}],)"
    R"("expect":[[0,"ret",0],[1,"ret",7]]})";

struct TReplayed {
  int Status;
  std::string Output;
};

TReplayed Replay(const std::vector<std::string>& lines) {
  std::string content;
  for (const std::string& line : lines) content += line + "\n";
  const TScratchFile file(content);
  std::ostringstream out;
  const int status = ReplayFiles({file.Name()}, out);
  return {status, out.str()};
}

TEST(ReplayFiles, AllPassed) {
  const TReplayed replayed = Replay({kGood, kGood});
  EXPECT_EQ(replayed.Status, 0);
  EXPECT_EQ(replayed.Output, "2 passed, 0 failed, 0 skipped\n");
}

TEST(ReplayFiles, TellsIdExpectedAndGotOfAFailingVector) {
  const TReplayed replayed = Replay({kBad, kGood});
  EXPECT_EQ(replayed.Status, 1);
  EXPECT_EQ(replayed.Output, "bad: result: expected 259, got 258\n1 passed, 1 failed, 0 skipped\n");
}

TEST(ReplayFiles, TellsTheStepOfAFailingScenario) {
  const TReplayed replayed = Replay({kBadStep});
  EXPECT_EQ(replayed.Status, 1);
  EXPECT_EQ(replayed.Output,
            "badstep: step 1: expected [1,\"ret\",7], got [1,\"ret\",0]\n"
            "0 passed, 1 failed, 0 skipped\n");
}

TEST(ReplayFiles, SkipsOpenVectors) {
  const TReplayed replayed = Replay({kOpen, kGood});
  EXPECT_EQ(replayed.Status, 0);
  EXPECT_EQ(replayed.Output, "1 passed, 0 failed, 1 skipped\n");
}

TEST(ReplayFiles, UnknownOperationIsShownAndTheOthersAreJudged) {
  const TReplayed replayed = Replay({kUnknownCall, kUnknownStep, kGood, kBad});
  EXPECT_EQ(replayed.Status, 2);
  EXPECT_EQ(replayed.Output,
            "call: unknown operation TMBLib.ToByteToWard\n"
            "step: step 1: unknown operation dance\n"
            "bad: result: expected 259, got 258\n"
            "1 passed, 1 failed, 0 skipped\n");
}

TEST(ReplayFiles, VectorsOfAnotherFormAreNotUnderstood) {
  for (const char* line :
       {"{", "[]", R"({"id":"x"})", R"({"op":"ToByteToWord"})",
        // an argument, a set-up and a field that nobody reads
        R"({"id":"x","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":1,"Lo":2,"Mid":3},)"
        R"("setup":{},"result":258,"raises":null,"raises_class":null})",
        R"({"id":"x","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":1,"Lo":2},)"
        R"("setup":{"More":1},"result":258,"raises":null,"raises_class":null})",
        R"({"id":"x","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":1,"Lo":2},)"
        R"("setup":{},"result":258,"raises":null,"raises_class":null,"also":1})",
        // values that do not fit
        R"({"id":"x","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":256,"Lo":2},)"
        R"("setup":{},"result":258,"raises":null,"raises_class":null})",
        R"({"id":"x","unit":"TMBLib","op":"ToByteToWord","args":{"Hi":true,"Lo":2},)"
        R"("setup":{},"result":258,"raises":null,"raises_class":null})",
        R"({"id":"x","unit":"TMBLib","op":"ByteArToHexStr","args":{"Data":"1G"},)"
        R"("setup":{},"result":"$","raises":null,"raises_class":null})",
        // scenarios
        R"({"id":"x","area":"a","setup":{},"needs":["magic"],"steps":[],"expect":[]})",
        R"({"id":"x","area":"a","setup":{"magic":[]},"steps":[],"expect":[]})",
        R"({"id":"x","area":"a","setup":{},"steps":[{"do":"pending","deep":1}],)"
        R"("expect":[[0,"ret",0]]})"}) {
    SCOPED_TRACE(line);
    const TReplayed replayed = Replay({line, kGood});
    EXPECT_EQ(replayed.Status, 2);
    EXPECT_THAT(replayed.Output, EndsWith("\n1 passed, 0 failed, 0 skipped\n"));
  }
}

TEST(ReplayFiles, AnObjectThatIsNotThereFailsTheVector) {
  for (const char* step : {R"({"do":"complete","i":0,"k":5})", R"({"do":"pending","c":"C9"})",
                           R"({"do":"reg_dump","reg":"L1:0"})", R"({"do":"reg_dump","reg":"R"})"}) {
    SCOPED_TRACE(step);
    const std::string line =
        std::string(R"({"id":"x","area":"a","setup":{},"steps":[)") + step + R"(],"expect":[]})";
    EXPECT_EQ(Replay({line}).Status, 1);
  }
}

TEST(ReplayFiles, UnreadableFileDoesNotHideTheOthers) {
  const TScratchFile empty;
  const TScratchFile good(kGood);
  std::ostringstream out;
  EXPECT_EQ(ReplayFiles({"/no/such/file", empty.Name(), "/", good.Name()}, out), 2);
  EXPECT_EQ(out.str(), "/no/such/file: can't be read\n" + empty.Name() +
                           ": can't be read\n/: can't be read\n1 passed, 0 failed, 0 skipped\n");
}

/// The program's exit status; its output in output.
int RunProgram(const std::string& arguments, std::string& output) {
  FILE* pipe = popen((ORVIX_VECTOR_REPLAY " " + arguments + " 2>&1").c_str(), "r");
  if (pipe == nullptr) return -1;
  std::array<char, 256> part;
  while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe)) {
    output.append(part.data(), size);
  }
  const int status = pclose(pipe);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(VectorReplay, ExitStatusAndLastLine) {
  const TScratchFile good(kGood);
  const TScratchFile bad(kBad);
  const TScratchFile unknown(kUnknownCall);
  const struct {
    std::string Arguments;
    int Status;
    std::string LastLine;
  } cases[] = {
      {good.Name(), 0, "1 passed, 0 failed, 0 skipped\n"},
      {good.Name() + " " + bad.Name(), 1, "1 passed, 1 failed, 0 skipped\n"},
      {good.Name() + " " + bad.Name() + " " + unknown.Name(), 2, "1 passed, 1 failed, 0 skipped\n"},
      {good.Name() + " /no/such/file", 2, "1 passed, 0 failed, 0 skipped\n"},
      {"", 2, "usage: vector_replay FILE...\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.Arguments);
    std::string output;
    EXPECT_EQ(RunProgram(c.Arguments, output), c.Status);
    EXPECT_THAT(output, EndsWith(c.LastLine));
  }
}

}  // namespace
}  // namespace OrvixModBus::Vectors
