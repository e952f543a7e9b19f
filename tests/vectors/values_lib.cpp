// The operations of TMBLib.

#include "values.h"

#include "catalogue.h"
#include "uMBLib.h"

namespace OrvixModBus::Vectors {
namespace {

using TLib = TMBLib;

Json BitToAr(TCall& call) {
  Bytes data = call.Args["Data"].Data();
  const Bytes& result =
      TLib::BitToAr(data, call.Args["BitNum"], call.Args["Value"], call.Args["Reverse"]);
  call.After = {{"Data", ToHex(data)}};
  return ToHex(result);
}

Json BitCopy(TCall& call) {
  const Bytes source = call.Args["Source"].Data();
  Bytes dest = call.Args["Dest"].Data();
  const std::uint8_t sourceBit = call.Args["SourceBit"];
  const std::uint8_t destBit = call.Args["DestBit"];
  const bool reverse = call.Args["Reverse"];
  return ThenAfter(
      call, [&] { return ToHex(TLib::BitCopy(source, dest, sourceBit, destBit, reverse)); },
      [&] {
        return Json{{"Source", ToHex(source)}, {"Dest", ToHex(dest)}};
      });
}

Json ReverseBytes(TCall& call) {
  const Bytes source = call.Args["Source"].Data();
  Bytes dest = call.Args["Dest"].Data();
  const int count = call.Args["Count"];
  if (count > static_cast<int>(std::min(source.size(), dest.size()))) {
    throw ENotUnderstood("Count past the end");
  }
  TLib::ReverseBytes(source.data(), dest.data(), count);
  call.After = {{"Dest", ToHex(dest)}};
  return nullptr;
}

Json ClearValue(TCall& call) {
  TRegValue value = ValueOf(call.Args["V"].Value());
  TLib::ClearValue(value);
  return ValueJson(value);
}

Json ByteArToReal(TCall& call) {
  return RealJson(TLib::ByteArToReal(call.Args["Data"].Data(), call.Args["IntBytes"],
                                     call.Args["FracBytes"], call.Args["StartIndex"]));
}

Json ByteArToSignedReal(TCall& call) {
  const Bytes data = call.Args["Data"].Data();
  const std::uint8_t intBytes = call.Args["IntBytes"];
  const std::uint8_t fracBytes = call.Args["FracBytes"];
  const std::uint8_t startIndex = call.Args["StartIndex"];
  return ThenAfter(
      call,
      [&] { return RealJson(TLib::ByteArToSignedReal(data, intBytes, fracBytes, startIndex)); },
      [&] {
        return Json{{"Data", ToHex(data)}};
      });
}

Json ByteArToBinStr(TCall& call) {
  const Bytes data = call.Args["Data"].Data();
  return call.Args.Has("Reverse") ? TLib::ByteArToBinStr(data, call.Args["Reverse"])
                                  : TLib::ByteArToBinStr(data);
}

Json StrDynArrayToList(TCall& call) {
  TStringList list;
  SetLines(list, call.Args["List"]);
  TLib::StrDynArrayToList(list, call.Args["Items"].Texts(), call.Args["ClearFirst"]);
  call.After = {{"List", LinesJson(list)}};
  return nullptr;
}

Json ListToStrDynArray(TCall& call) {
  TStringList list;
  SetLines(list, call.Args["List"]);
  return TLib::ListToStrDynArray(list);
}

Json RegNameDecode(TCall& call) {
  TFields& args = call.Args;
  return TLib::RegNameDecode(args["RegName"], args["NumberMark"], args["RangeSep"],
                             args["IndexMark"], args["Index"], args["IndexFormat"]);
}

Json RegStrDynArDecode(TCall& call) {
  TFields& args = call.Args;
  if (!args.Has("NumberMark")) {
    return TLib::RegStrDynArDecode(args["Names"].Texts(), args["Index"], args["IndexFormat"]);
  }
  return TLib::RegStrDynArDecode(args["Names"].Texts(), args["NumberMark"], args["RangeSep"],
                                 args["IndexMark"], args["Index"], args["IndexFormat"]);
}

Json RegNameListDecode(TCall& call) {
  if (call.Args["List"].IsNull()) {
    TLib::RegNameListDecode(nullptr, call.Args["NumberMark"], call.Args["RangeSep"]);
    call.After = {{"List", nullptr}};
    return nullptr;
  }
  TStringList list;
  SetLines(list, call.Args["List"]);
  const std::string numberMark = call.Args["NumberMark"];
  const std::string rangeSep = call.Args["RangeSep"];
  const auto decode = [&]() -> Json {
    TLib::RegNameListDecode(&list, numberMark, rangeSep);
    return nullptr;
  };
  return ThenAfter(call, decode, [&] { return Json{{"List", LinesJson(list)}}; });
}

}  // namespace

const TCallOperations& LibOperations() {
  using TIn = TCall&;
  static const TCallOperations kOperations = {
      {"TMBLib.BitFromByte",
       [](TIn c) -> Json { return TLib::BitFromByte(c.Args["B"], c.Args["BitNum"]); }},
      {"TMBLib.BitFromWord",
       [](TIn c) -> Json { return TLib::BitFromWord(c.Args["W"], c.Args["BitNum"]); }},
      {"TMBLib.BitFromCardinal",
       [](TIn c) -> Json { return TLib::BitFromCardinal(c.Args["C"], c.Args["BitNum"]); }},
      {"TMBLib.BitToByte",
       [](TIn c) -> Json {
         return TLib::BitToByte(c.Args["B"], c.Args["BitNum"], c.Args["Value"]);
       }},
      {"TMBLib.BitToCardinal",
       [](TIn c) -> Json {
         return TLib::BitToCardinal(c.Args["C"], c.Args["BitNum"], c.Args["Value"]);
       }},
      {"TMBLib.BitFromAr",
       [](TIn c) -> Json {
         return TLib::BitFromAr(c.Args["Data"].Data(), c.Args["BitNum"], c.Args["Reverse"]);
       }},
      {"TMBLib.BitToAr", BitToAr},
      {"TMBLib.BitCopy", BitCopy},
      {"TMBLib.ByteFromCardinal",
       [](TIn c) -> Json { return TLib::ByteFromCardinal(c.Args["Value"], c.Args["Index"]); }},
      {"TMBLib.ToByteToWord",
       [](TIn c) -> Json { return TLib::ToByteToWord(c.Args["Hi"], c.Args["Lo"]); }},
      {"TMBLib.ByteArToCardinal",
       [](TIn c) -> Json { return TLib::ByteArToCardinal(c.Args["Data"].Data()); }},
      {"TMBLib.ByteArToInt64",
       [](TIn c) -> Json { return TLib::ByteArToInt64(c.Args["Data"].Data()); }},
      {"TMBLib.CardinalToAr",
       [](TIn c) -> Json { return ToHex(TLib::CardinalToAr(c.Args["Value"], c.Args["Reverse"])); }},
      {"TMBLib.CorrectIntValue",
       [](TIn c) -> Json { return TLib::CorrectIntValue(c.Args["Value"], c.Args["Size"]); }},
      {"TMBLib.ReverseBytes", ReverseBytes},
      {"TMBLib.InRange",
       [](TIn c) -> Json { return TLib::InRange(c.Args["Value"], c.Args["Min"], c.Args["Max"]); }},
      {"TMBLib.ClearValue", ClearValue},
      {"TMBLib.ByteArToReal", ByteArToReal},
      {"TMBLib.ByteArToSignedReal", ByteArToSignedReal},
      {"TMBLib.RealToByteAr",
       [](TIn c) -> Json {
         return ToHex(TLib::RealToByteAr(c.Args["Value"], c.Args["IntBytes"], c.Args["FracBytes"]));
       }},
      {"TMBLib.DateTimeToValue",
       [](TIn c) -> Json { return RealJson(TLib::DateTimeToValue(c.Args["Data"].Data())); }},
      {"TMBLib.StringDynArrToString",
       [](TIn c) -> Json {
         return TLib::StringDynArrToString(c.Args["Items"].Texts(), c.Args["Sep"]);
       }},
      {"TMBLib.StrDynArrayToList", StrDynArrayToList},
      {"TMBLib.ListToStrDynArray", ListToStrDynArray},
      {"TMBLib.DelStrFromStrDynAr",
       [](TIn c) -> Json {
         return TLib::DelStrFromStrDynAr(c.Args["Items"].Texts(), c.Args["S"]);
       }},
      {"TMBLib.RegNameDecode", RegNameDecode},
      {"TMBLib.RegStrDynArDecode", RegStrDynArDecode},
      {"TMBLib.RegNameListDecode", RegNameListDecode},
      {"TMBLib.DeleteBitFromRegName",
       [](TIn c) -> Json { return TLib::DeleteBitFromRegName(c.Args["S"]); }},
      {"TMBLib.BitValueFromRegName",
       [](TIn c) -> Json { return TLib::BitValueFromRegName(c.Args["S"]); }},
      {"TMBLib.DeleteCountMaskFromRegName",
       [](TIn c) -> Json { return TLib::DeleteCountMaskFromRegName(c.Args["S"]); }},
      {"TMBLib.DeleteMaskFromRegName",
       [](TIn c) -> Json { return TLib::DeleteMaskFromRegName(c.Args["S"]); }},
      {"TMBLib.ByteArToStr",
       [](TIn c) -> Json { return TLib::ByteArToStr(c.Args["Data"].Data(), c.Args["Len"]); }},
      {"TMBLib.WordToChar", [](TIn c) -> Json { return TLib::WordToChar(c.Args["W"]); }},
      {"TMBLib.WordArToStr",
       [](TIn c) -> Json { return TLib::WordArToStr(c.Args["Words"].ListOf<std::uint16_t>()); }},
      {"TMBLib.ByteToBinStr", [](TIn c) -> Json { return TLib::ByteToBinStr(c.Args["B"]); }},
      {"TMBLib.ByteArToBinStr", ByteArToBinStr},
      {"TMBLib.ByteArToHexStr",
       [](TIn c) -> Json { return TLib::ByteArToHexStr(c.Args["Data"].Data()); }},
      {"TMBLib.ByteArrayToHexStr",
       [](TIn c) -> Json {
         return TLib::ByteArrayToHexStr(c.Args["Data"].Data(), c.Args["Natural"]);
       }},
      {"TMBLib.ByteArToHexStrSmooth",
       [](TIn c) -> Json { return TLib::ByteArToHexStrSmooth(c.Args["Data"].Data()); }},
      {"TMBLib.HexStrToByteAr",
       [](TIn c) -> Json { return ToHex(TLib::HexStrToByteAr(c.Args["S"])); }},
      {"TMBLib.HexStrToByteArray",
       [](TIn c) -> Json {
         return ToHex(TLib::HexStrToByteArray(c.Args["S"], c.Args["Natural"]));
       }},
      {"TMBLib.HexStrToByteArSep",
       [](TIn c) -> Json { return ToHex(TLib::HexStrToByteArSep(c.Args["S"], c.Args["Sep"])); }},
  };
  return kOperations;
}

}  // namespace OrvixModBus::Vectors
