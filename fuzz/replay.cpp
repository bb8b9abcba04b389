// Runs a fuzz target over the files that are named, or lie in folders that are named, without
// libFuzzer. The name of each file goes before it: the last one told is the one that failed.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <span>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int count, char** arguments) {
  namespace fs = std::filesystem;
  std::vector<fs::path> files;
  for (const char* const argument :
       std::span(arguments, static_cast<std::size_t>(count)).subspan(1)) {
    if (!fs::is_directory(argument)) {
      files.emplace_back(argument);
      continue;
    }
    for (const auto& entry : fs::directory_iterator(argument)) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) {
    std::cout << file.filename().string() << std::endl;
    std::ifstream input(file, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(input), {}};
    if (!input) {
      std::cerr << "cannot read " << file << '\n';
      return 1;
    }
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::cout << files.size() << " inputs\n";
  return files.empty() ? 1 : 0;
}
