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

inline constexpr std::uint16_t kLogRecords = 240;
inline constexpr char kEventStructur[] = "Event";      ///< what a record of the log is
inline constexpr char kCaptureStructur[] = "Capture";  ///< what describes an oscillogram
inline constexpr char kSampleStructur[] = "Sample";    ///< what a record of an oscillogram is

/// Builds the device: its tables, values that move with time, its one dead register, a log of so
/// many records and an oscillogram.
void BuildPlant(TSimulator& simulator, std::uint16_t logRecords = kLogRecords);

}  // namespace OrvixModBus
