#include "tools/orvixmb/uPcap.h"

#include <gtest/gtest.h>

#include "tests/tools/uHexFrame.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using enum TTraceDirection;

constexpr std::size_t kFileHead = 24, kPacketHead = 16;

std::string HexOf(const std::string& text, std::size_t at, std::size_t size) {
  const std::string part = text.substr(at, size);
  return ToHex(Bytes(part.begin(), part.end()));
}

TEST(Pcap, AFileWithoutFramesIsItsHead) {
  EXPECT_EQ(HexOf(TPcapFile().Text(), 0, 100),
            "4D 3C B2 A1 02 00 04 00 00 00 00 00 00 00 00 00 FF FF 00 00 65 00 00 00");
}

TEST(Pcap, AFrameIsAUdpPacketWithItsTime) {
  TPcapFile file;
  file.Add(tdSent, FromHex("11 03 00"), TPcapFile::TTime(0x01020304s + 5ns));
  EXPECT_EQ(HexOf(file.Text(), kFileHead, 100),
            "04 03 02 01 05 00 00 00 1F 00 00 00 1F 00 00 00 "              // time, lengths
            "45 00 00 1F 00 00 00 00 40 11 7B BC 7F 00 00 01 7F 00 01 11 "  // IP
            "C3 50 13 9C 00 0B 00 00 11 03 00");                            // UDP
}

TEST(Pcap, ItsEndsTellTheDirection) {
  TPcapFile file;
  const std::size_t size = kPacketHead + 31;
  for (const TTraceDirection direction : {tdSent, tdReceived, tdIgnored}) {
    file.Add(direction, FromHex("11 83 02"), TPcapFile::TTime(1s));
  }
  const auto ends = [&](std::size_t index) {
    return HexOf(file.Text(), kFileHead + index * size + kPacketHead + 12, 12);
  };
  EXPECT_EQ(ends(0), "7F 00 00 01 7F 00 01 11 C3 50 13 9C");
  EXPECT_EQ(ends(1), "7F 00 01 11 7F 00 00 01 13 9C C3 50");
  EXPECT_EQ(ends(2), "7F 00 01 00 7F 00 00 01 C3 50 00 09");
}

TEST(Pcap, WhatIsTooLongForAPacketIsCut) {
  TPcapFile file;
  file.Add(tdIgnored, Bytes(70000), TPcapFile::TTime(1s));
  file.Add(tdIgnored, {}, TPcapFile::TTime(1s));
  EXPECT_EQ(file.Text().size(), kFileHead + kPacketHead + 65535 + kPacketHead + 28);
}

}  // namespace
}  // namespace OrvixModBus
