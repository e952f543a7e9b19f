#include "platform/model/uForm.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/model/uFormReader.h"
#include "platform/model/uFormWriter.h"
#include "platform/rtl/uFirstError.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

constexpr std::size_t kMostMistakes = 100;

}  // namespace

void TFormFile::RegisterClass(const TComponentClass& added) {
  const auto [known, isNew] = fClasses.try_emplace(FoldCase(added.Info->Name()), added);
  if (isNew || known->second.Info == added.Info) return;
  throw Exception("Another class named " + std::string(added.Info->Name()) +
                  " is registered already");
}

void TFormFile::RegisterClasses(const std::vector<TComponentClass>& added) {
  for (const TComponentClass& each : added) RegisterClass(each);
}

const TComponentClass* TFormFile::FindClass(std::string_view name) const {
  const auto found = fClasses.find(FoldCase(name));
  return found != fClasses.end() ? &found->second : nullptr;
}

std::unique_ptr<TComponent> TFormFile::ReadLoading(std::string_view text, const std::string& file) {
  return TFormReader(*this, text, file, [](const EFormError& mistake) { throw mistake; }).Read();
}

std::unique_ptr<TComponent> TFormFile::Read(std::string_view text, const std::string& file) {
  auto root = ReadLoading(text, file);
  FinishLoading(*root);
  return root;
}

std::unique_ptr<TComponent> TFormFile::ReadFile(const std::string& file) {
  return Read(ReadWholeFile(file), file);
}

void TFormFile::FinishLoading(TComponent& root) {
  std::vector<TRef<TComponent>> loaded{&root};
  for (int i = 0; i < root.ComponentCount(); ++i) loaded.emplace_back(root.Components(i));
  for (const auto& component : loaded) component->SetLoading(false);
  TFirstError error;
  for (const auto& component : loaded) {
    if (component) error.Run([&] { component->Loaded(); });
  }
  error.Raise();
}

std::vector<EFormError> TFormFile::Check(std::string_view text, const std::string& file) {
  std::vector<EFormError> mistakes;
  const auto keep = [&](const EFormError& mistake) {
    mistakes.push_back(mistake);
    if (mistakes.size() == kMostMistakes) throw mistake;
  };
  try {
    TFormReader(*this, text, file, keep).Read();
  } catch (const EFormError& last) {
    if (mistakes.size() < kMostMistakes) mistakes.push_back(last);
  }
  std::ranges::stable_sort(mistakes, {}, [](const EFormError& mistake) {
    return std::pair(mistake.Line(), mistake.Column());
  });
  return mistakes;
}

void TFormFile::ForgetGone() {
  std::erase_if(fUnbound, [](const auto& kept) { return kept.second.Object.Gone(); });
}

void TFormFile::KeepUnbound(TPersistent& object, const TPropertyInfo& event, std::string method) {
  fUnbound.insert_or_assign(TEventPlace(&object, &event), TUnbound{&object, std::move(method)});
}

std::string TFormFile::Write(const TComponent& root) const {
  return TFormWriter(*this, root).Write();
}

void TFormFile::WriteFile(const TComponent& root, const std::string& file) const {
  WriteWholeFile(file, Write(root));
}

}  // namespace OrvixModBus
