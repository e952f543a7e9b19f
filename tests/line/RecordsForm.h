#pragma once
// RecordsForm: a form with logs and oscillograms, and the device that has them.

#include <cstdint>
#include <string>
#include <vector>

#include "ToolLine.h"

namespace OrvixModBus {

inline constexpr std::uint8_t kRecordsAdres = 17;

// Event: 8 bytes; Info: 6; Wave and Wide: 4.
inline constexpr char kRecordsForm[] = R"(object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/dev/absent'
    BaudRate = 115200
    MaxRetries = 0
    ReceiveTimeout = 300
    SilentInterval = 0
    EchoSuppression = esOff
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Pretended: TMBConnection
    ConnectionType = mbEmul
  end
  object Controller: TMBClient
    Connection = Connection
    Adres = 17
  end
  object Emulated: TMBClient
    Connection = Pretended
  end
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 'Mode'
        RegType = rtList
        Dictionary.Strings = (
          '0=off'
          '1=on')
      end>
    TypeBins = <
      item
        Name = 'Alarms'
        RegType = rtBin
        Dictionary.Strings = (
          '0=|fire'
          '7=|flood')
      end>
    TypeNumbers = <
      item
        Name = 'Count'
        RegType = rtNum
        MaxValue = 4294967295
        IntPart = 4
        Step = 1
        Multiplier = 1
      end
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
        Name = 'Word'
        RegType = rtNum
        MaxValue = 65535
        IntPart = 2
        Step = 1
        Multiplier = 1
      end>
    TypeStructurs = <
      item
        Name = 'Time'
        RegType = rtNum
        StructurName = 'Event'
        RegTypeName = 'Count'
        Size = 4
        Caption = 's'
      end
      item
        Name = 'Mode'
        RegType = rtList
        StructurName = 'Event'
        RegTypeName = 'Mode'
        Offset = 4
        Size = 1
      end
      item
        Name = 'Alarms'
        RegType = rtBin
        StructurName = 'Event'
        RegTypeName = 'Alarms'
        Offset = 5
        Size = 1
      end
      item
        Name = 'Feed'
        RegType = rtNum
        StructurName = 'Event'
        RegTypeName = 'Tenths'
        Offset = 6
        Size = 2
        Caption = #176'C'
      end
      item
        Name = 'Title'
        RegType = rtStr
        StructurName = 'Info'
        Size = 4
      end
      item
        Name = 'Records'
        RegType = rtNum
        StructurName = 'Info'
        RegTypeName = 'Word'
        Offset = 4
        Size = 2
      end
      item
        Name = 'U'
        RegType = rtNum
        StructurName = 'Wave'
        RegTypeName = 'Tenths'
        Size = 2
        Caption = 'V'
      end
      item
        Name = 'I'
        RegType = rtNum
        StructurName = 'Wave'
        RegTypeName = 'Tenths'
        Offset = 2
        Size = 2
        Caption = 'A'
      end
      item
        Name = 'Text'
        RegType = rtStr
        StructurName = 'Wide'
        Size = 4
      end
      item
        Name = 'Outside'
        RegType = rtNum
        StructurName = 'Askew'
        RegTypeName = 'Word'
        Offset = -4
        Size = 8
      end>
  end
  object Events: TMBFunction20
    MBClient = Controller
    OneRecordLength = 8
  end
  object Bytes: TMBFunction24
    MBClient = Controller
    OneRecordLength = 1
  end
  object Short: TMBFunction20
    MBClient = Controller
    OneRecordLength = 4
  end
  object NoLength: TMBFunction20
    MBClient = Controller
  end
  object NoClient: TMBFunction20
    OneRecordLength = 8
  end
  object NoDevice: TMBFunction20
    MBClient = Emulated
    OneRecordLength = 8
  end
  object Captures: TMBFunction41
    MBClient = Controller
    OscilInfoLength = 6
    OscilDataLength = 4
  end
  object Unsure: TMBFunction41
    MBClient = Controller
    OscilInfoLength = 4
    OscilDataLength = 4
  end
  object Plain: TMBFunction41
    MBClient = Controller
    OscilInfoLength = -1
    OscilDataLength = 4
  end
end
)";

/// Event number n of the log: each after the other, of all kinds of values.
inline Bytes EventRecord(int n) {
  const auto number = static_cast<std::uint8_t>(n);
  const auto bit = static_cast<std::uint8_t>(n % 2);
  return {0, 0, 1, number, bit, static_cast<std::uint8_t>(bit * 0x81), 0, number};
}

/// Record number n of an oscillogram: n % 200 and minus twice that.
inline Bytes WaveRecord(int n) {
  const int up = n % 200, down = 0x10000 - 2 * up;
  return {0, static_cast<std::uint8_t>(up), static_cast<std::uint8_t>(down >> 8 & 0xFF),
          static_cast<std::uint8_t>(down & 0xFF)};
}

template <class TRecord>
std::vector<Bytes> RecordsTo(int last, TRecord record) {
  std::vector<Bytes> records;
  for (int n = 1; n <= last; ++n) records.push_back(record(n));
  return records;
}

}  // namespace OrvixModBus
