#include "tools/simulator/uMemoryCable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

class TMemoryCableTest : public testing::Test {
 public:
  static Bytes ReadAll(TSerialPort& port) {
    std::array<std::uint8_t, 16> room{};
    const TPortTransfer done = port.Read(room);
    EXPECT_FALSE(done.Lost);
    return {room.begin(), room.begin() + static_cast<std::ptrdiff_t>(done.Count)};
  }
  static bool IsLost(TSerialPort& port) {
    std::array<std::uint8_t, 16> room{};
    return port.Read(room).Lost;
  }

  TVirtualLoop Loop;
  TMemoryCable Cable{Loop};
  std::unique_ptr<TSerialPort> Port = Cable.NewPort();
};

TEST_F(TMemoryCableTest, CarriesBytesBothWays) {
  Port->Open({.Name = "cable"});
  Port->Write(Bytes{1, 2, 3});
  EXPECT_THAT(ReadAll(Cable.FarEnd()), ElementsAre(1, 2, 3));
  Cable.FarEnd().Write(Bytes{4, 5});
  EXPECT_THAT(ReadAll(*Port), ElementsAre(4, 5));
  EXPECT_THAT(ReadAll(*Port), IsEmpty());
}

TEST_F(TMemoryCableTest, ReadsNoMoreThanThereIsRoomFor) {
  Port->Open({.Name = "cable"});
  Cable.FarEnd().Write(Bytes{1, 2, 3});
  std::array<std::uint8_t, 2> room{};
  EXPECT_EQ(Port->Read(room).Count, 2u);
  EXPECT_THAT(ReadAll(*Port), ElementsAre(3));
}

TEST_F(TMemoryCableTest, WakesTheLoopWhereThereIsSomethingToRead) {
  Port->Open({.Name = "cable"});
  Bytes seen;
  const auto watch = Loop.NewWatch(Port->Handle(), [&](TReadiness) { seen = ReadAll(*Port); });
  watch->Want(TReadiness::rdRead);
  Loop.RunPending();
  EXPECT_THAT(seen, IsEmpty());
  Cable.FarEnd().Write(Bytes{9});
  Loop.RunPending();
  EXPECT_THAT(seen, ElementsAre(9));
}

TEST_F(TMemoryCableTest, PulledOutThePortIsLostUntilItIsOpenedAgain) {
  Port->Open({.Name = "cable"});
  Cable.FarEnd().Write(Bytes{1});
  Port->Write(Bytes{2});
  Cable.Unplug();
  EXPECT_TRUE(IsLost(*Port));
  EXPECT_TRUE(Port->Write(Bytes{3}).Lost);
  EXPECT_THAT(ReadAll(Cable.FarEnd()), IsEmpty());
  EXPECT_THAT([&] { Port->Open({.Name = "cable"}); },
              ThrowsMessage<EModLinkError>("Port cable: pulled out"));
  Cable.Plug();
  Port->Open({.Name = "cable"});
  EXPECT_FALSE(IsLost(*Port));
  Port->Write(Bytes{4});
  EXPECT_THAT(ReadAll(Cable.FarEnd()), ElementsAre(4));
}

TEST_F(TMemoryCableTest, PulledOutAndPutBackThePortIsLostAllTheSame) {
  Port->Open({.Name = "cable"});
  Cable.Unplug();
  Cable.Plug();
  EXPECT_TRUE(IsLost(*Port));
}

TEST_F(TMemoryCableTest, TheDeviceTalksToNobodyWhileNoPortIsOpen) {
  Cable.FarEnd().Write(Bytes{1});
  Port->Open({.Name = "cable"});
  EXPECT_THAT(ReadAll(*Port), IsEmpty());
}

TEST_F(TMemoryCableTest, IsOpenedExclusively) {
  Port->Open({.Name = "cable"});
  const auto second = Cable.NewPort();
  EXPECT_THAT([&] { second->Open({.Name = "cable"}); },
              ThrowsMessage<EModLinkError>("Port cable: used already"));
  Port->Close();
  second->Open({.Name = "cable"});
}

}  // namespace
}  // namespace OrvixModBus
