#pragma once
// uFold: comparing names without case: Latin, Greek and Cyrillic alike.

#include <cstddef>
#include <string>
#include <string_view>

namespace OrvixModBus {

/// The lower-case partner of a character (simple folding of the Unicode Standard, one to one), for
/// Latin with its extensions A and B, Greek and Cyrillic; any other character is its own partner.
char32_t FoldChar(char32_t code);

/// The text with every character folded: two names are the same when their folded texts are equal.
/// Bytes that are no UTF-8 pass unchanged.
std::string FoldCase(std::string_view text);

bool SameText(std::string_view a, std::string_view b);

/// Below 0, 0 or above 0: the order of the folded texts, character by character; bytes that are no
/// UTF-8 come after every character.
int CompareText(std::string_view a, std::string_view b);

/// Equal for texts that SameText holds for equal.
std::size_t HashText(std::string_view text);

}  // namespace OrvixModBus
