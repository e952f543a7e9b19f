#include "catalogue.h"

namespace OrvixModBus::Vectors {
namespace {

void DescribeItem(TMBRegTypeColItem& item, TFields& fields) {
  if (fields.Has("Name")) item.SetName(fields["Name"]);
  if (fields.Has("RegType")) item.SetRegType(fields["RegType"]);
}

}  // namespace

void SetLines(TStringList& list, const TField& lines) {
  for (const std::string& line : lines.Texts()) list.Add(line);
}

Json LinesJson(const TStringList& list) {
  Json lines = Json::array();
  for (int i = 0; i < list.Count(); ++i) lines.push_back(list.Strings(i));
  return lines;
}

Json KindJson(TRegType kind) {
  return TEnumNames<TRegType>::Values[static_cast<std::size_t>(kind)];
}

TRegTypeSet KindSet(const TField& names) {
  std::vector<TRegType> kinds = names.ListOf<TRegType>();
  if (kinds.empty()) return {};
  kinds.resize(std::size(TEnumNames<TRegType>::Values), kinds.front());
  return {kinds[0], kinds[1], kinds[2], kinds[3], kinds[4], kinds[5], kinds[6]};
}

void Describe(TMBRegTypeList& item, TFields& fields) {
  DescribeItem(item, fields);
  if (fields.Has("Dictionary")) SetLines(item.Dictionary(), fields["Dictionary"]);
}

void Describe(TMBRegTypeBin& item, TFields& fields) {
  DescribeItem(item, fields);
  if (fields.Has("Dictionary")) SetLines(item.Dictionary(), fields["Dictionary"]);
  if (fields.Has("Bits")) SetLines(item.Bits(), fields["Bits"]);
}

void Describe(TMBRegTypeNumber& item, TFields& fields) {
  DescribeItem(item, fields);
  if (fields.Has("MinValue")) item.SetMinValue(fields["MinValue"]);
  if (fields.Has("MaxValue")) item.SetMaxValue(fields["MaxValue"]);
  if (fields.Has("IntPart")) item.SetIntPart(fields["IntPart"]);
  if (fields.Has("RealPart")) item.SetRealPart(fields["RealPart"]);
  if (fields.Has("Step")) item.SetStep(fields["Step"]);
  if (fields.Has("Multiplier")) item.SetMultiplier(fields["Multiplier"]);
  if (fields.Has("DisplayFormat")) item.SetDisplayFormat(fields["DisplayFormat"]);
  if (fields.Has("FromIndex")) item.SetFromIndex(fields["FromIndex"]);
}

void Describe(TMBRegTypeStructure& item, TFields& fields) {
  DescribeItem(item, fields);
  if (fields.Has("Code")) item.SetCode(fields["Code"]);
  if (fields.Has("StructurName")) item.SetStructurName(fields["StructurName"]);
  if (fields.Has("RegTypeName")) item.SetRegTypeName(fields["RegTypeName"]);
  if (fields.Has("Offset")) item.SetOffset(fields["Offset"]);
  if (fields.Has("Size")) item.SetSize(fields["Size"]);
  if (fields.Has("Caption")) item.SetCaption(fields["Caption"]);
}

void Describe(TMBTypeInfo& catalogue, TFields& fields, Json& events) {
  if (fields.Has("TypeLists")) DescribeAll(catalogue.TypeLists(), fields["TypeLists"]);
  if (fields.Has("TypeBins")) DescribeAll(catalogue.TypeBins(), fields["TypeBins"]);
  if (fields.Has("TypeNumbers")) DescribeAll(catalogue.TypeNumbers(), fields["TypeNumbers"]);
  if (fields.Has("TypeStructurs")) DescribeAll(catalogue.TypeStructurs(), fields["TypeStructurs"]);
  if (fields.Has("OnDataToValue")) {
    TFields answer(fields["OnDataToValue"].Value());
    catalogue.OnDataToValue = [&events, isDone = bool(answer["Done"]),
                               value = ValueOf(answer["value"].Value())](
                                  TRegType kind, const std::string& typeName, const Bytes& data,
                                  bool& done, const std::string& regName) {
      events.push_back({"OnDataToValue", KindJson(kind), typeName, ToHex(data), regName});
      done = isDone;
      return value;
    };
    answer.RefuseUnread();
  }
  if (fields.Has("OnNoneType")) {
    TFields answer(fields["OnNoneType"].Value());
    catalogue.OnNoneType = [&events, value = ValueOf(answer["value"].Value())](
                               const std::string& regName, const Bytes& data) {
      events.push_back({"OnNoneType", regName, ToHex(data)});
      return value;
    };
    answer.RefuseUnread();
  }
}

}  // namespace OrvixModBus::Vectors
