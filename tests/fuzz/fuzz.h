#pragma once
// fuzz: what a fuzz target is, for libFuzzer and for the replay of its corpus.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace OrvixModBus {

/// Each target defines this one: deals with any input, and requires what must hold.
void FuzzOne(std::string_view input);

/// Ends the program, with the text on standard error, when the condition does not hold.
void Require(bool condition, const char* text);

}  // namespace OrvixModBus
