#pragma once
// Letters: the letters that are measured, and the same by the standard library's containers.

#include <cstdint>
#include <string>

#include "bench/Names.h"
#include "bench/scale/Plain.h"
#include "platform/loop/uLoop.h"
#include "platform/rtl/uException.h"
#include "uMBLetters.h"

namespace OrvixModBus {

inline constexpr char kTypeName[] = "Tenths";
inline constexpr char kCaption[] = "what people read of it";
inline constexpr std::uint8_t kMBFuncWrite = 0x06;

inline Bytes DataOf(std::uint32_t adress) {
  return {static_cast<std::uint8_t>(adress >> 8 & 0xFF), static_cast<std::uint8_t>(adress & 0xFF)};
}

inline void DescribeType(TMBTypeInfo& types) {
  TMBRegTypeNumber& number = *types.TypeNumbers().Add();
  number.SetName(kTypeName);
  number.SetMaxValue(65535);
  number.SetIntPart(2);
  number.SetMultiplier(0.1);
}

inline void Build(TMBRegs& regs, int count) {
  const TUpdate update(regs);
  for (int i = 0; i < count; ++i) {
    TMBReg& reg = *regs.Add();
    reg.SetDisplayName(NameOf(i));
    reg.SetRegAdress(static_cast<std::uint32_t>(i));
    reg.SetMBFuncWrite(kMBFuncWrite);
    reg.SetBytesInOneReg(2);
    reg.SetRegsCount(1);
    reg.SetRegType(TRegType::rtNum);
    reg.SetTypeName(kTypeName);
  }
}

inline void Build(TPlainLetter& letter, int count) {
  for (int i = 0; i < count; ++i) {
    TPlainReg& reg = letter.Add(NameOf(i));
    reg.Adress = static_cast<std::uint32_t>(i);
    reg.MBFuncWrite = kMBFuncWrite;
    reg.Data.resize(2);
    reg.TypeName = kTypeName;
  }
}

/// A letter on an emulated device whose registers hold the low 16 bits of their address.
struct TEmulated {
  explicit TEmulated(int count = 0) {
    DescribeType(Types);
    Connection.SetConnectionType(TConnectionType::mbEmul);
    Client.SetConnection(&Connection);
    Client.OnGetEmulData = [](TMBReg& reg, Bytes& data) { data = DataOf(reg.Adress()); };
    Client.OnSetEmulData = [this](TMBReg& reg, Bytes& data) { Written += reg.Adress() + data[1]; };
    Letter.SetClient(&Client);
    Letter.OnReadAllRegs = [this](TMBLetter&) { Complete = true; };
    Letter.OnWriteAllRegs = [this](TMBLetter&) { Complete = true; };
    Letter.Regs().SetMBTypeInfo(&Types);
    Build(Letter.Regs(), count);
  }

  void Read() {
    Complete = false;
    Letter.ReadAllRegs();
    Finish();
  }
  void Write() {
    Complete = false;
    Letter.WriteRegs(Letter.Regs().RegList());
    Finish();
  }
  void Finish() {
    TLoop::Current().RunPending();
    if (!Complete) throw Exception("the letter is not complete");
  }

  TMBTypeInfo Types;
  TMBConnection Connection;
  TMBClient Client;
  TMBLetter Letter;
  std::uint64_t Written = 0;
  bool Complete = false;
};

}  // namespace OrvixModBus
