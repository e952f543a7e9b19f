#pragma once
// Plant: a small boiler plant - its register map as the master sees it, and the device that
// simulates it.

#include "tools/simulator/uSimulator.h"
#include "uMBLetters.h"

namespace OrvixModBus {

inline constexpr std::uint8_t kPlantAdres = 17;

inline constexpr char kRefusedReg[] = "SpareSensor";  ///< the device answers with an exception
inline constexpr char kSilentReg[] = "RemotePanel";   ///< the device does not answer at all

/// Fills the catalogue with the plant's types.
void DescribeTypes(TMBTypeInfo& types);

/// Fills the letter with the plant's registers.
void DescribeRegisters(TMBRegs& regs, TMBTypeInfo& types);

/// The settings, which can be written.
void DescribeSettings(TMBRegs& regs, TMBTypeInfo& types);
/// What the demonstration changes a setting to.
const char* NewSetting(const std::string& name);

inline constexpr std::uint16_t kServiceFile = 5;
inline constexpr std::uint16_t kServiceRecords = 4;
inline constexpr char kServiceStructur[] = "Service";  ///< what a record of that file is

/// Builds the device: its tables, values that move with time, and its one dead register.
void BuildPlant(TSimulator& simulator);

}  // namespace OrvixModBus
