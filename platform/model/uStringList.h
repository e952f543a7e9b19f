#pragma once
// uStringList: ordered texts, each with an object, read as name=value lines where wanted.

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

#include "platform/model/uChunkedList.h"
#include "platform/model/uEvent.h"
#include "platform/model/uPersistent.h"
#include "platform/rtl/uException.h"

namespace OrvixModBus {

/// What a string list refuses: positional changes of a sorted list, duplicates.
class EStringListError : public EListError {
 public:
  using EListError::EListError;
};

/// What a sorted list does with a text that it holds already.
enum class TDuplicates { dupIgnore, dupAccept, dupError };

/// Ordered lines of text (UTF-8), each with an object that the list refers to but does not own.
/// Texts and names are compared without regard to case. Every index past the end is an
/// EStringListError. Looking up a name, and adding to a sorted list, cost the same in a long list
/// as in a short one, up to a logarithm; but the first look-up after a line has left an unsorted
/// list, or was put into its middle, goes through all lines.
class TStringList : public TPersistent {
 public:
  int Count() const { return static_cast<int>(fLines.size()); }
  const std::string& Strings(int index) const;
  /// EStringListError while sorted.
  void SetString(int index, std::string_view text);
  TObject* Objects(int index) const;
  void SetObject(int index, TObject* object);

  /// Appends text, or puts it in its place in a sorted list; returns its index (of the text that
  /// was there already, when duplicates are ignored).
  int Add(std::string_view text) { return AddObject(text, nullptr); }
  int AddObject(std::string_view text, TObject* object);
  /// EStringListError while sorted.
  void Insert(int index, std::string_view text);
  void Delete(int index);
  void Clear();

  /// The index of text, the first one of equal ones; -1 when absent.
  int IndexOf(std::string_view text) const;
  /// In a sorted list: true and the index of text, or false and the index where it belongs.
  bool Find(std::string_view text, int& index) const;

  /// The line's text before its first "="; empty when it has none.
  std::string_view Names(int index) const;
  /// The line's text after its first "="; empty when it has none.
  std::string_view ValueFromIndex(int index) const;
  /// The index of the first line of that name; -1 when absent.
  int IndexOfName(std::string_view name) const;
  /// The value of the first line of that name; empty when absent.
  std::string_view Values(std::string_view name) const;
  /// Replaces the first line of that name, or appends one; an empty value removes the line.
  void SetValue(std::string_view name, std::string_view value);

  bool Sorted() const { return fSorted; }
  /// Setting it true sorts the lines now and keeps them sorted.
  void SetSorted(bool value);
  TDuplicates Duplicates() const { return fDuplicates; }
  void SetDuplicates(TDuplicates value) { fDuplicates = value; }
  /// Sorts the lines once, equal ones in the order in which they stood.
  void Sort();

  /// All lines, each followed by CR LF. Setting takes CR, LF and CR LF as line ends.
  std::string Text() const;
  void SetText(std::string_view text);
  /// The file's lines, UTF-8, with or without byte-order mark. EStreamError names the file and
  /// the system's reason, and the list is unchanged.
  void LoadFromFile(const std::string& fileName);
  /// Byte-order mark, lines, CR LF. The file is replaced whole or not at all: EStreamError.
  void SaveToFile(const std::string& fileName) const;

  /// Takes over the lines and objects of another string list; a sorted list takes them as Add
  /// does, and a duplicate that it refuses leaves it as it was.
  void Assign(const TPersistent& source) override;
  /// Same lines (case matters) in the same order.
  bool Equals(const TStringList& other) const;

  /// Raised after every change. Must not throw.
  TEvent<void(TStringList&)> OnChange;
  /// Grows with every change: tells a cache its age.
  std::uint64_t Revision() const { return fRevision; }

  static const TClassInfo& StaticClass();
  const TClassInfo& ClassInfo() const override { return StaticClass(); }

 private:
  struct TLine {
    std::string Text;
    TObject* Object;
  };

  std::size_t CheckIndex(int index) const;
  void RefuseIfSorted() const;
  std::size_t PlaceOf(std::string_view text) const;
  void InsertLine(std::size_t index, std::string_view text, TObject* object);
  void SortLines();
  void LearnName(std::string_view line, std::size_t index);
  void IndexNames() const;
  void Changed();

  TChunkedList<TLine> fLines;
  // First line of each folded name, for unsorted lists; built when first asked for, kept while
  // lines are appended or take new values.
  mutable std::unordered_map<std::string, int> fNames;
  mutable bool fNamesKnown = false;
  std::uint64_t fRevision = 0;
  TDuplicates fDuplicates = TDuplicates::dupIgnore;
  bool fSorted = false;
};

using TStrings = TStringList;

}  // namespace OrvixModBus
