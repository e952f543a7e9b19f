#pragma once
// Plain: what the library does with registers, done by the standard library's containers and
// nothing else - the least that it costs on the machine.

#include <charconv>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/rtl/uBytes.h"
#include "uMBLib.h"

namespace OrvixModBus {

struct TPlainReg {
  std::string Name, Caption, TypeName;
  Bytes Data;
  TRegValue Value;
  std::uint32_t Adress = 0;
  std::uint8_t MBFuncRead = 3, MBFuncWrite = 0;

  // A number of two bytes in tenths.
  void Decode() {
    Value.Int = Data[0] * 256 + Data[1];
    Value.R = 0.1 * Value.Int;
    char digits[32];
    const auto [end, error] =
        std::to_chars(digits, digits + sizeof digits, Value.R, std::chars_format::general, 15);
    Value.Srt.assign(digits, end);
  }
};

struct TPlainLetter {
  TPlainReg& Add(std::string name) {
    TPlainReg& reg = *Regs.emplace_back(std::make_unique<TPlainReg>());
    reg.Name = std::move(name);
    ByName.try_emplace(reg.Name, &reg);
    return reg;
  }
  void Clear() {
    ByName.clear();
    Regs.clear();
  }
  TPlainReg* Find(const std::string& name) const {
    const auto found = ByName.find(name);
    return found != ByName.end() ? found->second : nullptr;
  }

  std::vector<std::unique_ptr<TPlainReg>> Regs;
  std::unordered_map<std::string, TPlainReg*> ByName;
};

}  // namespace OrvixModBus
