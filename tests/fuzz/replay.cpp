// Runs a fuzz target over the files of its corpus, once each, where there is no libFuzzer.

#include <filesystem>
#include <iostream>

#include "platform/rtl/uTextFile.h"
#include "tests/fuzz/fuzz.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: replay CORPUS\n";
    return 2;
  }
  int count = 0;
  for (const auto& file : std::filesystem::directory_iterator(argv[1])) {
    std::cout << file.path().filename().string() << std::endl;
    OrvixModBus::FuzzOne(OrvixModBus::ReadWholeFile(file.path().string()));
    ++count;
  }
  return count > 0 ? 0 : 1;
}
