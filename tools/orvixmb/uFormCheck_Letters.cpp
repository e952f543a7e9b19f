#include <algorithm>
#include <cstdint>
#include <map>
#include <string>

#include "platform/rtl/uException.h"
#include "platform/rtl/uFormat.h"
#include "platform/rtl/uNumText.h"
#include "tools/orvixmb/uFormCheck_Parts.h"
#include "tools/orvixmb/uLetterPlan.h"

namespace OrvixModBus {
namespace {

std::string Code(std::uint8_t func) { return "$" + IntToHex(func, 2); }

bool IsReadFunc(std::uint8_t func) {
  return std::ranges::find(kMBReadFuncs, func) != std::end(kMBReadFuncs);
}

std::uint64_t EndOf(const TMBReg& reg) {
  const int units = IsPagedRead(reg.MBFuncRead()) ? reg.CountInByte() : reg.GetRegsCount();
  return std::uint64_t{reg.Adress()} + static_cast<unsigned>(units);
}

// What writing the register does that nobody expects; empty when nothing.
std::string WriteTrouble(const TMBReg& reg) {
  const std::uint8_t func = reg.MBFuncWrite();
  const std::string waits = ", yet the letter waits for an answer";
  switch (func) {
    case 0x00:
    case 0x10:
      return "";
    case 0x06:
    case 0x6C:
      if (reg.CountInByte() >= 2 * reg.GetRegsCount()) return "";
      return Code(func) + " writes 2 bytes for each register, so writing fewer is refused";
    case 0x05:
      if (reg.CountInByte() % 2 == 0) return "";
      return Code(func) + " writes pairs of bytes, so nothing is sent" + waits;
    case 0x65:
    case 0x66:
      if (reg.CountInByte() <= 128) return "";
      return Code(func) + " writes at most 128 bytes, so writing more is refused";
    default:
      return "the client does not write by " + Code(func) + ", so nothing is sent" + waits;
  }
}

const char* SplitText(TPlanSplit split) {
  switch (split) {
    case TPlanSplit::TooLong:
      return "it begins another request, because one reads at most 128 registers, bits or bytes";
    case TPlanSplit::TooFar:
      return "it begins another request, because it ends more than 128 above the lowest address "
             "of the letter";
    case TPlanSplit::NewBlock:
      return "it begins another request, because its address is a multiple of 256";
    case TPlanSplit::TooManyBytes:
      return "it begins another request, because one reads at most 250 bytes";
    case TPlanSplit::None:
    case TPlanSplit::Gap:
    case TPlanSplit::PageEnd:
      break;
  }
  return nullptr;
}

class TLetterCheck {
 public:
  TLetterCheck(const TMBLetter& letter, TTypeNames& types, TFormWarnings& warnings)
      : fLetter(letter), fTypes(types), fWarnings(warnings), fRegs(letter.Regs().RegList()) {}

  void Run() {
    CheckClient();
    if (fLetter.MaxHole() > 0) {
      Add("MaxHole", "any gap between registers ends a request, so this changes nothing");
    }
    for (const TMBReg* reg : fRegs) CheckReg(*reg);
    SortMBRegs(fRegs);
    CheckOverlaps();
    if (!IsEmul()) CheckRequests();
  }

 private:
  void Add(const char* property, std::string text) { fWarnings.Add("", property, std::move(text)); }
  void Add(const TMBReg& reg, const char* property, std::string text) {
    fWarnings.Add(reg.Name(), property, std::move(text));
  }
  bool IsEmul() const { return fLetter.Client() != nullptr && fLetter.Client()->IsEmul(); }

  void CheckClient() {
    const TMBClient* const client = fLetter.Client();
    if (client == nullptr) {
      Add("Client", "there is no client, so reading and writing raise an exception");
    } else if (client->GetAdres() == 0 && !client->IsEmul()) {
      Add("Client", NameOf(*client) +
                        " has server address 0, a broadcast that no device answers, so nothing is "
                        "read");
    }
  }

  void CheckReg(const TMBReg& reg) {
    CheckName(reg);
    CheckType(reg);
    CheckRead(reg);
    if (std::string text = WriteTrouble(reg); !text.empty()) {
      Add(reg, "MBFuncWrite", std::move(text));
    }
  }

