#include "uMBForm.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <any>
#include <bit>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <typeindex>
#include <vector>

#include "platform/model/uCollection.h"
#include "platform/model/uDataModule.h"
#include "platform/model/uForm.h"
#include "platform/model/uStringList.h"
#include "platform/rtl/uText.h"
#include "uMBLetters.h"
#include "uMBLogCustomFunctions.h"
#include "uMBOscilCustomFunctions.h"
#include "uMBRTU.h"
#include "uMBRegsAutoFill.h"

namespace OrvixModBus {
namespace {

using TRandom = std::mt19937;

int Upto(TRandom& random, int last) { return std::uniform_int_distribution(0, last)(random); }

// A form file with two handlers for every type of event.
class TFormWithMethods {
 public:
  TFormWithMethods() {
    File.RegisterClasses(ModBusClasses());
    Add(&TMBClient::OnRead);
    Add(&TMBClient::OnNoneAnswer);
    Add(&TMBClient::OnGetEmulData);
    Add(&TMBClient::OnWorkStart);
    Add(&TEmulClient::OnRead);
    Add(&TEmulClient::OnWrite);
    Add(&TMBLetter::OnReadAllRegs);
    Add(&TMBLetter::OnRegDataChange);
    Add(&TMBLetter::OnNoneAnswer);
    Add(&TMBLogFunction::OnGetRecord);
    Add(&TMBFunction41::OnGetOscilData);
    Add(&TRTUClient::OnDX517Read);
    Add(&TRTUClient::OnDX517Write);
    Add(&TMBReg::OnDataChange);
    Add(&TMBReg::OnDataToValue);
    Add(&TMBRegsAutoFill::OnGetRegName);
    Add(&TMBRegsAutoFill::OnGetRegInfo);
    Add(&TMBTypeInfo::OnNoneType);
    Add(&TMBTypeInfo::OnDataToValue);
    Add(&TModbusClient::OnCustomTransactionComplete);
    Add(&TModbusClient::OnServerIDReport);
    Add(&TModbusClient::OnFileRecordRead);
    Add(&TModbusConnection::OnPortLost);
    Add(&TModbusConnection::OnPortFound);
    Add(&TModbusConnection::OnTrace);
  }

  std::any Handler(const TPropertyInfo& event, TRandom& random) const {
    const auto& type = std::get<std::any>(*event.Default).type();
    const auto found = fHandlers.find(type);
    if (found == fHandlers.end()) throw Exception("No handler for " + std::string(event.Name));
    return found->second[static_cast<std::size_t>(Upto(random, 1))];
  }

  TFormFile File;

 private:
  template <class TOwner, class TResult, class... TArgs>
  void Add(TEvent<TResult(TArgs...)> TOwner::*) {
    using THandler = TEvent<TResult(TArgs...)>;
    for (int i = 0; i < 2; ++i) {
      const THandler handler([](auto&&...) { return TResult(); });
      fHandlers[typeid(THandler)].emplace_back(handler);
      File.RegisterMethod("Handler" + std::to_string(++fMethods), handler);
    }
  }

  std::map<std::type_index, std::vector<std::any>> fHandlers;
  int fMethods = 0;
};

// Gives components random states, by their property tables alone.
class TRandomTree {
 public:
  TRandomTree(const TFormWithMethods& methods, TRandom& random)
      : fMethods(methods), fRandom(random) {}

  void Fill(TComponent& root) {
    for (int i = 0; i < root.ComponentCount(); ++i) FillObject(*root.Components(i));
    for (auto& [object, property] : fReferences) SetReference(*object, *property);
  }

 private:
  int Upto(int last) { return OrvixModBus::Upto(fRandom, last); }

  void FillObject(TPersistent& object) {
    fObjects.push_back(&object);
    for (const TPropertyInfo* property : object.ClassInfo().Properties()) {
      if (property->Kind == TPropertyKind::pkObject) {
        FillPart(*std::get<TPersistent*>(property->Get(object)));
      } else if (property->Kind == TPropertyKind::pkReference) {
        fReferences.emplace_back(&object, property);
      } else if (Upto(2) > 0) {
        SetRandom(object, *property);
      }
    }
  }

  void FillPart(TPersistent& part) {
    if (auto* list = dynamic_cast<TStringList*>(&part)) {
      for (int i = Upto(4); i > 0; --i) list->Add(RandomText());
      return;
    }
    for (const TPropertyInfo* property : part.ClassInfo().Properties()) {
      fReferences.emplace_back(&part, property);
    }
    auto& collection = dynamic_cast<TCollection&>(part);
    for (int i = Upto(4); i > 0; --i) FillObject(*collection.Add());
  }

  // Values that the object refuses are left out.
  void SetRandom(TPersistent& object, const TPropertyInfo& property) {
    try {
      SetProperty(object, property, RandomValue(property));
    } catch (const Exception&) {
      return;
    }
  }

