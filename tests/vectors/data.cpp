#include "data.h"

#include <filesystem>
#include <fstream>
#include <set>

namespace OrvixModBus::Vectors {

std::vector<Json> LoadAllVectors(const std::string& sourceFolder) {
  using std::filesystem::recursive_directory_iterator;
  std::set<std::filesystem::path> files;
  for (const auto& entry : recursive_directory_iterator(sourceFolder + "/tests/data/vectors")) {
    if (entry.path().extension() == ".jsonl") files.insert(entry.path());
  }
  std::vector<Json> vectors;
  for (const auto& path : files) {
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) vectors.push_back(Json::parse(line));
  }
  return vectors;
}

}  // namespace OrvixModBus::Vectors
