// Scripts on two type catalogues: which descriptions they hold, by name, ID and kind.

#include "script.h"

#include <array>
#include <map>
#include <type_traits>

#include "catalogue.h"

namespace OrvixModBus::Vectors {
namespace {

constexpr std::array kCollections = {"TypeLists", "TypeBins", "TypeNumbers", "TypeStructurs"};

/// Calls visit with the collection of that name, as what it is.
template <class TVisit>
Json Visit(TMBTypeInfo& catalogue, const std::string& collection, TVisit visit) {
  if (collection == "TypeLists") return visit(catalogue.TypeLists());
  if (collection == "TypeBins") return visit(catalogue.TypeBins());
  if (collection == "TypeNumbers") return visit(catalogue.TypeNumbers());
  if (collection == "TypeStructurs") return visit(catalogue.TypeStructurs());
  throw ENotUnderstood("unknown collection " + collection);
}

template <class TItems>
constexpr bool kAreFields = std::is_same_v<TItems, TMBRegTypeStructurs>;

Json Rows(TMBTypeInfo& catalogue, const std::string& collection) {
  return Visit(catalogue, collection, [](auto& items) {
    Json rows = Json::array();
    for (int i = 0; i < items.Count(); ++i) {
      const TMBRegTypeColItem& item = *items.Items(i);
      rows.push_back({item.Name(), item.ID(), KindJson(item.RegType())});
    }
    return rows;
  });
}

class TCatalogueScript final : public TScript {
 public:
  TCatalogueScript() { Observed(); }

  Json Run(TFields& step) override;
  Json Observed() override;
  const std::vector<std::string>& ObservedFields() const override {
    static const std::vector<std::string> kFields = {"changed", "notifications"};
    return kFields;
  }

 private:
  TMBTypeInfo& Catalogue(const TField& label);
  Json Add(TMBTypeInfo& catalogue, TFields& args);
  Json Delete(TMBTypeInfo& catalogue, TFields& args);
  Json Clear(TMBTypeInfo& catalogue, TFields& args);
  Json ClearAllDataType(TMBTypeInfo& catalogue, TFields& args);
  Json SetName(TMBTypeInfo& catalogue, TFields& args);
  Json SetRegType(TMBTypeInfo& catalogue, TFields& args);
  Json ItemByName(TMBTypeInfo& catalogue, TFields& args);
  Json SetItemByName(TMBTypeInfo& catalogue, TFields& args);
  Json Assign(TMBTypeInfo& catalogue, TFields& args);
  Json AssignCollection(TMBTypeInfo& catalogue, TFields& args);

  std::map<std::string, TMBTypeInfo> fCatalogues = MakeCatalogues();
  std::map<std::pair<std::string, std::string>, Json> fRows;
  Json fNotifications;

