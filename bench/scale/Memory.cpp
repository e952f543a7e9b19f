#include "bench/scale/Memory.h"

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "bench/scale/Letters.h"

namespace OrvixModBus {
namespace {

constexpr int kCount = 100'000;

// What the heap gives for a block of that size.
double BlockOf(std::size_t size) { return static_cast<double>((size + 8 + 15) / 16 * 16); }

// Takes a letter through its life and notes what each step adds for one register.
class TPieces {
 public:
  void Add(const std::string& name, double bytes) { fPieces.emplace_back(name, bytes); }
  // What happened since the step before, but for a part of it that has been added by its own name.
  void AddStep(const std::string& name, double partBytes = 0) {
    const std::size_t now = AllocatedBytes();
    Add(name, static_cast<double>(now - fBefore) / kCount - partBytes);
    fBefore = now;
  }
  double Total() const {
    double total = 0;
    for (const auto& [name, bytes] : fPieces) total += bytes;
    return total;
  }
  void Print() const {
    std::puts("{\"pieces\": [");
    for (const auto& [name, bytes] : fPieces) {
      const char* const end = &name == &fPieces.back().first ? "" : ",";
      std::printf("  {\"name\": \"%s\", \"bytes\": %.1f}%s\n", name.c_str(), bytes, end);
    }
    std::printf("], ");
  }

 private:
  std::vector<std::pair<std::string, double>> fPieces;
  std::size_t fBefore = AllocatedBytes();
};

template <class TSet>
void ForEach(TEmulated& emulated, TSet set) {
  for (int i = 0; i < kCount; ++i) set(*emulated.Letter.Regs().GetItem(i), i);
}

void AddObject(TPieces& pieces) {
  constexpr std::size_t kTexts = 2 * sizeof(std::string);
  constexpr std::size_t kHandlers = sizeof(TOnMBRegEvent) + sizeof(TOnMBRegDataToValue);
  pieces.Add("object: name and caption, short ones inside", kTexts);
  pieces.Add("object: two handlers", kHandlers);
  pieces.Add("object: data, its place and length", sizeof(Bytes));
  pieces.Add("object: all else",
             static_cast<double>(sizeof(TMBReg) - kTexts - kHandlers - sizeof(Bytes)));
  pieces.Add("object: the heap's own",
             BlockOf(sizeof(TMBReg)) - static_cast<double>(sizeof(TMBReg)));
}

}  // namespace

void PrintMemory() {
  TEmulated emulated;
  TPieces pieces;
  for (int i = 0; i < kCount; ++i) emulated.Letter.Regs().Add();
  AddObject(pieces);
  pieces.AddStep("entry in the list of registers", BlockOf(sizeof(TMBReg)));
  const double text = BlockOf(NameOf(0).size() + 1);
  pieces.Add("name of 20 characters", text);
  ForEach(emulated, [](TMBReg& reg, int i) { reg.SetDisplayName(NameOf(i)); });
  pieces.AddStep("name index", text);
  ForEach(emulated, [](TMBReg& reg, int i) {
    reg.SetRegAdress(static_cast<std::uint32_t>(i));
    reg.SetMBFuncWrite(kMBFuncWrite);
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
  });
  pieces.AddStep("data of 2 bytes");
  ForEach(emulated, [](TMBReg& reg, int) {
    reg.SetRegType(TRegType::rtNum);
    reg.SetTypeName(kTypeName);
  });
  pieces.AddStep("type name, the same for many");
  const double built = pieces.Total();
  pieces.Add("value, once decoded", BlockOf(sizeof(TRegValue)));
  emulated.Read();
  pieces.AddStep("reading: references and places", BlockOf(sizeof(TRegValue)));
  const double read = pieces.Total();
  emulated.Write();
  pieces.AddStep("writing: places");
  ForEach(emulated, [](TMBReg& reg, int) { reg.SetCaption(kCaption); });
  pieces.AddStep("caption of 22 characters");
  pieces.Print();
  std::printf("\"built\": %.1f, \"read\": %.1f, \"total\": %.1f}\n", built, read, pieces.Total());
}

}  // namespace OrvixModBus
