// Blocks of bytes cut into the fields of structures, and replies cut into items: every piece is a
// part of what was there, in order, and a field outside its block is refused.

#include <algorithm>
#include <functional>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/input.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

constexpr int kMostFields = 12;
constexpr const char* kNames[] = {"A", "B", "C", "N!"};
constexpr const char* kTypes[] = {"Bits", "List", "Number", "Inner", "Outer", ""};
constexpr const char* kStructurs[] = {"Outer", "Inner", "Third"};

// ---- fields of a block --------------------------------------------------------------------------

class TBlock {
 public:
  explicit TBlock(TFuzzInput& input) {
    TMBRegTypeBin& bits = *fTypes.TypeBins().Add();
    bits.SetName("Bits");
    bits.SetBitName(3, "Fault");
    fTypes.TypeLists().Add()->SetName("List");
    TMBRegTypeNumber& number = *fTypes.TypeNumbers().Add();
    number.SetName("Number");
    number.SetIntPart(2);
    number.SetMultiplier(1);
    number.SetMaxValue(65535);
    const int count = input.Byte() % (kMostFields + 1);
    for (int i = 0; i < count; ++i) AddField(input);
    fHandled = input.Byte();
    fFirst = input.OneOf(kNames);
    fBlock = input.Bytes(input.Left());
  }

  void Cut() {
    for (const char* structur : kStructurs) {
      try {
        CutOne(structur, "");
        CutOne(structur, fFirst);
      } catch (const EArgumentOutOfRangeException&) {
        Require(HasFieldOutside(structur), "only a field outside the block is refused");
      } catch (const Exception& error) {
        const std::string_view text = error.what();
        Require(text.find("there is no bit type") != text.npos ||
                    text == "Length of data byte array error",
                "only what is said is thrown");
      }
    }
  }

  void AddRegs() {
    TMBLetter letter;
    letter.Regs().SetMBTypeInfo(&fTypes);
    TMBRegsAutoFill fill;
    fill.SetMBLetter(&letter);
    TMBReg base(nullptr);
    base.SetRegAdress(100);
    for (const char* structur : kStructurs) {
      const int before = letter.Regs().Count();
      try {
        fill.AddStructurReg(structur, base);
      } catch (const Exception& error) {
        const std::string_view text = error.what();
        const bool endless = text.find("contains itself") != text.npos;
        Require(endless || text == "More then 250 bytes in reg", "only what is said is thrown");
        Require(!endless || letter.Regs().Count() == before, "then nothing is added");
      }
    }
  }

 private:
  void AddField(TFuzzInput& input) {
    TMBRegTypeStructure& field = *fTypes.TypeStructurs().Add();
    field.SetName(input.OneOf(kNames));
    field.SetStructurName(input.OneOf(kStructurs));
    field.SetRegTypeName(input.OneOf(kTypes));
    const std::uint8_t kind = input.Byte();
    field.SetRegType(static_cast<TRegType>(kind % 7));
    // Mostly small ones, which may fit the block.
    const bool large = (kind & 0x80) != 0;
    field.SetOffset(large ? static_cast<std::int16_t>(input.Word())
                          : static_cast<std::int16_t>(static_cast<std::int8_t>(input.Byte())));
    field.SetSize(large ? input.Word() : input.Byte() & 31);
    field.SetCode(input.Byte() & 3);
  }

  bool IsOutside(const TMBRegTypeStructure& field) const {
    const int end = field.Offset() + field.Size();
    return field.Offset() < 0 || std::cmp_greater(end, fBlock.size());
  }

  bool HasFieldOutside(const char* structur) const {
    const auto items = fTypes.TypeStructurs().ItemsByStructurName(structur);
    return std::ranges::any_of(items, [this](const auto* field) { return IsOutside(*field); });
  }

  void CutOne(const char* structur, const std::string& first) {
    const auto items = fTypes.TypeStructurs().ItemsByStructurName(structur);
    Require(std::ranges::is_sorted(items,
                                   [](const auto* l, const auto* r) {
                                     return TStructurComparer::Compare(*l, *r) < 0;
                                   }),
            "fields are in order");
    int handled = 0;
    std::size_t texts = 0;
    const TOnStructurDataToValue handler = [&](TObject&, TMBRegTypeStructure& field,
                                               const Bytes& data, const Bytes& line, bool& done) {
      RequirePart(field, data, line);
      done = (fHandled >> (handled++ & 7) & 1) != 0;
      texts += done ? 2 : field.RegType() == TRegType::rtBin ? PartsOfBits(data) : 1;
      TRegValue value;
      value.Srt = "one|other";
      return value;
    };
    const TStringDynArray former{"as it was"};
    const auto values = fTypes.TypeStructurs().ValuesByStructurNameEx(structur, fBlock, fTypes,
                                                                      handler, first, former);
    if (handled == 0) {
      Require(values == former || (values.empty() && !first.empty()), "no field, no value");
    } else {
      Require(values.size() == texts, "a field gives its values");
    }
  }

