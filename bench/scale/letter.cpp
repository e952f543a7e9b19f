// A letter built by name, renamed, asked, read, written and emptied.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <deque>
#include <random>

#include "bench/scale/Letters.h"
#include "bench/scale/Measure.h"

namespace OrvixModBus {
namespace {

// A letter that has been read, and the same in plain.
struct TReadLetter : TEmulated {
  explicit TReadLetter(int count) : TEmulated(count) {
    Read();
    Build(Plain, count);
  }
  TPlainLetter Plain;
};

TWork BuildByName(int count) {
  auto letter = std::make_shared<TEmulated>();
  auto plain = std::make_shared<TPlainLetter>();
  return {.Run = [=] { Build(letter->Letter.Regs(), count); },
          .Limit = [=] { Build(*plain, count); },
          .Prepare = [=] { letter->Letter.Regs().Clear(); },
          .PrepareLimit = [=] { plain->Clear(); },
          .TellsMemory = true};
}

TWork Clear(int count) {
  auto letter = std::make_shared<TEmulated>();
  auto plain = std::make_shared<TPlainLetter>();
  return {.Run = [=] { letter->Letter.Regs().Clear(); },
          .Limit = [=] { plain->Clear(); },
          .Prepare = [=] { Build(letter->Letter.Regs(), count); },
          .PrepareLimit = [=] { Build(*plain, count); }};
}

// What an application does that has just been started.
TWork BuildAndRead(int count) {
  auto letter = std::make_shared<std::unique_ptr<TEmulated>>();
  auto plain = std::make_shared<TPlainLetter>();
  return {.Run =
              [=] {
                *letter = std::make_unique<TEmulated>(count);
                (*letter)->Read();
              },
          .Limit =
              [=] {
                Build(*plain, count);
                for (const auto& reg : plain->Regs) {
                  reg->Data = DataOf(reg->Adress);
                  reg->Decode();
                }
              },
          .Prepare = [=] { letter->reset(); },
          .PrepareLimit = [=] { plain->Clear(); },
          .TellsMemory = true};
}

// To and fro between two sets of names, so that the letter is the same after each two rounds.
TWork Rename(int count) {
  struct TRenamed : TEmulated {
    explicit TRenamed(int count) : TEmulated(count) {
      Build(Plain, count);
      for (int i = 0; i < count; ++i) {
        Names[0].push_back("Unit" + NameOf(i));
        Names[1].push_back(NameOf(i));
      }
    }
    TPlainLetter Plain;
    TStringDynArray Names[2];
    std::size_t Turn = 0, PlainTurn = 0;
  };
  auto letter = std::make_shared<TRenamed>(count);
  return {
      .Run =
          [=] {
            const TStringDynArray& names = letter->Names[letter->Turn++ % 2];
            for (int i = 0; i < count; ++i) {
              letter->Letter.Regs().GetItem(i)->SetDisplayName(names[static_cast<std::size_t>(i)]);
            }
          },
      .Limit =
          [=] {
            const TStringDynArray& names = letter->Names[letter->PlainTurn++ % 2];
            TPlainLetter& plain = letter->Plain;
            for (std::size_t i = 0; i < names.size(); ++i) {
              plain.ByName.erase(plain.Regs[i]->Name);
              plain.Regs[i]->Name = names[i];
              plain.ByName.try_emplace(names[i], plain.Regs[i].get());
            }
          }};
}

TWork FindByName(int count, bool atRandom) {
  struct TNamed : TEmulated {
    using TEmulated::TEmulated;
    TPlainLetter Plain;
    TStringDynArray Names;
  };
  const auto letter = std::make_shared<TNamed>(count);
  Build(letter->Plain, count);
  TStringDynArray names;
  for (int i = 0; i < count; ++i) names.push_back(NameOf(i));
  if (atRandom) std::shuffle(names.begin(), names.end(), std::mt19937(1));
  letter->Names = names;  // a copy: in memory, too, they stand as an application has made them
  return {.Run =
              [=] {
                for (const std::string& name : letter->Names) {
                  benchmark::DoNotOptimize(letter->Letter.Regs().GetItemByName(name));
                }
              },
          .Limit =
              [=] {
                for (const std::string& name : letter->Names) {
                  benchmark::DoNotOptimize(letter->Plain.Find(name));
                }
              }};
}

TWork Read(int count) {
  const auto letter = std::make_shared<TReadLetter>(count);
  return {.Run = [=] { letter->Read(); },
          .Limit =
              [=] {
                std::deque<TPlainReg*> queue;
                for (const auto& reg : letter->Plain.Regs) queue.push_back(reg.get());
                for (; !queue.empty(); queue.pop_front()) {
                  const Bytes answer = DataOf(queue.front()->Adress);
                  queue.front()->Data = answer;
                  queue.front()->Decode();
                }
              }};
}

// The replies to a whole letter, as a device sends them: 125 registers and fewer in one.
struct TReplies {
  explicit TReplies(TMBLetter& letter) {
    TMBRegList regs = letter.Regs().RegList();
    SortMBRegs(regs);
    for (const auto& group : MBRegsOptimize(regs, letter.MaxHole(), 0x03)) {
      Bytes values;
      for (std::uint32_t i = 0; i < group->GetRegsCount(); ++i) {
        for (const std::uint8_t byte : DataOf(group->Adress() + i)) values.push_back(byte);
      }
      Replies.emplace_back(group->Adress(), values);
    }
  }
  std::vector<std::pair<std::uint32_t, Bytes>> Replies;
};

TWork Distribute(int count) {
  const auto letter = std::make_shared<TReadLetter>(count);
  auto replies = std::make_shared<const TReplies>(letter->Letter);
  return {.Run =
              [=] {
                for (const auto& [start, values] : replies->Replies) {
                  letter->Letter.OnRead(letter->Client, TServerReply::srNormalReply, 0x03, start,
                                        values, &letter->Letter);
                }
              },
          .Limit =
              [=] {
                for (const auto& [start, values] : replies->Replies) {
                  for (std::size_t i = 0; i < values.size(); i += 2) {
                    TPlainReg& reg = *letter->Plain.Regs[start + i / 2];
                    reg.Data.assign({values[i], values[i + 1]});
                    reg.Decode();
                  }
                }
              }};
}

TWork Write(int count) {
  const auto letter = std::make_shared<TReadLetter>(count);
  return {.Run = [=] { letter->Write(); },
          .Limit =
              [=] {
                std::deque<std::pair<TPlainReg*, TPlainReg>> queue;
                for (const auto& reg : letter->Plain.Regs) queue.emplace_back(reg.get(), *reg);
                for (; !queue.empty(); queue.pop_front()) {
                  auto& [reg, copy] = queue.front();
                  letter->Written += copy.Adress + copy.Data[1];
                  reg->Data = copy.Data;
                  reg->Decode();
                }
              }};
}

}  // namespace

void RegisterLetterOperations() {
  Register("Build", BuildByName);
  Register("BuildAndRead", BuildAndRead);
  Register("Clear", Clear);
  Register("Rename", Rename);
  Register("Find", [](int count) { return FindByName(count, false); });
  Register("FindAtRandom", [](int count) { return FindByName(count, true); });
  Register("Read", Read);
  Register("Distribute", Distribute);
  Register("Write", Write);
}

}  // namespace OrvixModBus
