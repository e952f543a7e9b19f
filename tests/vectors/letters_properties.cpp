// Steps that use the public properties of any object.

#include <optional>

#include "letters_scenario.h"
#include "platform/model/uProperty.h"

namespace OrvixModBus::Vectors {
namespace {

/// A property that no class publishes, or that a program sets otherwise than a form does. Get is
/// empty for an object that has no such property.
struct TPublicProperty {
  std::function<std::optional<Json>(TScenario&, TComponent&)> Get;
  std::function<void(TScenario&, TComponent&, const TField&)> Set;
};

/// Of a class T: get and set, which may be nil.
template <class T>
TPublicProperty PropertyOf(Json (*get)(TScenario&, T&),
                           void (*set)(TScenario&, T&, const TField&) = nullptr) {
  return {[get](TScenario& scenario, TComponent& object) -> std::optional<Json> {
            auto* typed = dynamic_cast<T*>(&object);
            if (typed == nullptr) return std::nullopt;
            return get(scenario, *typed);
          },
          [set](TScenario& scenario, TComponent& object, const TField& value) {
            if (set == nullptr) throw ENotUnderstood("a property that can't be set");
            set(scenario, dynamic_cast<T&>(object), value);
          }};
}

Json GetComSettings(TScenario&, TMBRTUConnection& line) {
  const TComSet set = line.GetComSet();
  return {set.Name,     set.Speed,      set.Parity,        set.DataBits,
          set.StopBits, set.MaxRetries, set.ReceiveTimeout};
}

template <class TEnum>
TEnum EnumOf(const Json& ordinal) {
  const TField field(ordinal, "ordinal");
  const std::uint8_t value = field;
  if (value >= std::size(TEnumNames<TEnum>::Values)) throw ENotUnderstood("no such ordinal");
  return static_cast<TEnum>(value);
}

void SetComSettings(TScenario&, TMBRTUConnection& line, const TField& value) {
  const Json& list = value.Elements();
  if (list.size() != 7) throw ENotUnderstood("no settings: " + Show(list));
  TComSet set;
  set.Name = list[0].get<std::string>();
  set.Speed = TField(list[1], "Speed");
  set.Parity = EnumOf<TParityScheme>(list[2]);
  set.DataBits = EnumOf<TDataBits>(list[3]);
  set.StopBits = EnumOf<TStopBits>(list[4]);
  set.MaxRetries = TField(list[5], "MaxRetries");
  set.ReceiveTimeout = TField(list[6], "ReceiveTimeout");
  line.SetComSet(set);
}

using TScene = TScenario&;

const std::multimap<std::string, TPublicProperty>& PublicProperties() {
  static const std::multimap<std::string, TPublicProperty> kProperties = {
      {"Active", PropertyOf<TMBRTUConnection>(
                     [](TScene, TMBRTUConnection& o) -> Json { return o.Active(); },
                     [](TScene, TMBRTUConnection& o, const TField& v) { o.SetActive(v); })},
      {"Active", PropertyOf<TMBClient>([](TScene, TMBClient& o) -> Json { return o.Active(); })},
      {"ComSettings", PropertyOf<TMBRTUConnection>(GetComSettings, SetComSettings)},
      {"IsEmul",
       PropertyOf<TMBConnection>([](TScene, TMBConnection& o) -> Json { return o.IsEmul(); })},
      {"Connection",
       PropertyOf<TMBClient>([](TScene s, TMBClient& o) { return s.NameOf(o.Connection()); },
                             [](TScene s, TMBClient& o, const TField& v) {
                               o.SetConnection(s.GetOrNil<TMBConnection>(v));
                             })},
      {"MBCntrlOn",
       PropertyOf<TMBClient>([](TScene, TMBClient& o) -> Json { return o.MBCntrlOn; },
                             [](TScene, TMBClient& o, const TField& v) { o.MBCntrlOn = v; })},
      {"DisableHandling",
       PropertyOf<TMBClient>(
           [](TScene, TMBClient& o) -> Json { return o.DisableHandling(); },
           [](TScene, TMBClient& o, const TField& v) { o.SetDisableHandling(v); })},
      {"MBTypeInfo",
       PropertyOf<TMBLetter>([](TScene s, TMBLetter& o) { return s.NameOf(o.Regs().MBTypeInfo()); },
                             [](TScene s, TMBLetter& o, const TField& v) {
                               o.Regs().SetMBTypeInfo(s.GetOrNil<TMBTypeInfo>(v));
                             })},
  };
  return kProperties;
}

const TPublicProperty* FindPublic(TScenario& scenario, TComponent& object,
                                  const std::string& name) {
  const auto [first, last] = PublicProperties().equal_range(name);
  for (auto property = first; property != last; ++property) {
    if (property->second.Get(scenario, object)) return &property->second;
  }
  return nullptr;
}

const TPropertyInfo& FindPublished(const TComponent& object, const std::string& name) {
  const TPropertyInfo* info = object.ClassInfo().Property(name);
  if (info == nullptr) {
    throw EUnknownOperation("property " + std::string(object.ClassName()) + "." + name);
  }
  return *info;
}

Json PublishedJson(const TScenario& scenario, const TComponent& object, const TPropertyInfo& info) {
  const TPropertyValue value = info.Get(object);
  switch (info.Kind) {
    case TPropertyKind::pkInteger:
      return std::get<std::int64_t>(value);
    case TPropertyKind::pkBoolean:
      return std::get<std::int64_t>(value) != 0;
    case TPropertyKind::pkEnumeration:
      return info.EnumNames[static_cast<std::size_t>(std::get<std::int64_t>(value))];
    case TPropertyKind::pkFloat:
      return std::get<double>(value);
    case TPropertyKind::pkString:
      return std::get<std::string>(value);
    case TPropertyKind::pkReference:
      return scenario.NameOf(std::get<TPersistent*>(value));
    default:
      throw EUnknownOperation("property " + std::string(info.Name));
  }
}

std::int64_t OrdinalOf(const TPropertyInfo& info, const TField& value) {
  for (std::size_t i = 0; i < info.EnumNames.size(); ++i) {
    if (info.EnumNames[i] == value.Text()) return static_cast<std::int64_t>(i);
  }
  throw ENotUnderstood("unknown value " + value.Text());
}

TPropertyValue PublishedValue(const TScenario& scenario, const TPropertyInfo& info,
                              const TField& value) {
  switch (info.Kind) {
    case TPropertyKind::pkInteger:
      return std::int64_t{value};
    case TPropertyKind::pkBoolean:
      return std::int64_t{bool(value)};
    case TPropertyKind::pkEnumeration:
      return OrdinalOf(info, value);
    case TPropertyKind::pkFloat:
      return double(value);
    case TPropertyKind::pkString:
      return value.Text();
    case TPropertyKind::pkReference:
      return static_cast<TPersistent*>(scenario.GetOrNil<TComponent>(value));
    default:
      throw EUnknownOperation("property " + std::string(info.Name));
  }
}

void Get(TScenario& scenario, TFields& step) {
  auto& object = scenario.Get<TComponent>(step["o"]);
  const std::string name = step["p"];
  if (const TPublicProperty* property = FindPublic(scenario, object, name)) {
    return scenario.Return(*property->Get(scenario, object));
  }
  scenario.Return(PublishedJson(scenario, object, FindPublished(object, name)));
}

void Set(TScenario& scenario, TFields& step) {
  auto& object = scenario.Get<TComponent>(step["o"]);
  const std::string name = step["p"];
  if (const TPublicProperty* property = FindPublic(scenario, object, name)) {
    return property->Set(scenario, object, step["v"]);
  }
  const TPropertyInfo& info = FindPublished(object, name);
  SetProperty(object, info, PublishedValue(scenario, info, step["v"]));
}

void Assign(TScenario& scenario, TFields& step) {
  scenario.Get<TComponent>(step["dst"]).Assign(scenario.Get<TComponent>(step["src"]));
}

}  // namespace

const TStepOperations& PropertySteps() {
  static const TStepOperations kSteps = {
      {"get", Get},
      {"set", Set},
      {"assign_obj", Assign},
  };
  return kSteps;
}

}  // namespace OrvixModBus::Vectors
