// vector_replay FILE...: holds the library against files of golden vectors.

#include <iostream>

#include "replay.h"

int main(int argc, char** argv) {
  namespace Vectors = OrvixModBus::Vectors;
  if (argc < 2) {
    std::cerr << "usage: vector_replay FILE...\n";
    return Vectors::kCouldNotJudge;
  }
  return Vectors::ReplayFiles({argv + 1, argv + argc}, std::cout);
}
