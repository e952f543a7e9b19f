#include "platform/modbus/uFlightRecorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "AllocationCount.h"

namespace OrvixModBus {
namespace {

using namespace std::chrono_literals;
using enum TFlightKind;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::size_t kHead = 16;  // bytes of an entry besides its data

std::vector<TFlightEntry> EntriesOf(const TFlightRecorder& recorder) {
  std::vector<TFlightEntry> entries;
  recorder.ForEach([&](const TFlightEntry& entry) { entries.push_back(entry); });
  return entries;
}

std::vector<std::uint32_t> NumbersOf(const TFlightRecorder& recorder) {
  std::vector<std::uint32_t> numbers;
  recorder.ForEach([&](const TFlightEntry& entry) { numbers.push_back(entry.Number); });
  return numbers;
}

TFlightRecorder::TTime At(std::chrono::nanoseconds time) { return TFlightRecorder::TTime(time); }

// Of one memory, recording already.
class TRecorderOf : public TFlightRecorder {
 public:
  explicit TRecorderOf(std::uint32_t size) {
    SetSize(size);
    Begin();
  }
};

TEST(TFlightRecorder, KeepsWhatHappenedInItsOrder) {
  TRecorderOf recorder(1000);
  recorder.Record(fkOpen, At(5ns));
  recorder.Record(fkSent, At(7ns), 0xFFFFFFFF, 255, Bytes{1, 3, 0});
  const auto entries = EntriesOf(recorder);
  ASSERT_EQ(entries.size(), 2u);
  EXPECT_EQ(entries[0].Kind, fkOpen);
  EXPECT_EQ(entries[0].Time, At(5ns));
  EXPECT_THAT(entries[0].Data, IsEmpty());
  EXPECT_EQ(entries[1].Kind, fkSent);
  EXPECT_EQ(entries[1].Time, At(7ns));
  EXPECT_EQ(entries[1].Number, 0xFFFFFFFF);
  EXPECT_EQ(entries[1].Detail, 255);
  EXPECT_EQ(entries[1].Data, (Bytes{1, 3, 0}));
  EXPECT_EQ(recorder.LastTime(), At(7ns));
}

TEST(TFlightRecorder, RecordsNothingBeforeItBegins) {
  TFlightRecorder recorder;
  recorder.Record(fkOpen, At(5ns));
  recorder.RecordChange(At(6ns), {});
  EXPECT_FALSE(recorder.IsRecording());
  EXPECT_THAT(EntriesOf(recorder), IsEmpty());
  EXPECT_THAT(recorder.FormerSettings(), IsEmpty());
}

TEST(TFlightRecorder, RecordsNothingWithoutMemory) {
  TRecorderOf recorder(0);
  recorder.Record(fkOpen, At(5ns));
  EXPECT_FALSE(recorder.IsRecording());
  EXPECT_THAT(EntriesOf(recorder), IsEmpty());
}

TEST(TFlightRecorder, OldestEntriesGoFirstWholeOnly) {
  TRecorderOf recorder(3 * (kHead + 4) + 3);  // three entries, and never on the same place
  for (std::uint32_t number = 0; number < 1000; ++number) {
    const auto byte = static_cast<std::uint8_t>(number);
    recorder.Record(fkRead, At(1ns * number), number, 0, Bytes(4, byte));
    const auto entries = EntriesOf(recorder);
    ASSERT_EQ(entries.size(), std::min<std::size_t>(number + 1, 3)) << number;
    for (const TFlightEntry& entry : entries) {
      ASSERT_EQ(entry.Data, Bytes(4, static_cast<std::uint8_t>(entry.Number)));
      ASSERT_EQ(entry.Time, At(1ns * entry.Number));
    }
    ASSERT_EQ(entries.back().Number, number);
  }
  EXPECT_EQ(recorder.Overwritten(), 997u);
}

TEST(TFlightRecorder, ALongEntryTakesThePlaceOfSeveral) {
  TRecorderOf recorder(4 * kHead);
  for (std::uint32_t number = 1; number <= 4; ++number) recorder.Record(fkSkip, At(1ns), number);
  EXPECT_THAT(NumbersOf(recorder), ElementsAre(1, 2, 3, 4));
  recorder.Record(fkRead, At(2ns), 5, 0, Bytes(2 * kHead));
  EXPECT_THAT(NumbersOf(recorder), ElementsAre(4, 5));
}

TEST(TFlightRecorder, AnEntryThatFillsTheMemoryIsKept) {
  TRecorderOf recorder(100);
  recorder.Record(fkSkip, At(1ns), 1);
  recorder.Record(fkRead, At(1ns), 2, 0, Bytes(100 - kHead, 7));
  ASSERT_THAT(NumbersOf(recorder), ElementsAre(2));
  EXPECT_EQ(EntriesOf(recorder)[0].Data, Bytes(100 - kHead, 7));
}

// A recording has no holes: what came before the entry would no longer lead to what comes after.
TEST(TFlightRecorder, AnEntryThatDoesNotFitForgetsAllBeforeIt) {
  TRecorderOf recorder(100);
  recorder.Record(fkSkip, At(1ns), 1);
  recorder.Record(fkRead, At(1ns), 2, 0, Bytes(101 - kHead));
  EXPECT_THAT(EntriesOf(recorder), IsEmpty());
  recorder.Record(fkSkip, At(1ns), 3);
  EXPECT_THAT(NumbersOf(recorder), ElementsAre(3));

  TRecorderOf large(100'000);
  large.Record(fkRead, At(1ns), 1, 0, Bytes(65535));
  EXPECT_THAT(NumbersOf(large), ElementsAre(1));
  large.Record(fkRead, At(1ns), 2, 0, Bytes(65536));
  EXPECT_THAT(EntriesOf(large), IsEmpty());
}

TEST(TFlightRecorder, MemoryTooSmallForAnyEntryIsNoHarm) {
  TRecorderOf recorder(kHead - 1);
  recorder.Record(fkOpen, At(1ns));
  recorder.RecordChange(At(1ns), {});
  EXPECT_THAT(EntriesOf(recorder), IsEmpty());
  EXPECT_THAT(recorder.FormerSettings(), IsEmpty());
}

TEST(TFlightRecorder, KnowsThePortsStateBeforeTheOldestEntry) {
  const std::pair<TFlightKind, bool> cases[] = {
      {fkOpen, true}, {fkReopen, true}, {fkClose, false}, {fkLost, false}};
  TRecorderOf recorder(2 * kHead);
  EXPECT_FALSE(recorder.BeginsOpen());
  for (const auto& [kind, open] : cases) {
    recorder.Record(kind, At(1ns));
    recorder.Record(fkLook, At(1ns));
    recorder.Record(fkLook, At(1ns));
    EXPECT_EQ(recorder.BeginsOpen(), open);
  }
}

TEST(TFlightRecorder, KnowsTheSettingsBeforeEachChangeThatItHolds) {
  TRecorderOf recorder(3 * kHead);
  for (std::uint32_t timeout = 1; timeout <= 3; ++timeout) {
    TLineSettings settings;
    settings.ReceiveTimeout = timeout;
    recorder.RecordChange(At(1ns), settings);
  }
  recorder.Record(fkLook, At(2ns));  // the first change is overwritten
  ASSERT_EQ(recorder.FormerSettings().size(), 2u);
  EXPECT_EQ(recorder.FormerSettings()[0].ReceiveTimeout, 2u);
  EXPECT_EQ(recorder.FormerSettings()[1].ReceiveTimeout, 3u);
}

TEST(TFlightRecorder, APortThatIsAwayForDaysDrivesNothingOut) {
  TRecorderOf recorder(5 * kHead + 7);
  recorder.Record(fkSkip, At(1ns), 1);
  recorder.Record(fkSkip, At(2ns), 2);
  for (int i = 10; i < 1000; ++i) recorder.Record(fkAway, At(1ns * i));
  recorder.Record(fkSkip, At(1000ns), 3);
  for (int i = 1010; i < 2000; ++i) recorder.Record(fkAway, At(1ns * i));
  const auto entries = EntriesOf(recorder);
  ASSERT_EQ(entries.size(), 5u);
  EXPECT_EQ(entries[2].Time, At(999ns));
  EXPECT_EQ(entries[2].Kind, fkAway);
  EXPECT_EQ(entries[3].Number, 3u);
  EXPECT_EQ(entries[4].Time, At(1999ns));
  recorder.Record(fkSkip, At(3000ns), 4);
  EXPECT_THAT(NumbersOf(recorder), ElementsAre(2, 0, 3, 0, 4));
}

TEST(TFlightRecorder, AnotherSizeBeginsAnew) {
  TRecorderOf recorder(100);
  recorder.RecordChange(At(1ns), {});
  recorder.SetSize(200);
  EXPECT_TRUE(recorder.IsRecording());
  EXPECT_THAT(EntriesOf(recorder), IsEmpty());
  EXPECT_THAT(recorder.FormerSettings(), IsEmpty());
  recorder.Record(fkRead, At(1ns), 1, 0, Bytes(200 - kHead));
  EXPECT_THAT(NumbersOf(recorder), ElementsAre(1));
  recorder.SetSize(0);
  EXPECT_FALSE(recorder.IsRecording());
}

TEST(TFlightRecorder, TooLargeASizeIsRefused) {
  TFlightRecorder recorder;
  EXPECT_THAT([&] { recorder.SetSize(TFlightRecorder::kGreatestSize + 1); },
              testing::ThrowsMessage<EModLinkError>(
                  "A recorder of 16777217 bytes is too large; 16777216 is the most"));
  EXPECT_EQ(recorder.Size(), TFlightRecorder::kDefaultSize);
  recorder.SetSize(TFlightRecorder::kGreatestSize);
}

TEST(TFlightRecorder, RecordingTakesNoMemory) {
  TRecorderOf recorder(1000);
  const Bytes data(20);
  const std::uint64_t before = AllocationCount();
  for (int i = 0; i < 1000; ++i) recorder.Record(fkRead, At(1ns), 0, 0, data);
  EXPECT_EQ(AllocationCount(), before);
}

}  // namespace
}  // namespace OrvixModBus
