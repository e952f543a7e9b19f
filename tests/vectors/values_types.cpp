// The operations of the descriptions of types.

#include "values.h"

#include "catalogue.h"

namespace OrvixModBus::Vectors {
namespace {

Variant VariantOf(const TField& field) {
  const Json& value = field.Value();
  if (value.is_null()) return {};
  if (value.is_string()) return Variant(field.Text());
  if (value.is_object() || value.is_number_float()) return Variant(static_cast<double>(field));
  return Variant(static_cast<std::int32_t>(field));
}

Json VariantJson(const Variant& value) {
  if (value.IsEmpty()) return nullptr;
  if (value == Variant(value.ToText())) return value.ToText();
  if (value == Variant(value.ToDouble())) return RealJson(value.ToDouble());
  return value.ToInteger();
}

Json State(const TMBRegTypeList& item) {
  return {{"Name", item.Name()},
          {"Dictionary", LinesJson(item.Dictionary())},
          {"RegType", KindJson(item.RegType())}};
}

Json State(const TMBRegTypeBin& item) {
  return {{"Name", item.Name()},
          {"Dictionary", LinesJson(item.Dictionary())},
          {"Bits", LinesJson(item.Bits())},
          {"RegType", KindJson(item.RegType())}};
}

Json State(const TMBRegTypeNumber& item) {
  return {{"Name", item.Name()},
          {"MinValue", RealJson(item.MinValue())},
          {"MaxValue", RealJson(item.MaxValue())},
          {"IntPart", item.IntPart()},
          {"RealPart", item.RealPart()},
          {"Step", RealJson(item.Step())},
          {"Precision", item.Precision()},
          {"Multiplier", RealJson(item.Multiplier())},
          {"DisplayFormat", item.DisplayFormat()},
          {"FromIndex", item.FromIndex()},
          {"RegType", KindJson(item.RegType())}};
}

Json State(const TMBRegTypeStructure& item) {
  return {{"Name", item.Name()},
          {"StructurName", item.StructurName()},
          {"RegType", KindJson(item.RegType())},
          {"RegTypeName", item.RegTypeName()},
          {"Offset", item.Offset()},
          {"Size", item.Size()},
          {"Code", item.Code()},
          {"Caption", item.Caption()}};
}

/// The description of the set-up, in no collection.
template <class TItem>
class TDescribed {
 public:
  explicit TDescribed(TCall& call) { Describe(fItem, call.Setup); }
  TItem* operator->() { return &fItem; }
  TItem& operator*() { return fItem; }

