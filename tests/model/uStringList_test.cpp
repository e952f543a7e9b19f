#include "platform/model/uStringList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <initializer_list>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/model/uProperty.h"
#include "platform/rtl/uFold.h"
#include "platform/rtl/uTextFile.h"
#include "tests/rtl/uTempFolder.h"

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::ThrowsMessage;

using TTexts = std::vector<std::string>;

void Fill(TStringList& list, std::initializer_list<const char*> texts) {
  for (const char* text : texts) list.Add(text);
}

TTexts Lines(const TStringList& list) {
  TTexts lines;
  for (int i = 0; i < list.Count(); ++i) lines.push_back(list.Strings(i));
  return lines;
}

// ---- lines

TEST(TStringList, AppendsAndReads) {
  TStringList list;
  EXPECT_EQ(list.Count(), 0);
  EXPECT_EQ(list.Add("b"), 0);
  EXPECT_EQ(list.Add("a"), 1);
  EXPECT_EQ(list.Add(""), 2);
  EXPECT_THAT(Lines(list), ElementsAre("b", "a", ""));
}

TEST(TStringList, InsertsReplacesAndDeletes) {
  TStringList list;
  Fill(list, {"b", "d"});
  list.Insert(0, "a");
  list.Insert(2, "c");
  list.Insert(4, "e");
  EXPECT_THAT(Lines(list), ElementsAre("a", "b", "c", "d", "e"));
  list.SetString(1, "B");
  list.Delete(4);
  list.Delete(0);
  EXPECT_THAT(Lines(list), ElementsAre("B", "c", "d"));
  list.Clear();
  EXPECT_EQ(list.Count(), 0);
}

TEST(TStringList, KeepsAnObjectWithEachLine) {
  TObject one;
  TObject two;
  TStringList list;
  EXPECT_EQ(list.AddObject("a", &one), 0);
  list.Add("b");
  list.Insert(0, "c");
  EXPECT_EQ(list.Objects(0), nullptr);
  EXPECT_EQ(list.Objects(1), &one);
  list.SetObject(2, &two);
  EXPECT_EQ(list.Objects(2), &two);
}

TEST(TStringList, IndexPastTheEndIsRefused) {
  TStringList list;
  Fill(list, {"a"});
  const std::vector<std::function<void(int)>> uses = {
      [&](int i) { list.Strings(i); },       [&](int i) { list.SetString(i, "x"); },
      [&](int i) { list.Objects(i); },       [&](int i) { list.SetObject(i, nullptr); },
      [&](int i) { list.Delete(i); },        [&](int i) { list.Names(i); },
      [&](int i) { list.ValueFromIndex(i); }};
  for (const auto& use : uses) {
    for (const int index : {1, -1}) {
      EXPECT_THAT([&] { use(index); },
                  ThrowsMessage<EStringListError>("List index out of bounds (" +
                                                  std::to_string(index) + ")"));
    }
  }
  EXPECT_THAT([&] { list.Insert(2, "x"); },
              ThrowsMessage<EStringListError>("List index out of bounds (2)"));
  EXPECT_THAT([&] { list.Insert(-1, "x"); },
              ThrowsMessage<EStringListError>("List index out of bounds (-1)"));
  EXPECT_THAT(Lines(list), ElementsAre("a"));
}

TEST(TStringList, FindsTheFirstOfEqualTextsWithoutRegardToCase) {
  TStringList list;
  Fill(list, {"Valve", "Насос", "НАСОС", ""});
  EXPECT_EQ(list.IndexOf("насос"), 1);
  EXPECT_EQ(list.IndexOf("VALVE"), 0);
  EXPECT_EQ(list.IndexOf(""), 3);
  EXPECT_EQ(list.IndexOf("Val"), -1);
}

TEST(TStringList, TakesItsOwnLinesAgain) {
  TStringList list;
  list.Add("name=value");
  EXPECT_EQ(list.Values("name"), "value");  // from here on names are kept with the lines
  for (int i = 0; i < 600; ++i) list.Add(list.Strings(i));
  EXPECT_EQ(list.Strings(600), "name=value");
  list.SetString(5, list.Strings(600));
  list.SetValue("other", list.Values("name"));
  EXPECT_EQ(list.Values("other"), "value");
  list.SetValue("name", list.Values("name"));
  EXPECT_EQ(list.Strings(0), "name=value");
}

