#include "tools/docs/uFormDocs_Texts.h"

namespace OrvixModBus {
namespace {

constexpr TFormText kTexts[] = {
    {"TDataModule", "Holds the others together: the root of a form that needs none of its own."},

    {"TMBRTUConnection", "A serial line as Modbus RTU master, shared by any number of clients."},
    {"TModbusConnection.Port",
     "The serial port: `/dev/ttyUSB0`, or better its stable name in `/dev/serial/by-id`."},
    {"TModbusConnection.BaudRate", "Bits per second; any rate that the driver takes, not 0."},
    {"TModbusConnection.Parity", "Of each character."},
    {"TModbusConnection.DataBits", "Of each character; Modbus RTU has 8."},
    {"TModbusConnection.StopBits", "Of each character; without parity the standard asks for two."},
    {"TModbusConnection.MaxRetries", "How often a request that got no valid reply is sent again."},
    {"TModbusConnection.ReceiveTimeout", "Milliseconds that a reply may take."},
    {"TModbusConnection.SilentInterval",
     "Microseconds of silence before each request: -1 is the standard's 3.5 characters (1750 above "
     "19200 baud), 0 none."},
    {"TModbusConnection.TurnaroundDelay", "Milliseconds of rest after a broadcast."},
    {"TModbusConnection.RS485Mode", "Who switches the direction of an RS-485 line."},
    {"TModbusConnection.EchoSuppression",
     "Whether the line echoes what is sent; `esAuto` learns it."},
    {"TModbusConnection.ReconnectInterval",
     "Milliseconds between attempts to open a port again that vanished; 0 never does."},
    {"TModbusConnection.SetAsideAfter",
     "Time-outs in a row after which a server is set aside, so that it does not hold up the "
     "others; 0 "
     "never does."},
    {"TModbusConnection.ProbeInterval",
     "Milliseconds between requests to a server that is set aside."},
    {"TModbusConnection.RecorderSize",
     "Bytes of memory in which the last things that happened on the line are kept; 0 keeps none."},
    {"TModbusConnection.RecordingFile",
     "Where they are saved at the first failure, for `orvixmb replay`."},
    {"TModbusConnection.Active", "Opens the port once the whole form has been read."},
    {"TModbusConnection.OnPortLost", "The port vanished, or could not be opened again."},
    {"TModbusConnection.OnPortFound", "A lost port is open again."},
    {"TModbusConnection.OnServerLost", "A server is set aside."},
    {"TModbusConnection.OnServerFound", "A server that was set aside has answered."},
    {"TModbusConnection.OnRecorded", "The recording was saved, or why it could not be."},
    {"TModbusConnection.OnTrace", "Every frame on the line, with direction and time."},

    {"TMBTCPConnection", "Stands for a TCP connection; nothing is sent through it."},

    {"TMBConnection", "Where the requests of clients go: a line, TCP, or an emulated device."},
    {"TMBConnection.RTU", "The serial line, for `mbRtu`."},
    {"TMBConnection.TCP", "For `mbTCP`."},
    {"TMBConnection.ConnectionType",
     "`mbRtu` sends on the line, `mbTCP` nothing, `mbEmul` asks the application's handlers."},

    {"TMBClient", "One device: forms requests to it and hands on what it answers."},
    {"TMBClient.Connection",
     "Where the requests go. Without this line a connection of its own, which has no port."},
    {"TMBClient.Adres", "The device's server address; 0 is a broadcast."},
    {"TMBClient.OnRead", "A read has been answered."},
    {"TMBClient.OnWrite", "A write has been answered."},
    {"TMBClient.OnNoneAnswer", "No valid reply came."},
    {"TMBClient.OnExeptionAnswer", "The device refused, or answered something else."},
    {"TMBClient.OnGetEmulData", "An emulated device is read: fills the bytes."},
    {"TMBClient.OnSetEmulData", "An emulated device is written: takes the bytes."},
    {"TMBClient.OnWorkStart", "A request has been queued."},

    {"TMBTypeInfo", "The type catalogue: what the bytes of registers mean, by name."},
    {"TMBTypeInfo.TypeLists", "Enumerations, for `rtList`."},
    {"TMBTypeInfo.TypeBins", "Bit fields, for `rtBin`."},
    {"TMBTypeInfo.TypeNumbers", "Numbers, for `rtNum`."},
    {"TMBTypeInfo.TypeStructurs", "The fields of structures, those of all structures in one list."},
    {"TMBTypeInfo.OnNoneType", "Decodes registers of kind `rtNone`."},
    {"TMBTypeInfo.OnDataToValue", "Decodes in place of the catalogue, where it sets done."},

    {"TMBRegTypeColItem.Name",
     "By which registers name the type; of a structure's field, its own."},
    {"TMBRegTypeColItem.RegType", "The kind; of a structure's field, the field's."},
    {"TMBRegTypeList", "An enumeration."},
    {"TMBRegTypeList.Dictionary", "One value a line: `code=text`, the code decimal."},
    {"TMBRegTypeBin", "A bit field."},
    {"TMBRegTypeBin.Dictionary",
     "One bit a line: `bit=text for 0|text for 1`, bit 0 the least significant."},
    {"TMBRegTypeBin.Bits", "One bit a line: `bit=name`."},
    {"TMBRegTypeNumber", "A number, scaled and checked."},
    {"TMBRegTypeNumber.MinValue",
     "The least raw number, before the multiplier; below 0 the bytes are signed."},
    {"TMBRegTypeNumber.MaxValue", "The greatest raw number, before the multiplier."},
    {"TMBRegTypeNumber.IntPart", "Bytes of the integer part."},
    {"TMBRegTypeNumber.RealPart", "Bytes of the fractional part; 0 for integers."},
    {"TMBRegTypeNumber.Step", "Display step; the decimal places follow from it."},
    {"TMBRegTypeNumber.Multiplier",
     "The value is the raw number times this: set it, 1 for a number that is not scaled."},
    {"TMBRegTypeNumber.DisplayFormat",
     "Format of the text, such as `%.1f`; empty for plain digits."},
    {"TMBRegTypeNumber.FromIndex",
     "First byte of the number inside the register's bytes; -1 takes them all."},
    {"TMBRegTypeStructure",
     "One field of a structure; those of one `StructurName` belong together."},
    {"TMBRegTypeStructure.Code", "Number of the structure, if it is found by one."},
    {"TMBRegTypeStructure.StructurName", "Name of the structure that the field belongs to."},
    {"TMBRegTypeStructure.RegTypeName", "The field's type in the catalogue."},
    {"TMBRegTypeStructure.Offset", "First byte of the field; its size also orders the fields."},
    {"TMBRegTypeStructure.Size", "Bytes of the field."},
    {"TMBRegTypeStructure.Caption", "What people read: a unit, for instance."},
    {"TMBRegTypeStructure.MBRegTypeItem",
     "A type's description, for applications: `Types.TypeNumbers[2]`."},

    {"TMBLetter", "A named set of registers that is read or written together."},
    {"TMBLetter.Client", "The device."},
    {"TMBLetter.MaxHole", "Kept, but any gap between registers ends a request."},
    {"TMBLetter.Regs", "The registers."},
    {"TMBLetter.OnReadAllRegs", "The last answer has come."},
    {"TMBLetter.OnRegDataChange", "A reply has updated a register."},
    {"TMBLetter.OnExeptionAnswer", "A reply was no good."},
    {"TMBLetter.OnNoneAnswer", "No reply came."},
    {"TMBLetter.OnWriteReg", "A register has been written."},
    {"TMBLetter.ChanelID", "For the application's own use."},
    {"TMBRegs.MBTypeInfo", "The catalogue that registers added later get."},
    {"TMBReg", "One register of a device, or a run of neighbours that is one value."},
    {"TMBReg.Name", "By which it is found in its letter."},
    {"TMBReg.ChanelIndex", "For the application's own use; -1 is no channel."},
    {"TMBReg.Adress", "Address of the first register, from 0, as on the wire."},
    {"TMBReg.MBFuncWrite",
     "Function code that writes it; 0 for none. Stands before `MBFuncRead` where both are equal."},
    {"TMBReg.MBFuncRead", "Function code that reads it."},
    {"TMBReg.BytesInOneReg",
     "Bytes that one register of the device counts: 2, or 1 for bits and "
     "paged memory."},
    {"TMBReg.Count", "Registers that the value takes; at most 250 bytes in all."},
    {"TMBReg.Caption", "What people read."},
    {"TMBReg.RegType", "Which kind of type decodes it."},
    {"TMBReg.RegTypeName", "Its type in the catalogue."},
    {"TMBReg.TypeInfo", "The catalogue."},
    {"TMBReg.OnDataChange", "A byte has been stored."},
    {"TMBReg.OnDataToValue", "Decodes a register that has no catalogue."},

    {"TMBRegsAutoFill", "Fills a letter with registers from a list of names."},
    {"TMBRegsAutoFill.MBLetter", "The letter."},
    {"TMBRegsAutoFill.RegNameList", "One register name a line."},
    {"TMBRegsAutoFill.OnGetRegName", "Asks for the names before a fill."},
    {"TMBRegsAutoFill.OnGetRegInfo", "Asks to describe each register."},

    {"TMBFunction20", "Reads a log of the device by function $20."},
    {"TMBFunction24", "Reads a log of the device by function $24."},
    {"TMBFunction41", "Reads oscillograms of the device by function $41."},
    {"TMBCustomFunction.MBClient", "The device."},
    {"TMBItemFunction.OnGetCountInfo", "How many records there are has come."},
    {"TMBItemFunction.OnErorAnswer", "A reply was not normal."},
    {"TMBLogFunction.OnGetRecord", "A record has come."},
    {"TMBLogFunction.OneRecordLength", "Bytes of one record, at most 248."},
    {"TMBFunction41.OnGetOscilInfo", "The description of an oscillogram has come."},
    {"TMBFunction41.OscilInfoLength", "Bytes of a description."},
    {"TMBFunction41.OscilDataLength", "Bytes of one record, at most 248."},
    {"TMBFunction41.OnGetOscilData", "A record has come."},

    {"TRTUClient", "A client of the line itself, for requests that TMBClient does not form."},
    {"TModbusClient.Connection", "The line."},
    {"TModbusClient.ServerAddress", "The device's server address."},
    {"TModbusClient.OnCustomTransactionComplete", "A request of any function has ended."},
    {"TModbusClient.OnServerIDReport", "The device has told its identity."},
    {"TModbusClient.OnFileRecordRead", "File records have been read."},
    {"TRTUClient.OnDX517Read", "A paged read has been answered."},
    {"TRTUClient.OnDX517Write", "A paged write has been answered."},
    {"TTCPClient", "The end of a TCP connection; sends nothing."},
    {"TTCPClient.Connection", "The connection."},
    {"TEmulClient", "An emulated device."},
    {"TEmulClient.OnRead", "A register is read."},
    {"TEmulClient.OnWrite", "A register is written."},
};

constexpr std::string_view kFormat = R"(# Form files

A form file holds the components of an application and their published properties as text: lines,
devices, types, registers. It is read without compiling, by `TFormFile` in a program and by
`orvixmb` on the command line. This page is made by `./run docs` from the property tables of the
classes.

```
object Plant: TDataModule
  object Line: TMBRTUConnection
    Port = '/dev/ttyUSB0'
    BaudRate = 19200
  end
  object Connection: TMBConnection
    RTU = Line
  end
  object Pump: TMBClient
    Connection = Connection
    Adres = 17
    OnNoneAnswer = PumpSilent
  end
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 'Mode'
        RegType = rtList
        Dictionary.Strings = (
          '0=Off'
          '1=On')
      end>
  end
  object Status: TMBLetter
    Client = Pump
    Regs.MBTypeInfo = Types
    Regs = <
      item
        Name = 'PumpMode'
        Adress = 130
        BytesInOneReg = 2
        Count = 1
        Caption = 'operating mode'
        RegType = rtList
        RegTypeName = 'Mode'
        TypeInfo = Types
      end>
  end
end
```

```cpp
TFormFile form;
form.RegisterClasses(ModBusClasses());
form.RegisterMethod("PumpSilent", this, &Panel::PumpSilent);
const auto plant = form.ReadFile("plant.form");
auto& status = FormComponent<TMBLetter>(*plant, "Status");
```

## Format

A form is one `object`, the root, with the components that it owns inside. `object Name: TClass`
begins a component and `end` closes it; between them stand its properties, `Name = Value`, and in
the root the other components. A name is made of letters, digits and `_`; no two components have the
same, and the root alone may have none. Names and words are read in any case. Blanks and line ends separate words and have no other
meaning. The text is UTF-8, with or without a byte-order mark.

| kind of property | written as |
|---|---|
| integer | `17`, `-1`, `$11` |
| number | `0.1`, `-2`, `1e-05`, `INF`, `-INF`, `NAN`: the shortest digits that read back the same |
| text | `'It''s '#176'C'`: in quotes, a quote doubled, other characters by their UTF-16 numbers; pieces joined by `+`. What is read may have any character but a line end between its quotes |
| Boolean | `True`, `False` |
| enumeration | the value's name |
| set | `[one, two]`: the values that are in it |
| bytes | `{0102FF}` |
| text lines | `Dictionary.Strings = ( '0=Off' '1=On' )` |
| collection | `Regs = < item ... end item ... end >`, each item with its properties |
| property of a part | `Regs.MBTypeInfo = Types` |
| reference | a component's name, an item's place (`Types.TypeNumbers[2]`), or `nil`; it may stand further down |
| event | the name of a method that the program has registered, or `nil` |

Only what differs from a new component's value is written, in the order of the tables below, two
blanks deeper for each level, long texts in pieces of 64 characters. What `TFormFile` has written,
read and written again is the same text.

Reading either succeeds whole or throws an `EFormError` with file, line, column and what was
expected; then nothing is left. `TFormFile::Check` and `orvixmb check` tell all mistakes at once. A
value that the object does not take is a mistake, too. A method that is not registered is one,
unless the program calls `SetIgnoreUnknownMethods`; then its name is kept and written again.

`Active = True` opens a port when all has been read.
)";

}  // namespace

std::span<const TFormText> FormTexts() { return kTexts; }
std::string_view FormFormatText() { return kFormat; }

}  // namespace OrvixModBus
