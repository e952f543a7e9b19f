#include "platform/model/uStringList.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include "platform/model/uProperty.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uTextFile.h"

namespace OrvixModBus {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view NamePart(std::string_view line) {
  const auto equals = line.find('=');
  return equals == std::string_view::npos ? std::string_view() : line.substr(0, equals);
}

bool HasName(std::string_view line) { return line.find('=') != std::string_view::npos; }

bool SameName(std::string_view a, std::string_view b) {
  return HasName(a) == HasName(b) && SameText(NamePart(a), NamePart(b));
}

}  // namespace

const std::string& TStringList::Strings(int index) const { return fLines[CheckIndex(index)].Text; }

void TStringList::SetString(int index, std::string_view text) {
  RefuseIfSorted();
  std::string& line = fLines[CheckIndex(index)].Text;
  if (!SameName(line, text)) fNamesKnown = false;
  line = text;
  Changed();
}

TObject* TStringList::Objects(int index) const { return fLines[CheckIndex(index)].Object; }

void TStringList::SetObject(int index, TObject* object) {
  fLines[CheckIndex(index)].Object = object;
  Changed();
}

int TStringList::AddObject(std::string_view text, TObject* object) {
  std::size_t index = fLines.size();
  if (fSorted) {
    index = PlaceOf(text);
    if (index < fLines.size() && SameText(fLines[index].Text, text)) {
      if (fDuplicates == TDuplicates::dupIgnore) return static_cast<int>(index);
      if (fDuplicates == TDuplicates::dupError) {
        throw EStringListError("String list does not allow duplicates");
      }
    }
  }
  InsertLine(index, text, object);
  return static_cast<int>(index);
}

void TStringList::Insert(int index, std::string_view text) {
  RefuseIfSorted();
  if (index != Count()) CheckIndex(index);
  InsertLine(static_cast<std::size_t>(index), text, nullptr);
}

void TStringList::Delete(int index) {
  fLines.Erase(CheckIndex(index));
  fNamesKnown = false;
  Changed();
}

void TStringList::Clear() {
  if (fLines.empty()) return;
  fLines.Clear();
  fNamesKnown = false;
  Changed();
}

int TStringList::IndexOf(std::string_view text) const {
  if (fSorted) {
    int index = 0;
    return Find(text, index) ? index : -1;
  }
  for (int i = 0; i < Count(); ++i) {
    if (SameText(Strings(i), text)) return i;
  }
  return -1;
}

bool TStringList::Find(std::string_view text, int& index) const {
  const std::size_t place = PlaceOf(text);
  index = static_cast<int>(place);
  return place < fLines.size() && SameText(fLines[place].Text, text);
}

std::string_view TStringList::Names(int index) const { return NamePart(Strings(index)); }

std::string_view TStringList::ValueFromIndex(int index) const {
  const std::string_view line = Strings(index);
  const auto equals = line.find('=');
  return equals == std::string_view::npos ? std::string_view() : line.substr(equals + 1);
}

int TStringList::IndexOfName(std::string_view name) const {
  if (fSorted) {
    // Lines of one name stand together, from where the name and its "=" alone would stand.
    const std::size_t place = PlaceOf(std::string(name) + "=");
    const bool found = place < fLines.size() && HasName(fLines[place].Text) &&
                       SameText(NamePart(fLines[place].Text), name);
    return found ? static_cast<int>(place) : -1;
  }
  IndexNames();
  const auto found = fNames.find(FoldCase(name));
  return found != fNames.end() ? found->second : -1;
}

std::string_view TStringList::Values(std::string_view name) const {
  const int index = IndexOfName(name);
  return index >= 0 ? ValueFromIndex(index) : std::string_view();
}

void TStringList::SetValue(std::string_view name, std::string_view value) {
  const int index = IndexOfName(name);
  if (value.empty()) {
    if (index >= 0) Delete(index);
    return;
  }
  std::string line(name);
  line.append("=").append(value);
  if (index < 0) {
    Add(line);
  } else {
    SetString(index, line);
  }
}

void TStringList::SetSorted(bool value) {
  if (value == fSorted) return;
  if (value) SortLines();
  fSorted = value;
  if (value) Changed();
}