// ---- name=value

TEST(TStringList, CutsALineAtItsFirstEqualsSign) {
  struct TCase {
    const char* Line;
    const char* Name;
    const char* Value;
  };
  for (const TCase& c : {TCase{"a=b", "a", "b"}, TCase{"a=b=c", "a", "b=c"}, TCase{"a=", "a", ""},
                         TCase{"=b", "", "b"}, TCase{"a", "", ""}, TCase{"", "", ""},
                         TCase{" a = b ", " a ", " b "}, TCase{"=", "", ""}}) {
    SCOPED_TRACE(c.Line);
    TStringList list;
    list.Add(c.Line);
    EXPECT_EQ(list.Names(0), c.Name);
    EXPECT_EQ(list.ValueFromIndex(0), c.Value);
  }
}

TEST(TStringList, LooksANameUpWithoutRegardToCase) {
  for (const bool sorted : {false, true}) {
    SCOPED_TRACE(sorted);
    TStringList list;
    list.SetSorted(sorted);
    Fill(list, {"0=Стоп", "НАСОС=вкл", "Pump", "pump=2", "pump1=3", "=empty", "a=b=c"});
    EXPECT_EQ(list.Values("насос"), "вкл");
    EXPECT_EQ(list.Values("PUMP"), "2") << "the line without an equals sign has no name";
    EXPECT_EQ(list.Values("0"), "Стоп");
    EXPECT_EQ(list.Values(""), "empty");
    EXPECT_EQ(list.Values("a"), "b=c");
    EXPECT_EQ(list.Values("a=b"), "");
    EXPECT_EQ(list.IndexOfName("a=b"), -1);
    EXPECT_EQ(list.IndexOfName("pum"), -1);
    EXPECT_EQ(list.Strings(list.IndexOfName("PUMP1")), "pump1=3");
  }
}

TEST(TStringList, LineWithoutAnEqualsSignHasNotEvenTheEmptyName) {
  for (const bool sorted : {false, true}) {
    TStringList list;
    list.SetSorted(sorted);
    Fill(list, {"Pump"});
    EXPECT_EQ(list.IndexOfName(""), -1);
    EXPECT_EQ(list.IndexOfName("Pump"), -1);
  }
}

TEST(TStringList, FirstOfEqualNamesCounts) {
  TStringList list;
  Fill(list, {"x", "A=1", "a=2"});
  EXPECT_EQ(list.IndexOfName("a"), 1);
  list.Delete(1);
  EXPECT_EQ(list.Values("A"), "2");
}

TEST(TStringList, SetValueAppendsReplacesAndRemoves) {
  TStringList list;
  list.SetValue("a", "1");
  list.SetValue("b", "2");
  EXPECT_THAT(Lines(list), ElementsAre("a=1", "b=2"));
  list.SetValue("A", "3");  // the last of two equal names replaces the first
  EXPECT_THAT(Lines(list), ElementsAre("A=3", "b=2"));
  list.SetValue("a", "");
  EXPECT_THAT(Lines(list), ElementsAre("b=2"));
  list.SetValue("a", "");
  EXPECT_THAT(Lines(list), ElementsAre("b=2"));
}

TEST(TStringList, NamesFollowEveryChangeOfTheLines) {
  TStringList list;
  Fill(list, {"a=1", "b=2"});
  const auto place = [&](const char* name) { return list.IndexOfName(name); };
  EXPECT_EQ(place("b"), 1);
  list.Insert(0, "c=3");
  EXPECT_EQ(place("b"), 2);
  list.Delete(0);
  EXPECT_EQ(place("b"), 1);
  list.SetString(0, "b=0");
  EXPECT_EQ(place("b"), 0);
  EXPECT_EQ(place("a"), -1);
  list.SetString(0, "b");
  EXPECT_EQ(place("b"), 1);
  list.SetString(0, "=b");
  EXPECT_EQ(place(""), 0);
  list.SetString(0, "B=7");
  EXPECT_EQ(place("b"), 0);
  list.Add("d=4");
  list.Add("d=5");
  EXPECT_EQ(place("d"), 2);
  list.Sort();
  EXPECT_EQ(place("d"), 2);
  list.SetText("z=1\nd=2");
  EXPECT_EQ(place("d"), 1);
  EXPECT_EQ(place("b"), -1);
  list.Clear();
  EXPECT_EQ(place("d"), -1);
}

