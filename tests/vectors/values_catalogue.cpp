// The operations of the catalogue and of its structures.

#include "values.h"

#include "catalogue.h"

namespace OrvixModBus::Vectors {
namespace {

/// A catalogue and what its handlers were called with.
struct TRecordedCatalogue {
  explicit TRecordedCatalogue(TFields& setup) { Describe(Catalogue, setup, Events); }
  Json After() const { return {{"events", Events}}; }

  Json Events = Json::array();
  TMBTypeInfo Catalogue;
};

Json CatalogueDataToValue(TCall& call) {
  TRecordedCatalogue recorded(call.Setup);
  const TRegType kind = call.Args["RegType"];
  const std::string typeName = call.Args["TypeName"];
  const Bytes data = call.Args["Data"].Data();
  const std::string regName = call.Args["RegName"];
  const std::int32_t bitNum = call.Args["BitNum"];
  return ThenAfter(
      call,
      [&] {
        return ValueJson(recorded.Catalogue.DataToValue(kind, typeName, data, regName, bitNum));
      },
      [&] { return recorded.After(); });
}

Json CatalogueConstraintStr(TCall& call) {
  TRecordedCatalogue recorded(call.Setup);
  return recorded.Catalogue.ConstraintStr(call.Args["RegType"], call.Args["TypeName"]);
}

Json CatalogueClearValue(TCall& call) {
  TRegValue value = ValueOf(call.Args["RegValue"].Value());
  TMBTypeInfo::ClearValue(value);
  return ValueJson(value);
}

using TFieldItems = TMBRegTypeStructurs::TItems;

Json IndexesJson(const TFieldItems& items) {
  Json indexes = Json::array();
  for (const TMBRegTypeStructure* item : items) indexes.push_back(item->Index());
  return indexes;
}

/// The fields of a set-up, and those that the result holds before the call.
struct TFieldSetup {
  explicit TFieldSetup(TFields& setup) {
    DescribeAll(Fields, setup["Items"]);
    if (!setup.Has("Result")) return;
    for (const int index : setup["Result"].ListOf<int>()) Result.push_back(Fields.Items(index));
  }

  TMBRegTypeStructurs Fields{nullptr};
  TFieldItems Result;
};

Json ItemsByStructurName(TCall& call) {
  const TFieldSetup setup(call.Setup);
  return IndexesJson(setup.Fields.ItemsByStructurName(call.Args["StructurName"]));
}

Json ItemsByStructurCode(TCall& call) {
  const TFieldSetup setup(call.Setup);
  return IndexesJson(setup.Fields.ItemsByStructurCode(call.Args["StructurCode"], setup.Result));
}

Json GetFieldByName(TCall& call) {
  const TFieldSetup setup(call.Setup);
  const auto* item = setup.Fields.GetItemByName(call.Args["Name"], call.Args["StructurName"]);
  return item != nullptr ? Json(item->Index()) : Json();
}

Json IndexOfField(TCall& call) {
  TMBRegTypeStructurs fields(nullptr);
  DescribeAll(fields, call.Args["Items"]);
  TFieldItems items;
  for (int i = 0; i < fields.Count(); ++i) items.push_back(fields.Items(i));
  return IndexOfRegTypeItem(items, call.Args["Name"]);
}

Json CompareFields(TCall& call) {
  TMBRegTypeStructurs fields(nullptr);
  for (const char* name : {"L", "R"}) {
    TFields field(call.Args[name].Value());
    Describe(*fields.Add(), field);
    field.RefuseUnread();
  }
  return TStructurComparer::Compare(*fields.Items(0), *fields.Items(1));
}

/// A table by field name: {"Done", "Srt"}. Other fields are left to the catalogue.
TOnStructurDataToValue TableHandler(const Json& table, Json& events) {
  if (table.is_null()) return {};
  return [&events, table](TObject&, TMBRegTypeStructure& item, const Bytes& data, const Bytes& line,
                          bool& done) {
    events.push_back({"OnStructurDataToValue", item.Name(), ToHex(data), ToHex(line)});
    TRegValue value;
    if (const auto row = table.find(item.Name()); row != table.end()) {
      done = row->at("Done").get<bool>();
      value.Srt = row->at("Srt").get<std::string>();
    }
    return value;
  };
}

/// With FirstItemName the longer form. A result that the caller holds before makes no difference:
/// it is returned, not passed.
Json ValuesByStructur(TCall& call) {
  call.Setup.Ignore({"Result"});
  TFields typeInfo(call.Setup["TypeInfo"].Value());
  TRecordedCatalogue recorded(typeInfo);
  typeInfo.RefuseUnread();
  TMBRegTypeStructurs& fields = recorded.Catalogue.TypeStructurs();
  const std::string name = call.Args["StructurName"];
  const Bytes data = call.Args["Data"].Data();
  const auto handler = TableHandler(call.Args["OnDataToValue"].Value(), recorded.Events);
  const bool fromItem = call.Args.Has("FirstItemName");
  const std::string firstItem = call.Args.Get<std::string>("FirstItemName", "");
  const auto values = [&]() -> Json {
    return fromItem
               ? fields.ValuesByStructurNameEx(name, data, recorded.Catalogue, handler, firstItem)
               : fields.ValuesByStructurName(name, data, recorded.Catalogue, handler);
  };
  return ThenAfter(call, values, [&] { return recorded.After(); });
}

}  // namespace

const TCallOperations& CatalogueOperations() {
  static const TCallOperations kOperations = {
      {"TMBTypeInfo.DataToValue", CatalogueDataToValue},
      {"TMBTypeInfo.ConstraintStr", CatalogueConstraintStr},
      {"TMBTypeInfo.ClearValue", CatalogueClearValue},
      {"TStructurComparer.Compare", CompareFields},
      {"TMBRegTypeStructurs.ItemsByStructurName", ItemsByStructurName},
      {"TMBRegTypeStructurs.ItemsByStructurCode", ItemsByStructurCode},
      {"TMBRegTypeStructurs.GetItemByName", GetFieldByName},
      {"TMBRegTypeStructurs.IndexOfRegTypeItem", IndexOfField},
      {"TMBRegTypeStructurs.ValuesByStructurName", ValuesByStructur},
      {"TMBRegTypeStructurs.ValuesByStructurNameEx", ValuesByStructur},
  };
  return kOperations;
}

}  // namespace OrvixModBus::Vectors