  static std::map<std::string, TMBTypeInfo> MakeCatalogues() {
    std::map<std::string, TMBTypeInfo> catalogues;
    catalogues.try_emplace("A");
    catalogues.try_emplace("B");
    return catalogues;
  }
};

TMBTypeInfo& TCatalogueScript::Catalogue(const TField& label) {
  const auto found = fCatalogues.find(label);
  if (found == fCatalogues.end()) throw ENotUnderstood("unknown catalogue " + label.Text());
  return found->second;
}

Json TCatalogueScript::Run(TFields& step) {
  using TOperation = Json (TCatalogueScript::*)(TMBTypeInfo&, TFields&);
  static const std::map<std::string, TOperation> kOperations = {
      {"Add", &TCatalogueScript::Add},
      {"Delete", &TCatalogueScript::Delete},
      {"Clear", &TCatalogueScript::Clear},
      {"ClearAllDataType", &TCatalogueScript::ClearAllDataType},
      {"SetName", &TCatalogueScript::SetName},
      {"SetRegType", &TCatalogueScript::SetRegType},
      {"ItemByName", &TCatalogueScript::ItemByName},
      {"SetItemByName", &TCatalogueScript::SetItemByName},
      {"Assign", &TCatalogueScript::Assign},
      {"AssignCollection", &TCatalogueScript::AssignCollection},
  };
  TStepArgs args(step);
  Json result = (this->*FindStep(kOperations, step))(Catalogue(step["catalogue"]), *args);
  args->RefuseUnread();
  return result;
}

Json TCatalogueScript::Observed() {
  Json changed = Json::object();
  for (auto& [label, catalogue] : fCatalogues) {
    for (const char* collection : kCollections) {
      Json rows = Rows(catalogue, collection);
      Json& before = fRows[{label, collection}];
      if (rows != before) changed[label][collection] = rows;
      before = std::move(rows);
    }
  }
  return {{"changed", changed}, {"notifications", std::exchange(fNotifications, nullptr)}};
}

Json TCatalogueScript::Add(TMBTypeInfo& catalogue, TFields& args) {
  return Visit(catalogue, args["Collection"],
               [](auto& items) -> Json { return items.Add()->Name(); });
}

Json TCatalogueScript::Delete(TMBTypeInfo& catalogue, TFields& args) {
  return Visit(catalogue, args["Collection"], [&](auto& items) -> Json {
    items.Delete(args["Index"]);
    return nullptr;
  });
}

Json TCatalogueScript::Clear(TMBTypeInfo& catalogue, TFields& args) {
  return Visit(catalogue, args["Collection"], [](auto& items) -> Json {
    items.Clear();
    return nullptr;
  });
}

Json TCatalogueScript::ClearAllDataType(TMBTypeInfo& catalogue, TFields&) {
  catalogue.ClearAllDataType();
  return nullptr;
}

Json TCatalogueScript::SetName(TMBTypeInfo& catalogue, TFields& args) {
  return Visit(catalogue, args["Collection"], [&](auto& items) -> Json {
    const std::uint64_t before = items.Revision();
    items.Items(args["Index"])->SetName(args["Value"]);
    fNotifications = items.Revision() - before;
    return nullptr;
  });
}

Json TCatalogueScript::SetRegType(TMBTypeInfo& catalogue, TFields& args) {
  return Visit(catalogue, args["Collection"], [&](auto& items) -> Json {
    items.Items(args["Index"])->SetRegType(args["Value"]);
    return nullptr;
  });
}

Json TCatalogueScript::ItemByName(TMBTypeInfo& catalogue, TFields& args) {
  return Visit(catalogue, args["Collection"], [&](auto& items) -> Json {
    const TMBRegTypeColItem* item = nullptr;
    if constexpr (kAreFields<std::remove_reference_t<decltype(items)>>) {
      item = items.GetItemByName(args["Name"], args["StructurName"]);
    } else {
      item = items.GetItemByName(args["Name"]);
    }
    return item != nullptr ? Json(item->Index()) : Json();
  });
}

Json TCatalogueScript::SetItemByName(TMBTypeInfo& catalogue, TFields& args) {
  const std::string collection = args["Collection"];
  TMBTypeInfo& source = Catalogue(args["SourceCatalogue"]);
  const int index = args["SourceIndex"];
  return Visit(catalogue, collection, [&](auto& items) -> Json {
    using TItems = std::remove_reference_t<decltype(items)>;
    return Visit(source, collection, [&](auto& from) -> Json {
      if constexpr (!std::is_same_v<TItems, std::remove_reference_t<decltype(from)>>) {
        return nullptr;  // never reached: both names are the same
      } else if constexpr (kAreFields<TItems>) {
        items.SetItemByName(args["Name"], args["StructurName"], *from.Items(index));
      } else {
        items.SetItemByName(args["Name"], *from.Items(index));
      }
      return nullptr;
    });
  });
}

Json TCatalogueScript::Assign(TMBTypeInfo& catalogue, TFields& args) {
  catalogue.Assign(Catalogue(args["SourceCatalogue"]));
  return nullptr;
}

Json TCatalogueScript::AssignCollection(TMBTypeInfo& catalogue, TFields& args) {
  const std::string collection = args["Collection"];
  TMBTypeInfo& source = Catalogue(args["SourceCatalogue"]);
  return Visit(catalogue, collection, [&](TCollection& items) -> Json {
    return Visit(source, collection, [&](TCollection& from) -> Json {
      items.Assign(from);
      return nullptr;
    });
  });
}

}  // namespace

std::unique_ptr<TScript> MakeCatalogueScript(TFields&) {
  return std::make_unique<TCatalogueScript>();
}

}  // namespace OrvixModBus::Vectors