  TPropertyValue RandomValue(const TPropertyInfo& property) {
    switch (property.Kind) {
      case TPropertyKind::pkInteger:
        return RandomInteger(property);
      case TPropertyKind::pkFloat:
        return RandomFloat();
      case TPropertyKind::pkBoolean:
        return std::int64_t{Upto(1)};
      case TPropertyKind::pkEnumeration:
        return std::int64_t{Upto(static_cast<int>(property.EnumNames.size()) - 1)};
      case TPropertyKind::pkString:
        return RandomText();
      case TPropertyKind::pkEvent:
        return fMethods.Handler(property, fRandom);
      default:
        throw std::logic_error("a kind of property that no class has");
    }
  }

  std::int64_t RandomInteger(const TPropertyInfo& property) {
    if (Upto(9) == 0) return Upto(1) == 0 ? property.Min : property.Max;
    if (Upto(1) == 0) return std::clamp<std::int64_t>(Upto(20), property.Min, property.Max);
    return std::uniform_int_distribution(property.Min, property.Max)(fRandom);
  }

  double RandomFloat() {
    if (Upto(1) == 0) return Upto(2000) - 1000;
    return std::bit_cast<double>(std::uniform_int_distribution<std::uint64_t>()(fRandom));
  }

  std::string RandomText() {
    constexpr char32_t kCharacters[] = {U'a', U'Z', U'0',  U' ', U'\'', U'=',    U'|',     U'#',
                                        U'+', U'{', U'Ж',  U'ё', U'\n', U'\r',   U'\t',    U'\0',
                                        U'«', U'°', U'中', U'~', 0x7F,  0x1F600, 0x10FFFF, U'\\'};
    std::string text;
    for (int i = Upto(4) == 0 ? Upto(200) : Upto(6); i > 0; --i) {
      Utf8Append(text, kCharacters[Upto(static_cast<int>(std::size(kCharacters)) - 1)]);
    }
    return text;
  }

  void SetReference(TPersistent& object, const TPropertyInfo& property) {
    std::vector<TPersistent*> targets{nullptr};
    for (TPersistent* each : fObjects) {
      if (property.Accepts(*each)) targets.push_back(each);
    }
    if (Upto(3) == 0) return;
    SetProperty(object, property,
                targets[static_cast<std::size_t>(Upto(static_cast<int>(targets.size()) - 1))]);
  }