  void CheckName(const TMBReg& reg) {
    const TMBReg* const found = fLetter.Regs().GetItemByName(reg.Name());
    if (found == nullptr) {
      Add(reg, "Name", "it was given no name of its own, so it is not found by name");
    } else if (found != &reg) {
      Add(reg, "Name", "its name finds " + Place(*found) + ", so this one is not found by name");
    }
  }

  static std::string Place(const TMBReg& reg) {
    return Format("the register %s at %u", {reg.Name(), reg.Adress()});
  }

  void CheckType(const TMBReg& reg) {
    const char* const kind = TTypeNames::KindName(reg.RegType());
    if (kind == nullptr) return;
    const TMBTypeInfo* const catalogue = reg.TypeInfo();
    const std::string& name = reg.RegTypeName();
    if (catalogue == nullptr) {
      if (reg.OnDataToValue) return;
      return Add(reg, "TypeInfo",
                 Format("a %s type needs a catalogue, so its value stays empty", {kind}));
    }
    if (catalogue->OnDataToValue) return;
    if (reg.RegType() == TRegType::rtStructur) {
      if (!name.empty() && !fTypes.IsKnown(*catalogue, reg.RegType(), name)) {
        Add(reg, "RegTypeName",
            Format("there is no structure %s in %s, so only its code is shown",
                   {name, NameOf(*catalogue)}));
      }
    } else if (name.empty()) {
      Add(reg, "RegTypeName", Format("a %s type needs a name, so its value stays empty", {kind}));
    } else if (!fTypes.IsKnown(*catalogue, reg.RegType(), name)) {
      Add(reg, "RegTypeName",
          Format("there is no %s type %s in %s, so its value stays empty",
                 {kind, name, NameOf(*catalogue)}));
    } else {
      CheckDecoding(reg, *reg.GetRegTypeItem());
    }
  }

  // By the bytes that it has got, which are 0 in a form.
  void CheckDecoding(const TMBReg& reg, const TMBRegTypeColItem& type) {
    if (reg.Data().empty()) return;
    try {
      type.DataToValue(reg.Data());
    } catch (const Exception& error) {
      Add(reg, "RegTypeName",
          Format("decoding its %d bytes raises an exception: %s",
                 {reg.CountInByte(), error.what()}));
    }
  }

  void CheckRead(const TMBReg& reg) {
    const std::uint8_t func = reg.MBFuncRead();
    if (!IsReadFunc(func)) {
      return Add(reg, "MBFuncRead", "no letter reads with " + Code(func) + ", so it is never read");
    }
    if (func == 0x02 && IsEmul()) {
      return Add(reg, "MBFuncRead", "emulation leaves out $02, so it is never read");
    }
    if (reg.GetRegsCount() == 0) {
      return Add(reg, reg.BytesInOneReg() == 0 ? "BytesInOneReg" : "Count",
                 "it has no registers, so it is never read");
    }
    const int bits = IsPagedRead(func) ? 24 : 16;
    if (EndOf(reg) > std::uint64_t{1} << bits) {
      Add(reg, "Adress",
          Format("%s sends only %d bits of an address, so another one is read",
                 {Code(func), bits}));
    }
  }

  // Of all registers before in order of address, that of the same function code which reaches
  // furthest is the one to compare with.
  void CheckOverlaps() {
    std::map<std::uint8_t, const TMBReg*> furthest;
    for (const TMBReg* reg : fRegs) {
      if (!IsReadFunc(reg->MBFuncRead()) || reg->GetRegsCount() == 0) continue;
      const TMBReg*& before = furthest[reg->MBFuncRead()];
      if (before != nullptr && reg->Adress() < EndOf(*before)) CheckOverlap(*before, *reg);
      if (before == nullptr || EndOf(*reg) > EndOf(*before)) before = reg;
    }
  }

  void CheckOverlap(const TMBReg& before, const TMBReg& reg) {
    const bool sameRange = before.Adress() == reg.Adress() && EndOf(before) == EndOf(reg);
    if (sameRange && before.BytesInOneReg() == reg.BytesInOneReg()) {
      return Add(reg, "Adress",
                 "it has the addresses of " + before.Name() + ", so both hold the same data");
    }
    Add(reg, "Adress",
        "it has addresses of " + before.Name() +
            ", but another range or width, so each holds part of the other's data");
  }