void TStringList::Sort() {
  SortLines();
  Changed();
}

void TStringList::SortLines() {
  std::vector<TLine> lines;
  lines.reserve(fLines.size());
  for (std::size_t i = 0; i < fLines.size(); ++i) lines.push_back(std::move(fLines[i]));
  std::ranges::stable_sort(
      lines, [](const TLine& a, const TLine& b) { return CompareText(a.Text, b.Text) < 0; });
  for (std::size_t i = 0; i < lines.size(); ++i) fLines[i] = std::move(lines[i]);
  fNamesKnown = false;
}

std::string TStringList::Text() const {
  std::string text;
  for (int i = 0; i < Count(); ++i) text.append(Strings(i)).append("\r\n");
  return text;
}

void TStringList::SetText(std::string_view text) {
  TStringList lines;
  while (!text.empty()) {
    const auto end = std::min(text.find_first_of("\r\n"), text.size());
    lines.Add(text.substr(0, end));
    const bool pair = text.substr(end, 2) == "\r\n";
    text.remove_prefix(std::min(end + (pair ? 2 : 1), text.size()));
  }
  Assign(lines);
}

void TStringList::LoadFromFile(const std::string& fileName) {
  const std::string content = ReadWholeFile(fileName);
  std::string_view text = content;
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  SetText(text);
}

void TStringList::SaveToFile(const std::string& fileName) const {
  WriteWholeFile(fileName, std::string(kByteOrderMark) + Text());
}

void TStringList::Assign(const TPersistent& source) {
  if (&source == this) return;
  const auto* other = dynamic_cast<const TStringList*>(&source);
  if (other == nullptr) return TPersistent::Assign(source);
  TStringList lines;  // a duplicate that is refused leaves this list as it was
  lines.fSorted = fSorted;
  lines.fDuplicates = fDuplicates;
  for (int i = 0; i < other->Count(); ++i) lines.AddObject(other->Strings(i), other->Objects(i));
  std::swap(fLines, lines.fLines);
  fNamesKnown = false;
  Changed();
}

bool TStringList::Equals(const TStringList& other) const {
  if (Count() != other.Count()) return false;
  for (int i = 0; i < Count(); ++i) {
    if (Strings(i) != other.Strings(i)) return false;
  }
  return true;
}

const TClassInfo& TStringList::StaticClass() {
  static const TClassInfo info("TStringList", &TPersistent::StaticClass(), {});
  return info;
}

std::size_t TStringList::CheckIndex(int index) const {
  if (index < 0 || index >= Count()) {
    throw EStringListError(index);
  }
  return static_cast<std::size_t>(index);
}

void TStringList::RefuseIfSorted() const {
  if (fSorted) throw EStringListError("Operation not allowed on sorted list");
}

std::size_t TStringList::PlaceOf(std::string_view text) const {
  return fLines.PartitionPoint([&](const TLine& line) { return CompareText(line.Text, text) < 0; });
}

void TStringList::InsertLine(std::size_t index, std::string_view text, TObject* object) {
  if (index != fLines.size()) fNamesKnown = false;
  fLines.Insert(index, {std::string(text), object});
  const std::string& line = fLines[index].Text;  // text may have been a line of this list
  if (fNamesKnown && HasName(line)) LearnName(line, index);
  Changed();
}

void TStringList::LearnName(std::string_view line, std::size_t index) {
  try {
    fNames.try_emplace(FoldCase(NamePart(line)), static_cast<int>(index));
  } catch (const std::bad_alloc&) {
    fNamesKnown = false;  // all are learnt when one is asked for
  }
}

void TStringList::IndexNames() const {
  if (fNamesKnown) return;
  fNames.clear();
  for (std::size_t i = 0; i < fLines.size(); ++i) {
    const std::string& line = fLines[i].Text;
    if (HasName(line)) fNames.try_emplace(FoldCase(NamePart(line)), static_cast<int>(i));
  }
  fNamesKnown = true;
}

void TStringList::Changed() {
  ++fRevision;
  OnChange(*this);
}

}  // namespace OrvixModBus
