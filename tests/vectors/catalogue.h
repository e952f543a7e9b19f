#pragma once
// catalogue: type catalogues, string lists and descriptions built from the forms of vectors.

#include <string_view>

#include "fields.h"
#include "json.h"
#include "platform/model/uStringList.h"
#include "uMBTypeInfo.h"

namespace OrvixModBus::Vectors {

void SetLines(TStringList& list, const TField& lines);
Json LinesJson(const TStringList& list);
/// The enumeration's name of a kind.
Json KindJson(TRegType kind);
/// The set of the kinds of those names.
TRegTypeSet KindSet(const TField& names);

// Properties of a description, each through its setter; an absent one keeps its value.
void Describe(TMBRegTypeList& item, TFields& fields);
void Describe(TMBRegTypeBin& item, TFields& fields);
void Describe(TMBRegTypeNumber& item, TFields& fields);
void Describe(TMBRegTypeStructure& item, TFields& fields);

/// A new item for each object of the list.
template <class TItems>
void DescribeAll(TItems& items, const TField& list) {
  for (const Json& object : list.Elements()) {
    TFields fields(object);
    Describe(*items.Add(), fields);
    fields.RefuseUnread();
  }
}

/// The collections of a catalogue, and handlers with a constant answer: each run of one goes into
/// events, which must outlive the catalogue.
void Describe(TMBTypeInfo& catalogue, TFields& fields, Json& events);

}  // namespace OrvixModBus::Vectors