TEST(TStringList, NamesEqualAPlainSearchUnderRandomChanges) {
  std::mt19937 random(11);
  const auto below = [&](int limit) {
    return std::uniform_int_distribution<int>(0, limit - 1)(random);
  };
  for (const bool sorted : {false, true}) {
    SCOPED_TRACE(sorted);
    TStringList list;
    list.SetSorted(sorted);
    list.SetDuplicates(TDuplicates::dupAccept);
    const auto line = [&] {
      const std::string name = std::string(below(2) == 0 ? "n" : "N") + std::to_string(below(30));
      return below(5) == 0 ? name : name + "=" + std::to_string(below(9));
    };
    for (int step = 0; step < 3000; ++step) {
      const int action = below(10);
      if (action < 4 || list.Count() == 0) {
        list.Add(line());
      } else if (action < 6) {
        list.Delete(below(list.Count()));
      } else if (!sorted && action == 6) {
        list.Insert(below(list.Count() + 1), line());
      } else if (!sorted && action == 7) {
        list.SetString(below(list.Count()), line());
      }
      const std::string name = "n" + std::to_string(below(30));
      int expected = 0;
      while (expected < list.Count() && (list.Strings(expected).find('=') == std::string::npos ||
                                         !SameText(list.Names(expected), name))) {
        ++expected;
      }
      ASSERT_EQ(list.IndexOfName(name), expected < list.Count() ? expected : -1) << step;
    }
  }
}

// ---- sorted lists

TEST(TStringList, SortedListKeepsTheOrderOfTheFoldedTexts) {
  TStringList list;
  list.SetSorted(true);
  EXPECT_EQ(list.Add("b"), 0);
  EXPECT_EQ(list.Add("A"), 0);
  EXPECT_EQ(list.Add("C"), 2);
  Fill(list, {"Я", "а", "Б", "_", "a1"});
  EXPECT_THAT(Lines(list), ElementsAre("_", "A", "a1", "b", "C", "а", "Б", "Я"));
}

TEST(TStringList, BecomingSortedSortsEqualOnesInTheirOrder) {
  TStringList list;
  Fill(list, {"b", "B", "a", "A", "ab"});
  list.SetSorted(true);
  EXPECT_TRUE(list.Sorted());
  EXPECT_THAT(Lines(list), ElementsAre("a", "A", "ab", "b", "B"));
  list.SetSorted(false);
  list.Add("0");
  EXPECT_EQ(list.Strings(5), "0");
}

TEST(TStringList, SortsManyEqualOnesInTheirOrder) {
  std::vector<TObject> objects(200);
  TStringList list;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    list.AddObject(i % 2 == 0 ? "a" : "A", &objects[i]);
  }
  list.Sort();
  for (std::size_t i = 0; i < objects.size(); ++i) {
    ASSERT_EQ(list.Objects(static_cast<int>(i)), &objects[i]);
  }
}

TEST(TStringList, DuplicatesInASortedList) {
  struct TCase {
    TDuplicates Duplicates;
    TTexts Lines;
  };
  TObject object;
  for (const TCase& c : {TCase{TDuplicates::dupIgnore, {"a", "b"}},
                         TCase{TDuplicates::dupAccept, {"A", "a", "b"}}}) {
    TStringList list;
    list.SetSorted(true);
    list.SetDuplicates(c.Duplicates);
    Fill(list, {"b", "a"});
    EXPECT_EQ(list.AddObject("A", &object), 0);
    EXPECT_EQ(Lines(list), c.Lines);
    EXPECT_EQ(list.Objects(0), c.Lines.size() == 3 ? &object : nullptr);
  }
}

TEST(TStringList, DuplicateIsRefusedWhereItIsAnError) {
  TStringList list;
  list.SetSorted(true);
  list.SetDuplicates(TDuplicates::dupError);
  Fill(list, {"Насос"});
  EXPECT_THAT([&] { list.Add("насос"); },
              ThrowsMessage<EStringListError>("String list does not allow duplicates"));
  EXPECT_EQ(list.Count(), 1);
}