  static std::size_t PartsOfBits(const Bytes& data) { return 8 * data.size(); }

  void RequirePart(const TMBRegTypeStructure& field, const Bytes& data, const Bytes& line) const {
    Require(line == fBlock, "a handler gets the block");
    Require(!IsOutside(field), "a field outside the block is not cut");
    const auto begin = fBlock.begin() + field.Offset();
    Require(data == Bytes(begin, begin + field.Size()), "a field is its part of the block");
  }

  TMBTypeInfo fTypes;
  std::uint8_t fHandled = 0;
  std::string fFirst;
  Bytes fBlock;
};

// ---- items of a reply ---------------------------------------------------------------------------

class TItems {
 public:
  explicit TItems(TFuzzInput& input)
      : fLength(static_cast<std::int16_t>(input.Word() % 600 - 20)),
        fStart(input.Byte() % 5),
        fValues(input.Bytes(input.Left())) {}

  void Cut() {
    CutLog();
    CutOscillogram();
  }

 private:
  void CutLog() {
    TMBFunction20 log;
    log.SetOneRecordLength(fLength);
    int counts = 0;
    log.OnGetRecord = [this](TObject&, const Bytes& record) { fPieces.push_back(record); };
    log.OnGetCountInfo = [&](TObject&) { ++counts; };
    Reply(log);
    RequirePieces(fStart == 1 ? 0 : fValues.size());
    RequireCount(log, counts);
  }

  void CutOscillogram() {
    TMBFunction41 oscillogram;
    oscillogram.SetOscilInfoLength(fLength);
    oscillogram.SetOscilDataLength(fLength);
    const auto take = [this](TObject&, const Bytes& piece) { fPieces.push_back(piece); };
    oscillogram.OnGetOscilInfo = take;
    std::uint16_t next = 0;
    oscillogram.OnGetOscilData = [&](TObject& sender, std::uint16_t number, std::uint16_t item,
                                     const Bytes& record) {
      Require(number == fValues[1], "a record is of its oscillogram");
      if (fPieces.empty()) next = TMBLib::ToByteToWord(fValues[2], fValues[3]);
      Require(item == next++, "records are counted on");
      take(sender, record);
    };
    Reply(oscillogram);
    const std::size_t head = std::min<std::size_t>(fStart == 2 ? 0 : 4, fValues.size());
    RequirePieces(fStart == 2 || fStart == 3 ? head : fValues.size());
  }

  void Reply(TMBItemFunction& function) {
    fPieces.clear();
    function.OnRead(fClient, TServerReply::srNormalReply, function.GetMBFunc(), fStart, fValues,
                    &function);
  }

  // The pieces are the values from the byte at first on, but for a rest of one byte.
  void RequirePieces(std::size_t first) const {
    const bool cut = fLength >= 1 && std::cmp_greater_equal(fValues.size(), fLength);
    Bytes all;
    for (std::size_t i = 0; i < fPieces.size(); ++i) {
      const bool last = i + 1 == fPieces.size();
      Require(std::cmp_equal(fPieces[i].size(), fLength) || last, "a piece has its length");
      Require(!fPieces[i].empty() && std::cmp_less_equal(fPieces[i].size(), fLength),
              "a piece is not longer");
      all.insert(all.end(), fPieces[i].begin(), fPieces[i].end());
    }
    if (!cut) return Require(all.empty(), "nothing whole, nothing handed over");
    const Bytes wanted(fValues.begin() + static_cast<std::ptrdiff_t>(first), fValues.end());
    const bool rest = wanted.size() - all.size() == 1;
    Require(all.size() <= wanted.size() && std::equal(all.begin(), all.end(), wanted.begin()),
            "pieces are what came, in order");
    Require(all.size() == wanted.size() || rest, "at most one byte is left");
  }

  void RequireCount(const TMBLogFunction& log, int counts) const {
    const bool told = fStart == 0 && fValues.size() == 4;
    Require(counts == (told ? 1 : 0), "a count is told once");
    const int count = told ? TMBLib::ToByteToWord(fValues[2], fValues[3]) : -1;
    Require(log.ItemCount() == count, "the count is the second word");
  }

  std::int32_t fLength;
  std::uint32_t fStart;
  Bytes fValues;
  TMBClient fClient;
  std::vector<Bytes> fPieces;
};

}  // namespace

void FuzzOne(std::string_view bytes) {
  TFuzzInput input(bytes);
  const std::uint8_t what = input.Byte();
  if (what % 2 == 0) return TItems(input).Cut();
  TBlock block(input);
  block.Cut();
  block.AddRegs();
}

}  // namespace OrvixModBus