 private:
  TItem fItem{nullptr};
};

template <class TItem>
Json DataToValue(TCall& call) {
  return ValueJson(TDescribed<TItem>(call)->DataToValue(call.Args["Data"].Data()));
}

template <class TItem>
Json StrToVar(TCall& call) {
  return VariantJson(TDescribed<TItem>(call)->StrToVar(call.Args["Str"]));
}

template <class TItem>
Json StrToData(TCall& call) {
  return ToHex(TDescribed<TItem>(call)->StrToData(call.Args["Str"], call.Args["ByteCount"]));
}

template <class TItem>
Json ValueToData(TCall& call) {
  const Variant value = VariantOf(call.Args["Value"]);
  return ToHex(TDescribed<TItem>(call)->ValueToData(value, call.Args["ByteCount"]));
}

template <class TItem>
Json ConstraintStr(TCall& call) {
  return TDescribed<TItem>(call)->ConstraintStr();
}

template <class TItem>
Json Assign(TCall& call) {
  TDescribed<TItem> target(call);
  TItem source(nullptr);
  TFields fields(call.Args["Source"].Value());
  Describe(source, fields);
  fields.RefuseUnread();
  target->Assign(source);
  return State(*target);
}

Json ListSetValue(TCall& call) {
  TDescribed<TMBRegTypeList> item(call);
  item->SetValue(call.Args["Key"], call.Args["Value"]);
  call.After = {{"Dictionary", LinesJson(item->Dictionary())}};
  return nullptr;
}

Json BinSetValue(TCall& call) {
  TDescribed<TMBRegTypeBin> item(call);
  item->SetValue(call.Args["Key"], call.Args["BinValue"], call.Args["Value"]);
  call.After = {{"Dictionary", LinesJson(item->Dictionary())}};
  return nullptr;
}

Json SetBitName(TCall& call) {
  TDescribed<TMBRegTypeBin> item(call);
  item->SetBitName(call.Args["BitNumber"], call.Args["Value"]);
  call.After = {{"Bits", LinesJson(item->Bits())}};
  return nullptr;
}

Json DataToString(TCall& call) {
  TFields& args = call.Args;
  return TDescribed<TMBRegTypeBin>(call)->DataToString(
      args["Data"].Data(), args["DelimStr"], args["TrueVal"], args["FalseVal"], args["HiFirst"]);
}

Json SetStep(TCall& call) {
  TDescribed<TMBRegTypeNumber> item(call);
  item->SetStep(call.Args["Value"]);
  return {{"Step", RealJson(item->Step())}, {"Precision", item->Precision()}};
}

/// What all descriptions that convert texts offer.
template <class TItem>
void AddCommon(TCallOperations& operations, const std::string& unit) {
  operations[unit + ".DataToValue"] = DataToValue<TItem>;
  operations[unit + ".StrToVar"] = StrToVar<TItem>;
  operations[unit + ".StrToData"] = StrToData<TItem>;
  operations[unit + ".ValueToData"] = ValueToData<TItem>;
  operations[unit + ".ConstraintStr"] = ConstraintStr<TItem>;
  operations[unit + ".Assign"] = Assign<TItem>;
}

TCallOperations MakeOperations() {
  using TList = TDescribed<TMBRegTypeList>;
  using TBin = TDescribed<TMBRegTypeBin>;
  using TNumber = TDescribed<TMBRegTypeNumber>;
  using TIn = TCall&;
  TCallOperations operations = {
      {"TMBRegTypeList.GetValue", [](TIn c) -> Json { return TList(c)->GetValue(c.Args["Key"]); }},
      {"TMBRegTypeList.SetValue", ListSetValue},
      {"TMBRegTypeBin.GetValue",
       [](TIn c) -> Json { return TBin(c)->GetValue(c.Args["Key"], c.Args["BinValue"]); }},
      {"TMBRegTypeBin.SetValue", BinSetValue},
      {"TMBRegTypeBin.GetBitName",
       [](TIn c) -> Json { return TBin(c)->GetBitName(c.Args["BitNumber"]); }},
      {"TMBRegTypeBin.SetBitName", SetBitName},
      {"TMBRegTypeBin.BitValues", [](TIn c) -> Json { return TBin(c)->BitValues(c.Args["Key"]); }},
      {"TMBRegTypeBin.BitNumToValue",
       [](TIn c) -> Json {
         return ValueJson(
             TBin(c)->BitNumToValue(c.Args["Data"].Data(), c.Args["BitNum"], c.Args["GetStr"]));
       }},
      {"TMBRegTypeBin.TrueBitNameAr",
       [](TIn c) -> Json { return TBin(c)->TrueBitNameAr(c.Args["Data"].Data()); }},
      {"TMBRegTypeBin.DataToString", DataToString},
      {"TMBRegTypeNumber.NumAfterPoint",
       [](TIn c) -> Json { return TNumber(c)->NumAfterPoint(c.Args["Value"]); }},
      {"TMBRegTypeNumber.SetStep", SetStep},
      {"TMBRegTypeStructure.DataToValue", DataToValue<TMBRegTypeStructure>},
      {"TMBRegTypeStructure.Assign", Assign<TMBRegTypeStructure>},
  };
  AddCommon<TMBRegTypeList>(operations, "TMBRegTypeList");
  AddCommon<TMBRegTypeBin>(operations, "TMBRegTypeBin");
  AddCommon<TMBRegTypeNumber>(operations, "TMBRegTypeNumber");
  return operations;
}

}  // namespace

const TCallOperations& TypeOperations() {
  static const TCallOperations kOperations = MakeOperations();
  return kOperations;
}

}  // namespace OrvixModBus::Vectors