TEST(TStringList, UnsortedListTakesDuplicatesWhateverTheSetting) {
  TStringList list;
  list.SetDuplicates(TDuplicates::dupError);
  Fill(list, {"a", "A"});
  EXPECT_EQ(list.Count(), 2);
}

TEST(TStringList, SortedListRefusesChangesByPosition) {
  TStringList list;
  list.SetSorted(true);
  Fill(list, {"a=1", "b=2"});
  const std::vector<std::function<void()>> uses = {
      [&] { list.SetString(0, "z"); },
      [&] { list.Insert(0, "z"); },
      [&] { list.SetValue("A", "2"); },
  };
  for (const auto& use : uses) {
    EXPECT_THAT(use, ThrowsMessage<EStringListError>("Operation not allowed on sorted list"));
  }
  list.SetValue("aa", "3");  // a new line has its place
  EXPECT_THAT(Lines(list), ElementsAre("a=1", "aa=3", "b=2"));
}

TEST(TStringList, FindTellsThePlaceOfATextThatIsAbsent) {
  TStringList list;
  list.SetSorted(true);
  Fill(list, {"b", "d", "f"});
  struct TCase {
    const char* Text;
    bool Found;
    int Index;
  };
  for (const TCase& c : {TCase{"a", false, 0}, TCase{"D", true, 1}, TCase{"e", false, 2},
                         TCase{"f", true, 2}, TCase{"g", false, 3}}) {
    int index = -7;
    EXPECT_EQ(list.Find(c.Text, index), c.Found) << c.Text;
    EXPECT_EQ(index, c.Index) << c.Text;
    EXPECT_EQ(list.IndexOf(c.Text), c.Found ? c.Index : -1);
  }
}

TEST(TStringList, SortedListTakesWholeTextsByItsRules) {
  TStringList list;
  list.SetSorted(true);
  list.SetText("b\na\nB\n");
  EXPECT_THAT(Lines(list), ElementsAre("a", "b"));
  list.SetDuplicates(TDuplicates::dupAccept);
  list.SetText("b\na\nB\n");
  EXPECT_THAT(Lines(list), ElementsAre("a", "B", "b"));
  list.SetDuplicates(TDuplicates::dupError);
  EXPECT_THAT([&] { list.SetText("x\nX\n"); },
              ThrowsMessage<EStringListError>("String list does not allow duplicates"));
  EXPECT_THAT(Lines(list), ElementsAre("a", "B", "b")) << "as before";
}

// ---- text and files

TEST(TStringList, TextEndsEveryLineByCrLf) {
  TStringList list;
  EXPECT_EQ(list.Text(), "");
  Fill(list, {"a", "", "b"});
  EXPECT_EQ(list.Text(), "a\r\n\r\nb\r\n");
}

TEST(TStringList, TakesEveryLineEnd) {
  struct TCase {
    const char* Text;
    TTexts Lines;
  };
  for (const TCase& c :
       {TCase{"", {}}, TCase{"a", {"a"}}, TCase{"a\r\nb", {"a", "b"}}, TCase{"a\nb\n", {"a", "b"}},
        TCase{"a\rb\r", {"a", "b"}}, TCase{"\r\n", {""}}, TCase{"\n\r\n\r", {"", "", ""}},
        TCase{"a\n\rb", {"a", "", "b"}}, TCase{"a\r\r\nb", {"a", "", "b"}}}) {
    TStringList list;
    list.Add("before");
    list.SetText(c.Text);
    EXPECT_EQ(Lines(list), c.Lines);
  }
}

TEST(TStringList, FileHasByteOrderMarkAndCrLf) {
  const TTempFolder folder;
  TStringList list;
  Fill(list, {"Насос=12", "b"});
  list.SaveToFile(folder.File("regs.txt"));
  EXPECT_EQ(folder.Read("regs.txt"), "\xEF\xBB\xBFНасос=12\r\nb\r\n");
}