  void CheckRequests() {
    try {
      const TLetterPlan plan = PlanLetter(fLetter, {});
      for (const TPlannedRequest& request : plan.Requests) {
        if (request.Split == TPlanSplit::PageEnd) {
          CheckPageEnd(request);
        } else {
          CheckRequest(request);
        }
      }
      CheckPadding(plan.Requests);
    } catch (const Exception& error) {
      Add("Regs", std::string("reading raises an exception: ") + error.what());
    }
  }

  void CheckPageEnd(const TPlannedRequest& request) {
    Add(*request.SplitReg, "Adress",
        request.Count == 0
            ? "its request ends with a page of 64 KiB, so another one of 0 bytes follows and "
              "OnReadAllRegs comes twice"
            : "its request passes the end of a page of 64 KiB and is asked for in two that begin "
              "at the same address, so what lies behind is not read and OnReadAllRegs comes twice");
  }

  void CheckRequest(const TPlannedRequest& request) {
    if (const char* const text = SplitText(request.Split)) {
      Add(*request.SplitReg, "Adress", text);
    }
    const TMBReg& first = *request.Regs.front();
    const TMBReg& last = *request.Regs.back();
    CheckCount(request, first, EndOf(last) - first.Adress());
    for (const TMBReg* reg : request.Regs) {
      if (EndOf(*reg) <= EndOf(last)) continue;
      Add(*reg, "Count", "its request ends with " + last.Name() + ", so it is not read whole");
    }
    if (IsPagedRead(request.Func)) return;
    const auto other = std::ranges::find_if(request.Regs, [&](const TMBReg* reg) {
      return reg->BytesInOneReg() != first.BytesInOneReg();
    });
    if (other == request.Regs.end()) return;
    Add(**other, "BytesInOneReg",
        Format("its request counts %d bytes per register, as %s has, and not %d, so its data are "
               "taken from the wrong place",
               {first.BytesInOneReg(), first.Name(), (*other)->BytesInOneReg()}));
  }

  void CheckCount(const TPlannedRequest& request, const TMBReg& first, std::uint64_t units) {
    constexpr unsigned kRegsOfReply21 = 2;
    if (request.Func == 0x21) {
      const auto past = std::ranges::find_if(request.Regs, [&](const TMBReg* reg) {
        return EndOf(*reg) > std::uint64_t{first.Adress()} + kRegsOfReply21;
      });
      if (past == request.Regs.end()) return;
      Add(**past, "Adress",
          "a reply to $21 holds four bytes whatever is asked for, so it is not read");
    } else if (!IsPagedRead(request.Func) && request.Count != units) {
      Add(first, "BytesInOneReg",
          Format("%s asks for %u instead of the %u of its request, because of this width of %d",
                 {Code(request.Func), request.Count, units, first.BytesInOneReg()}));
    }
  }

  // Bits come in whole bytes, and a letter spreads all of them over its registers.
  void CheckPadding(const std::vector<TPlannedRequest>& requests) {
    for (auto one = requests.begin(); one != requests.end(); ++one) {
      if (one->Func != 0x01 && one->Func != 0x02) continue;
      const std::uint32_t end = one->FirstAdress + (one->Count + 7) / 8 * 8;
      for (auto next = one + 1; next != requests.end(); ++next) {
        if (next->Func != one->Func || next->FirstAdress >= end) break;
        Add(*next->Regs.front(), "Adress",
            Format("it lies in the last byte of the reply that begins with %s, and until its own "
                   "request is answered it takes that byte's padding for its value",
                   {one->Regs.front()->Name()}));
      }
    }
  }

  const TMBLetter& fLetter;
  TTypeNames& fTypes;
  TFormWarnings& fWarnings;
  TMBRegList fRegs;
};

}  // namespace

void CheckLetter(const TMBLetter& letter, TTypeNames& types, TFormWarnings& warnings) {
  TLetterCheck(letter, types, warnings).Run();
}

}  // namespace OrvixModBus