  const TFormWithMethods& fMethods;
  TRandom& fRandom;
  std::vector<TPersistent*> fObjects;
  std::vector<std::pair<TPersistent*, const TPropertyInfo*>> fReferences;
};

// Where an object stands in its tree, so that references of two trees can be compared.
std::string PlaceOf(const TPersistent* object) {
  if (object == nullptr) return "nil";
  std::string place;
  if (const auto* component = dynamic_cast<const TComponent*>(object)) place = component->Name();
  if (const auto* item = dynamic_cast<const TCollectionItem*>(object)) {
    place = std::string(item->ClassName()) + std::to_string(item->Index());
  }
  return PlaceOf(object->GetOwner()) + "/" + place;
}

// The first place where two objects differ; empty when they are equal.
std::string Difference(const TPersistent& one, const TPersistent& other);

std::string PartDifference(const TPersistent& one, const TPersistent& other) {
  if (const auto* list = dynamic_cast<const TStringList*>(&one)) {
    return list->Equals(dynamic_cast<const TStringList&>(other)) ? "" : "lines";
  }
  const auto& left = dynamic_cast<const TCollection&>(one);
  const auto& right = dynamic_cast<const TCollection&>(other);
  if (left.Count() != right.Count()) return "count";
  for (int i = 0; i < left.Count(); ++i) {
    const std::string difference = Difference(*left.Items(i), *right.Items(i));
    if (!difference.empty()) return std::to_string(i) + "." + difference;
  }
  return Difference(one, other);
}

std::string Difference(const TPersistent& one, const TPersistent& other) {
  if (&one.ClassInfo() != &other.ClassInfo()) return "class";
  for (const TPropertyInfo* property : one.ClassInfo().Properties()) {
    const TPropertyValue left = property->Get(one), right = property->Get(other);
    std::string difference;
    if (property->Kind == TPropertyKind::pkObject) {
      difference = PartDifference(*std::get<TPersistent*>(left), *std::get<TPersistent*>(right));
    } else if (property->Kind == TPropertyKind::pkReference) {
      const bool same =
          PlaceOf(std::get<TPersistent*>(left)) == PlaceOf(std::get<TPersistent*>(right));
      difference = same ? "" : "reference";
    } else {
      difference = SameValue(*property, left, right) ? "" : "value";
    }
    if (!difference.empty()) return std::string(property->Name) + "." + difference;
  }
  return "";
}

constexpr int kTrees = 10000;

class FormRoundTrip : public testing::TestWithParam<std::size_t> {};

TEST_P(FormRoundTrip, ARandomTreeIsReadAsItWasWritten) {
  const auto& classes = ModBusClasses();
  TFormWithMethods methods;
  TRandom random(static_cast<std::uint32_t>(GetParam()));
  const int trees = kTrees / static_cast<int>(classes.size()) + 1;
  for (int tree = 0; tree < trees; ++tree) {
    SCOPED_TRACE(tree);
    TDataModule root;
    root.SetName("Root");
    classes[GetParam()].Create(&root);
    for (int i = Upto(random, 3); i > 0; --i) {
      classes[static_cast<std::size_t>(Upto(random, static_cast<int>(classes.size()) - 1))].Create(
          &root);
    }
    for (int i = 0; i < root.ComponentCount(); ++i) {
      root.Components(i)->SetName("C" + std::to_string(i));
      root.Components(i)->SetLoading(true);  // nothing shall open a port
    }
    TRandomTree(methods, random).Fill(root);
    const std::string text = methods.File.Write(root);
    const auto again = methods.File.ReadLoading(text);
    ASSERT_EQ(methods.File.Write(*again), text);
    ASSERT_EQ(again->ComponentCount(), root.ComponentCount());
    for (int i = 0; i < root.ComponentCount(); ++i) {
      ASSERT_EQ(Difference(*root.Components(i), *again->Components(i)), "") << text;
    }
  }
}

std::string ClassName(const testing::TestParamInfo<std::size_t>& info) {
  return std::string(ModBusClasses()[info.param].Info->Name());
}

INSTANTIATE_TEST_SUITE_P(Classes, FormRoundTrip,
                         testing::Range<std::size_t>(0, ModBusClasses().size()), ClassName);

TEST(Form, AWriteCodeEqualToTheReadCodeIsKept) {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  TDataModule root;
  auto& letter = *new TMBLetter(&root);
  letter.SetName("Letter");
  auto& reg = *letter.Regs().Add();
  reg.SetMBFuncWrite(0x10);
  reg.SetMBFuncRead(0x10);
  const auto again = form.Read(form.Write(root));
  const TMBReg& read = *FormComponent<TMBLetter>(*again, "Letter").Regs().GetItem(0);
  EXPECT_EQ(read.MBFuncRead(), 0x10);
  EXPECT_EQ(read.MBFuncWrite(), 0x10);
}

TEST(Form, AClientsOwnConnectionIsNotStoredAndNoConnectionIs) {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  TDataModule root;
  auto& client = *new TMBClient(&root);
  client.SetName("Pump");
  EXPECT_EQ(form.Write(root), "object TDataModule\n  object Pump: TMBClient\n  end\nend\n");
  client.SetConnection(nullptr);
  const std::string text =
      "object TDataModule\n  object Pump: TMBClient\n    Connection = nil\n  end\nend\n";
  EXPECT_EQ(form.Write(root), text);
  EXPECT_EQ(form.Write(*form.Read(text)), text);
}

TEST(Form, WhatAComponentMakesForItselfIsNotStoredWhereItIsTheRoot) {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  EXPECT_EQ(form.Write(TMBClient()), "object TMBClient\nend\n");
}

TEST(Form, AConnectionThatTheFormWantsActiveStaysSoWhileLoading) {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  const std::string text =
      "object TDataModule\n  object Line: TMBRTUConnection\n    Port = '/nowhere/tty'\n"
      "    Active = True\n  end\nend\n";
  const auto root = form.ReadLoading(text);
  EXPECT_FALSE(FormComponent<TMBRTUConnection>(*root, "Line").Active());
  EXPECT_EQ(form.Write(*root), text);
  EXPECT_THROW(TFormFile::FinishLoading(*root), EModLinkError);
}

TEST(FormOfACatalogue, TypesAreFoundByTheNamesThatAreReadAndThoseGivenLater) {
  TFormFile form;
  form.RegisterClasses(ModBusClasses());
  const auto root = form.Read(R"(object Plant: TDataModule
  object Types: TMBTypeInfo
    TypeLists = <
      item
        Name = 'Mode'
        Dictionary.Strings = (
          '1=Run')
      end
      item
        Name = 'Mode'
        Dictionary.Strings = (
          '1=Second')
      end>
  end
end
)");
  auto& types = dynamic_cast<TMBTypeInfo&>(*root->FindComponent("Types"));
  const auto decoded = [&](const std::string& name) {
    return types.DataToValue(TRegType::rtList, name, {1}, "", -1).Srt;
  };
  EXPECT_EQ(decoded("TypeList1"), "");  // the name of its making
  EXPECT_EQ(decoded("Mode"), "Run");
  types.TypeLists().Items(0)->SetName("State");
  EXPECT_EQ(decoded("Mode"), "Second");
  EXPECT_EQ(decoded("State"), "Run");
  types.ClearAllDataType();
  EXPECT_EQ(decoded("Mode"), "");
}

}  // namespace
}  // namespace OrvixModBus