TEST(TStringList, LoadsFilesOfEveryKind) {
  const TTempFolder folder;
  for (const std::string bytes :
       {"\xEF\xBB\xBFНасос=12\r\nb\r\n", "Насос=12\r\nb\r\n", "Насос=12\nb", "Насос=12\rb\r"}) {
    TStringList list;
    list.LoadFromFile(folder.Write("regs.txt", bytes));
    EXPECT_THAT(Lines(list), ElementsAre("Насос=12", "b"));
  }
}

TEST(TStringList, LoadsAnEmptyFile) {
  const TTempFolder folder;
  for (const std::string bytes : {"", "\xEF\xBB\xBF"}) {
    TStringList list;
    list.Add("before");
    list.LoadFromFile(folder.Write("empty.txt", bytes));
    EXPECT_EQ(list.Count(), 0);
  }
}

TEST(TStringList, SavedAndLoadedIsTheSame) {
  const TTempFolder folder;
  TStringList saved;
  Fill(saved, {"", "a=b", "", "Ωμέγα", "\xFF\xFE not UTF-8", " blanks "});
  saved.SaveToFile(folder.File("list.txt"));
  TStringList loaded;
  loaded.LoadFromFile(folder.File("list.txt"));
  EXPECT_TRUE(loaded.Equals(saved));
}

TEST(TStringList, FileThatIsAbsentIsNamedAndNothingHasChanged) {
  const TTempFolder folder;
  TStringList list;
  list.Add("before");
  const std::string name = folder.File("absent.txt");
  EXPECT_THAT(
      [&] { list.LoadFromFile(name); },
      ThrowsMessage<EStreamError>("Can't read \"" + name + "\": No such file or directory"));
  EXPECT_THAT(Lines(list), ElementsAre("before"));
}

TEST(TStringList, FileThatCantBeWrittenIsNamed) {
  const TTempFolder folder;
  const std::string name = folder.File("absent/list.txt");
  EXPECT_THAT(
      [&] { TStringList().SaveToFile(name); },
      ThrowsMessage<EStreamError>("Can't write \"" + name + "\": No such file or directory"));
}

// ---- whole lists

TEST(TStringList, AssignTakesLinesAndObjectsButNotTheOrder) {
  TObject object;
  TStringList from;
  from.AddObject("b", &object);
  from.Add("a");
  TStringList to;
  Fill(to, {"x=1"});
  EXPECT_EQ(to.IndexOfName("x"), 0);
  to.Assign(from);
  EXPECT_THAT(Lines(to), ElementsAre("b", "a"));
  EXPECT_EQ(to.Objects(0), &object);
  EXPECT_EQ(to.IndexOfName("x"), -1);
  to.Assign(to);
  EXPECT_EQ(to.Count(), 2);
  to.SetSorted(true);
  to.Assign(from);
  EXPECT_THAT(Lines(to), ElementsAre("a", "b"));
  EXPECT_EQ(to.Objects(1), &object);
}

TEST(TStringList, AssignOfAnythingElseIsRefused) {
  TStringList list;
  list.Add("before");
  const TPersistent other;
  EXPECT_THAT([&] { list.Assign(other); },
              ThrowsMessage<EConvertError>("Cannot assign a TPersistent to a TStringList"));
  EXPECT_EQ(list.Count(), 1);
}

TEST(TStringList, EqualMeansSameLinesCaseIncluded) {
  TStringList a;
  TStringList b;
  EXPECT_TRUE(a.Equals(b));
  Fill(a, {"x", "y"});
  Fill(b, {"x"});
  EXPECT_FALSE(a.Equals(b));
  b.Add("Y");
  EXPECT_FALSE(a.Equals(b));
  b.SetString(1, "y");
  EXPECT_TRUE(a.Equals(b));
}

// ---- notification

