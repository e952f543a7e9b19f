// A letter saved to a form and loaded from it.

#include <benchmark/benchmark.h>

#include <charconv>
#include <string_view>

#include "bench/scale/Letters.h"
#include "bench/scale/Measure.h"
#include "platform/model/uDataModule.h"
#include "platform/model/uForm.h"
#include "uMBForm.h"

namespace OrvixModBus {
namespace {

// A module with a catalogue and a letter, whose registers have captions, and the same in plain.
struct TModule {
  explicit TModule(int count) {
    Form.RegisterClasses(ModBusClasses());
    Make(Root, count);
    MakePlain(Plain, count);
    Text = Form.Write(Root);
  }

  static void Make(TComponent& root, int count) {
    auto& types = *new TMBTypeInfo(&root);
    types.SetName("Types");
    auto& letter = *new TMBLetter(&root);
    letter.SetName("Letter");
    letter.Regs().SetMBTypeInfo(&types);
    Build(letter.Regs(), count);
    for (int i = 0; i < count; ++i) letter.Regs().GetItem(i)->SetCaption(kCaption);
  }
  static void MakePlain(TPlainLetter& letter, int count) {
    Build(letter, count);
    for (const auto& reg : letter.Regs) reg->Caption = kCaption;
  }

  TFormFile Form;
  TDataModule Root;
  TPlainLetter Plain;
  std::string Text;
};

// What a form costs beyond the letter is seen against this.
TWork BuildWithCaptions(int count) {
  auto root = std::make_shared<std::unique_ptr<TDataModule>>();
  auto plain = std::make_shared<TPlainLetter>();
  return {.Run =
              [=] {
                *root = std::make_unique<TDataModule>();
                TModule::Make(**root, count);
              },
          .Limit = [=] { TModule::MakePlain(*plain, count); },
          .Prepare = [=] { root->reset(); },
          .PrepareLimit = [=] { plain->Clear(); }};
}

void WriteNumber(std::string& text, std::string_view name, unsigned value) {
  char digits[16];
  const auto [end, error] = std::to_chars(digits, digits + sizeof digits, value);
  text.append(name).append(digits, end).append("\n");
}

void WriteText(std::string& text, std::string_view name, const std::string& value) {
  text.append(name).append("'").append(value).append("'\n");
}

std::string WritePlain(const TPlainLetter& letter) {
  std::string text;
  for (const auto& reg : letter.Regs) {
    text.append("      item\n");
    WriteText(text, "        Name = ", reg->Name);
    WriteNumber(text, "        Adress = ", reg->Adress);
    WriteNumber(text, "        MBFuncWrite = ", reg->MBFuncWrite);
    WriteNumber(text, "        Count = ", static_cast<unsigned>(reg->Data.size() / 2));
    WriteText(text, "        Caption = ", reg->Caption);
    WriteText(text, "        RegTypeName = ", reg->TypeName);
    text.append("      end\n");
  }
  return text;
}

TWork SaveForm(int count) {
  const auto module = std::make_shared<TModule>(count);
  return {.Run = [=] { benchmark::DoNotOptimize(module->Form.Write(module->Root)); },
          .Limit = [=] { benchmark::DoNotOptimize(WritePlain(module->Plain)); }};
}

unsigned NumberOf(std::string_view text) {
  unsigned number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

// Reads what WritePlain writes, of a text that is known to be right.
void ReadPlain(TPlainLetter& letter, std::string_view text) {
  std::unique_ptr<TPlainReg> reg;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    line.remove_prefix(line.find_first_not_of(' '));
    if (line == "item") reg = std::make_unique<TPlainReg>();
    if (line == "end") {
      letter.ByName.try_emplace(reg->Name, reg.get());
      letter.Regs.push_back(std::move(reg));
    }
    const std::size_t equals = line.find(" = ");
    if (equals == std::string_view::npos) continue;
    const std::string_view name = line.substr(0, equals), value = line.substr(equals + 3);
    const auto unquoted = [&] { return value.substr(1, value.size() - 2); };
    if (name == "Name") reg->Name = unquoted();
    if (name == "Adress") reg->Adress = NumberOf(value);
    if (name == "MBFuncWrite") reg->MBFuncWrite = NumberOf(value) & 0xFF;
    if (name == "Count") reg->Data.resize(2 * NumberOf(value));
    if (name == "Caption") reg->Caption = unquoted();
    if (name == "RegTypeName") reg->TypeName = unquoted();
  }
}

TWork LoadForm(int count) {
  const auto module = std::make_shared<TModule>(count);
  auto loaded = std::make_shared<std::unique_ptr<TComponent>>();
  auto text = std::make_shared<const std::string>(WritePlain(module->Plain));
  auto plain = std::make_shared<TPlainLetter>();
  return {.Run = [=] { *loaded = module->Form.Read(module->Text); },
          .Limit = [=] { ReadPlain(*plain, *text); },
          .Prepare = [=] { loaded->reset(); },
          .PrepareLimit = [=] { plain->Clear(); },
          .TellsMemory = true};
}

}  // namespace

void RegisterFormOperations() {
  Register("BuildWithCaptions", BuildWithCaptions);
  Register("SaveForm", SaveForm);
  Register("LoadForm", LoadForm);
}

}  // namespace OrvixModBus
