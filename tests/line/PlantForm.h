#pragma once
// PlantForm: a form with a register of every kind that can be written, and its device.

#include "ToolLine.h"

namespace OrvixModBus {

inline constexpr std::uint8_t kPlantAdres = 17;

inline constexpr char kPlantForm[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/dev/absent'
    BaudRate = 115200
    MaxRetries = 0
    ReceiveTimeout = 1000
    SilentInterval = 0
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Controller: TMBClient
    Connection = Connection
    Adres = 17
  end
  object Elsewhere: TMBClient
    Connection = Connection
    Adres = 18
  end
  object Emulator: TMBConnection
    ConnectionType = mbEmul
  end
  object Emulated: TMBClient
    Connection = Emulator
  end
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 'Mode'
        RegType = rtList
        Dictionary.Strings = (
          '0=Off'
          '1=Heating')
      end>
    TypeBins = <
      item
        Name = 'Alarms'
        RegType = rtBin
        Dictionary.Strings = (
          '0=|fire'
          '9=|flood')
      end
      item
        Name = 'OnOff'
        RegType = rtBin
        Dictionary.Strings = (
          '0=off|on')
      end>
    TypeNumbers = <
      item
        Name = 'Tenths'
        RegType = rtNum
        MinValue = -400
        MaxValue = 1200
        IntPart = 2
        Step = 0.1
        Multiplier = 0.1
        DisplayFormat = '%.1f'
      end
      item
        Name = 'Wide'
        RegType = rtNum
        MaxValue = 1000000
        IntPart = 4
        Multiplier = 1
      end>
    TypeStructurs = <
      item
        Name = 'Who'
        RegType = rtStr
        StructurName = 'Service'
        Size = 2
      end
      item
        Name = 'Hours'
        RegType = rtNum
        StructurName = 'Service'
        RegTypeName = 'Tenths'
        Offset = 2
        Size = 2
        Caption = 'h'
      end
      item
        Name = 'Alarms'
        RegType = rtBin
        StructurName = 'Service'
        RegTypeName = 'Alarms'
        Offset = 4
        Size = 1
      end
      item
        Name = 'All'
        RegType = rtStr
        StructurName = 'Huge'
        Size = 250
      end
      item
        Name = 'Nothing'
        RegType = rtStr
        StructurName = 'Empty'
      end
      item
        Name = 'Short'
        RegType = rtNum
        StructurName = 'Bad'
        RegTypeName = 'Wide'
        Size = 2
      end>
  end
  object Settings: TMBLetter
    Client = Controller
    Regs.MBTypeInfo = Types
    Regs = <
      item
        Name = 'SetPoint'
        Adress = 120
        MBFuncWrite = 6
        BytesInOneReg = 2
        Count = 1
        Caption = 'C'
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Again'
        Adress = 120
        MBFuncWrite = 16
        BytesInOneReg = 2
        Count = 1
        Caption = 'the same cell'
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Mode'
        Adress = 122
        MBFuncWrite = 108
        BytesInOneReg = 2
        Count = 1
        RegType = rtList
        RegTypeName = 'Mode'
        TypeInfo = Types
      end
      item
        Name = 'Alarms'
        Adress = 123
        MBFuncWrite = 16
        BytesInOneReg = 2
        Count = 1
        RegType = rtBin
        RegTypeName = 'Alarms'
        TypeInfo = Types
      end
      item
        Name = 'Title'
        Adress = 130
        MBFuncWrite = 6
        BytesInOneReg = 2
        Count = 2
        RegType = rtStr
        TypeInfo = Types
      end
      item
        Name = 'Pumps'
        Adress = 5
        MBFuncWrite = 5
        MBFuncRead = 1
        Count = 2
        RegType = rtBin
        RegTypeName = 'OnOff'
        TypeInfo = Types
      end
      item
        Name = 'Recipe'
        Adress = 131072
        MBFuncWrite = 102
        MBFuncRead = 67
        Count = 4
        RegType = rtStr
        TypeInfo = Types
      end
      item
        Name = 'Ramp'
        Adress = 131076
        MBFuncWrite = 102
        MBFuncRead = 67
        Count = 2
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end
      item
        Name = 'Measured'
        Adress = 140
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Tenths'
        TypeInfo = Types
      end>
  end
  object Odd: TMBLetter
    Client = Controller
    Regs = <
      item
        Name = 'Status[3]'
        Adress = 1
        MBFuncWrite = 6
        BytesInOneReg = 2
        Count = 1
      end
      item
        Name = 'Short'
        Adress = 2
        MBFuncWrite = 6
        BytesInOneReg = 2
        Count = 1
        RegType = rtNum
        RegTypeName = 'Wide'
        TypeInfo = Types
      end
      item
        Name = 'Long'
        MBFuncWrite = 6
        BytesInOneReg = 4
        Count = 1
      end
      item
        Name = 'Half'
        MBFuncWrite = 16
        Count = 3
      end
      item
        Name = 'Block'
        MBFuncWrite = 101
        Count = 129
      end
      item
        Name = 'Strange'
        MBFuncWrite = 7
        BytesInOneReg = 2
        Count = 1
      end
      item
        Name = 'Empty'
        MBFuncWrite = 6
        BytesInOneReg = 2
      end>
  end
  object Far: TMBLetter
    Client = Elsewhere
    Regs = <
      item
        Name = 'X'
        MBFuncWrite = 6
        BytesInOneReg = 2
        Count = 1
      end>
  end
  object Shadow: TMBLetter
    Client = Emulated
    Regs = <
      item
        Name = 'Y'
        MBFuncRead = 67
        MBFuncWrite = 102
        Count = 1
      end
      item
        Name = 'X'
        MBFuncWrite = 6
        BytesInOneReg = 2
        Count = 1
      end>
  end
  object Lost: TMBLetter
  end
end
)";

/// What the device of the form holds at first.
inline void SetPlant(TSimulator& simulator) {
  TSimulatedDevice& device = simulator.Device(kPlantAdres);
  device.Holding.Set(120, {200, 0, 0, 0x0200});
  device.Holding.Set(130, {0x4F6C, 0x6420});
  device.Holding.Set(140, {555});
  device.Coils.Set(5, {0, 0});
  device.Paged.Set(131072, {'S', 'o', 'u', 'p', 0, 15});
}

}  // namespace OrvixModBus
