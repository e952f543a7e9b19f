#include "platform/rtl/uTextFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using testing::ThrowsMessage;
namespace fs = std::filesystem;

std::string AllBytes(int times) {
  std::string bytes;
  for (int i = 0; i < times * 256; ++i) bytes += static_cast<char>(i & 0xFF);
  return bytes;
}

TEST(TextFile, ReadsEveryByte) {
  const TTempFolder folder;
  for (const std::string& bytes : {std::string(), std::string("\r\n\0\x1A", 4), AllBytes(1000)}) {
    EXPECT_EQ(ReadWholeFile(folder.Write("file", bytes)), bytes);
  }
}

TEST(TextFile, WritesEveryByteAndReplacesWhatWasThere) {
  const TTempFolder folder;
  for (const std::string& bytes : {AllBytes(1000), std::string("short\n"), std::string()}) {
    WriteWholeFile(folder.File("file"), bytes);
    EXPECT_EQ(folder.Read("file"), bytes);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 1) << "nothing beside it";
}

TEST(TextFile, RefusalToReadNamesFileAndReason) {
  const TTempFolder folder;
  const std::string absent = folder.File("absent");
  EXPECT_THAT(
      [&] { ReadWholeFile(absent); },
      ThrowsMessage<EStreamError>("Can't read \"" + absent + "\": No such file or directory"));
  EXPECT_THAT([&] { ReadWholeFile(folder.Path()); },
              ThrowsMessage<EStreamError>("Can't read \"" + folder.Path() + "\": Is a directory"));
}

TEST(TextFile, RefusalToWriteNamesFileAndReason) {
  const TTempFolder folder;
  const std::string lost = folder.File("absent/file");
  EXPECT_THAT(
      [&] { WriteWholeFile(lost, "x"); },
      ThrowsMessage<EStreamError>("Can't write \"" + lost + "\": No such file or directory"));
  EXPECT_THAT([&] { WriteWholeFile(folder.Path(), "x"); },
              ThrowsMessage<EStreamError>("Can't write \"" + folder.Path() + "\": Is a directory"));
  EXPECT_FALSE(fs::exists(folder.Path() + ".part"));
}

// Lets files of this process grow to a few bytes only: a disk that is full half way.
class TSmallDisk {
 public:
  explicit TSmallDisk(rlim_t bytes) {
    getrlimit(RLIMIT_FSIZE, &fBefore);
    const rlimit small{bytes, fBefore.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
  }
  TSmallDisk(const TSmallDisk&) = delete;
  TSmallDisk& operator=(const TSmallDisk&) = delete;
  ~TSmallDisk() {
    setrlimit(RLIMIT_FSIZE, &fBefore);
    std::signal(SIGXFSZ, fHandler);
  }

 private:
  rlimit fBefore{};
  void (*fHandler)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

TEST(TextFile, FullDiskLeavesTheOldFileAndNothingBesideIt) {
  const TTempFolder folder;
  const std::string file = folder.Write("file", "before");
  {
    const TSmallDisk disk(1000);
    EXPECT_THAT([&] { WriteWholeFile(file, AllBytes(100)); },
                ThrowsMessage<EStreamError>("Can't write \"" + file + "\": File too large"));
  }
  EXPECT_EQ(folder.Read("file"), "before");
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path()), {}), 1);
}

TEST(TextFile, DeviceIsWrittenNotReplaced) {
  const TTempFolder folder;
  const std::string pipe = folder.File("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  std::fstream reader(pipe, std::ios::in | std::ios::out);  // both ends: nobody has to wait
  WriteWholeFile(pipe, "line\n");
  ASSERT_TRUE(fs::is_fifo(pipe)) << "there is nothing to wait for";
  std::string line;
  ASSERT_TRUE(std::getline(reader, line));
  EXPECT_EQ(line, "line");
}

TEST(TextFile, LinkStaysALink) {
  const TTempFolder folder;
  folder.Write("real", "before");
  fs::create_symlink("real", folder.File("link"));
  WriteWholeFile(folder.File("link"), "after");
  EXPECT_TRUE(fs::is_symlink(folder.File("link")));
  EXPECT_EQ(folder.Read("real"), "after");
}

TEST(TextFile, PermissionsStay) {
  const TTempFolder folder;
  const std::string file = folder.Write("file", "before");
  const auto wanted = fs::perms::owner_read | fs::perms::owner_write;
  fs::permissions(file, wanted);
  WriteWholeFile(file, "after");
  EXPECT_EQ(fs::status(file).permissions(), wanted);
}

TEST(TextFile, RefusedReplacementLeavesTheOldFile) {
  const TTempFolder folder;
  const std::string file = folder.Write("file", "before");
  fs::create_directory(file + ".part");  // in the way of what is written aside
  EXPECT_THROW(WriteWholeFile(file, "after"), EStreamError);
  EXPECT_EQ(folder.Read("file"), "before");
  EXPECT_TRUE(fs::exists(file + ".part")) << "not this function's to remove";
}

}  // namespace
}  // namespace OrvixModBus