TEST(TStringList, TellsEveryChangeOnceAndNothingElse) {
  TStringList list;
  int told = 0;
  list.OnChange = [&](TStringList& changed) {
    EXPECT_EQ(&changed, &list);
    ++told;
  };
  TStringList other;
  Fill(other, {"c=1", "b", "a"});
  struct TCase {
    const char* What;
    std::function<void()> Do;
    int Told;
  };
  const std::vector<TCase> cases = {
      {"add", [&] { list.Add("a"); }, 1},
      {"insert", [&] { list.Insert(0, "b"); }, 1},
      {"set string", [&] { list.SetString(0, "c"); }, 1},
      {"set object", [&] { list.SetObject(0, nullptr); }, 1},
      {"set value", [&] { list.SetValue("x", "1"); }, 1},
      {"delete", [&] { list.Delete(0); }, 1},
      {"read", [&] { list.Values("x"); }, 0},
      {"assign", [&] { list.Assign(other); }, 1},
      {"text", [&] { list.SetText("q\nb\na"); }, 1},
      {"sort", [&] { list.Sort(); }, 1},
      {"be sorted", [&] { list.SetSorted(true); }, 1},
      {"be sorted again", [&] { list.SetSorted(true); }, 0},
      {"text while sorted", [&] { list.SetText("q\nb\na"); }, 1},
      {"duplicate ignored", [&] { list.Add("Q"); }, 0},
      {"refused", [&] { EXPECT_THROW(list.Insert(0, "x"), EStringListError); }, 0},
      {"clear", [&] { list.Clear(); }, 1},
      {"clear again", [&] { list.Clear(); }, 0},
  };
  for (const TCase& c : cases) {
    SCOPED_TRACE(c.What);
    told = 0;
    const auto before = list.Revision();
    c.Do();
    EXPECT_EQ(told, c.Told);
    EXPECT_EQ(list.Revision() - before, static_cast<std::uint64_t>(c.Told));
  }
}

TEST(TStringList, HandlerOfTheChangeThatSortsAddsALine) {
  TStringList list;
  Fill(list, {"c", "b"});
  list.OnChange = [](TStringList& changed) {
    changed.OnChange = nullptr;
    changed.Add("a");
  };
  list.SetSorted(true);
  EXPECT_THAT(Lines(list), ElementsAre("a", "b", "c"));
}

TEST(TStringList, HandlerOfAChangeDestroysTheList) {
  auto list = std::make_unique<TStringList>();
  list->OnChange = [&](TStringList&) { list.reset(); };
  list->SetText("b\na");
  EXPECT_EQ(list, nullptr);
  list = std::make_unique<TStringList>();
  list->OnChange = [&](TStringList&) { list.reset(); };
  list->SetSorted(true);
  EXPECT_EQ(list, nullptr);
}

// ---- long lists: a cost that grows with the square of the length would run for minutes

constexpr int kMany = 100'000;

std::vector<int> Shuffled() {
  std::vector<int> numbers(kMany);
  for (int i = 0; i < kMany; ++i) numbers[static_cast<std::size_t>(i)] = i;
  std::ranges::shuffle(numbers, std::mt19937(12));
  return numbers;
}

TEST(TStringList, HundredThousandLinesIntoASortedList) {
  TStringList list;
  list.SetSorted(true);
  for (const int number : Shuffled()) list.Add("Reg" + std::to_string(number));
  ASSERT_EQ(list.Count(), kMany);
  for (int i = 1; i < kMany; ++i) {
    ASSERT_LT(CompareText(list.Strings(i - 1), list.Strings(i)), 0);
  }
  EXPECT_EQ(list.Strings(list.IndexOf("reg77777")), "Reg77777");
}

TEST(TStringList, HundredThousandValuesSetAndRead) {
  TStringList list;
  for (const int number : Shuffled()) list.SetValue("Reg" + std::to_string(number), "1");
  ASSERT_EQ(list.Count(), kMany);
  for (const int number : Shuffled()) list.SetValue("REG" + std::to_string(number), "2");
  ASSERT_EQ(list.Count(), kMany);
  for (int i = 0; i < kMany; ++i) ASSERT_EQ(list.Values("reg" + std::to_string(i)), "2");
}

TEST(TStringList, HundredThousandValuesIntoASortedList) {
  TStringList list;
  list.SetSorted(true);
  for (const int number : Shuffled()) list.SetValue("Reg" + std::to_string(number), "1");
  ASSERT_EQ(list.Count(), kMany);
  for (int i = 0; i < kMany; ++i) ASSERT_EQ(list.Values("reg" + std::to_string(i)), "1");
}

}  // namespace
}  // namespace OrvixModBus
