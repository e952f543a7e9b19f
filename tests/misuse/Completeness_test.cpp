// No event of the library is left out of the table.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/model/uCollection.h"
#include "platform/model/uProperty.h"
#include "uEventRows.h"
#include "uMBForm.h"

namespace OrvixModBus {
namespace {

struct TEventName {
  std::string Class, Event;
};

// Every class of whose objects forms can make one, its parents and what it is made of.
class TPublishedEvents {
 public:
  TPublishedEvents() {
    for (const TComponentClass& one : ModBusClasses()) {
      const std::unique_ptr<TComponent> component(one.Create(nullptr));
      Walk(*component);
    }
  }
  const std::vector<TEventName>& Names() const { return fNames; }
  /// The names of the class and its parents.
  std::vector<std::string> Line(const std::string& name) const {
    std::vector<std::string> line;
    for (const TClassInfo* info : fClasses) {
      if (info->Name() != name) continue;
      for (; info != nullptr; info = info->Parent()) line.emplace_back(info->Name());
      return line;
    }
    return {name};
  }

 private:
  void Walk(TPersistent& object) {
    std::vector<TPersistent*> left{&object};
    while (!left.empty()) {
      TPersistent* const next = left.back();
      left.pop_back();
      if (next == nullptr) continue;
      TPersistent& part = *next;
      if (auto* collection = dynamic_cast<TCollection*>(&part)) left.push_back(collection->Add());
      fClasses.push_back(&part.ClassInfo());
      for (const TPropertyInfo* property : part.ClassInfo().Properties()) {
        if (property->Kind == TPropertyKind::pkEvent) {
          fNames.push_back({std::string(part.ClassName()), std::string(property->Name)});
        } else if (property->Kind == TPropertyKind::pkObject) {
          left.push_back(std::get<TPersistent*>(property->Get(part)));
        }
      }
    }
  }

  std::vector<TEventName> fNames;
  std::vector<const TClassInfo*> fClasses;
};

// A row of the class itself, of a descendant, or of a parent for what it has inherited.
bool HasRow(const TPublishedEvents& classes, const TEventName& wanted) {
  const auto isOfLine = [&](const std::string& one, const std::string& other) {
    const auto line = classes.Line(one);
    return std::ranges::find(line, other) != line.end();
  };
  return std::ranges::any_of(EventRows(), [&](const TEventRow& row) {
    return row.Event == wanted.Event &&
           (isOfLine(row.Class, wanted.Class) || isOfLine(wanted.Class, row.Class));
  });
}

TEST(MisuseTable, HasEveryPublishedEvent) {
  const TPublishedEvents published;
  EXPECT_GE(published.Names().size(), 40u);
  for (const TEventName& name : published.Names()) {
    EXPECT_TRUE(HasRow(published, name)) << name.Class << "." << name.Event;
  }
}

// ---- the headers --------------------------------------------------------------------------------

std::string WithoutComments(std::string_view source) {
  std::string code;
  while (!source.empty()) {
    const auto end = std::min(source.find('\n'), source.size());
    const std::string_view line = source.substr(0, end);
    code.append(line.substr(0, line.find("//"))).append(" ");
    source.remove_prefix(std::min(end + 1, source.size()));
  }
  return code;
}

bool IsWordPart(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; }

std::string_view Trimmed(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

// The names at the end of a declaration: "TEvent<void()> OnFirst, OnSecond".
std::vector<std::string> DeclaredNames(std::string_view statement) {
  std::vector<std::string> names;
  for (;;) {
    statement = Trimmed(statement);
    std::size_t begin = statement.size();
    while (begin > 0 && IsWordPart(statement[begin - 1])) --begin;
    names.emplace_back(statement.substr(begin));
    statement = Trimmed(statement.substr(0, begin));
    if (!statement.ends_with(',')) return names;
    statement.remove_suffix(1);
  }
}

bool IsEventName(std::string_view word) {
  return word.size() > 2 && word.starts_with("On") &&
         std::isupper(static_cast<unsigned char>(word[2])) != 0;
}

// "class TName ... {" declares a class, "TEvent<...> OnName;" an event in it; a std::function of
// that kind is a part's way to tell its whole, and no event.
std::vector<TEventName> DeclaredEvents(std::string_view code) {
  std::vector<TEventName> events;
  std::string owner;
  while (!code.empty()) {
    const auto end = std::min(code.find_first_of(";{}"), code.size());
    const std::string_view statement = code.substr(0, end);
    const char mark = end < code.size() ? code[end] : '\0';
    code.remove_prefix(std::min(end + 1, code.size()));
    if (const auto at = statement.rfind("class T"); mark == '{' && at != std::string_view::npos) {
      const std::string_view name = statement.substr(at + 6);
      owner = name.substr(
          0, static_cast<std::size_t>(std::ranges::find_if_not(name, IsWordPart) - name.begin()));
    }
    const bool isDeclaration = mark == ';' &&
                               statement.find("std::function") == std::string_view::npos &&
                               statement.find("return") == std::string_view::npos;
    if (!isDeclaration) continue;
    for (const std::string& name : DeclaredNames(statement)) {
      if (IsEventName(name)) events.push_back({owner, name});
    }
  }
  return events;
}

TEST(MisuseTable, HasEveryDeclaredEvent) {
  const TPublishedEvents classes;
  int found = 0;
  for (const char* folder : {"platform", "src", "design"}) {
    const std::filesystem::path root = std::filesystem::path(ORVIX_SOURCE_DIR) / folder;
    for (const auto& file : std::filesystem::recursive_directory_iterator(root)) {
      if (file.path().extension() != ".h") continue;
      std::ifstream stream(file.path());
      const std::string source((std::istreambuf_iterator<char>(stream)), {});
      for (const TEventName& name : DeclaredEvents(WithoutComments(source))) {
        ++found;
        EXPECT_TRUE(HasRow(classes, name)) << name.Class << "." << name.Event;
      }
    }
  }
  EXPECT_GE(found, 48);
}

TEST(MisuseTable, FindsEventsInAHeader) {
  const auto events = DeclaredEvents(WithoutComments(
      "class TA : public TB {\n  TEvent<void()> OnFirst;  // once\n  void OnRead(int value);\n"
      "  std::function<void()> OnOwn;\n  TEvent<void(\n    int)>\n  OnSecond;\n};\n"
      "class TC { TEventList<void()> OnThird, OnFourth; };"));
  ASSERT_EQ(events.size(), 4u);
  EXPECT_EQ(events[0].Class + events[0].Event, "TAOnFirst");
  EXPECT_EQ(events[1].Class + events[1].Event, "TAOnSecond");
  EXPECT_EQ(events[2].Class + events[2].Event, "TCOnFourth");
  EXPECT_EQ(events[3].Class + events[3].Event, "TCOnThird");
}

}  // namespace
}  // namespace OrvixModBus
