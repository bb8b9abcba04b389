#include "bench/bench.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <signal.h>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <unistd.h>

#include <nlohmann/json.hpp>

#include "contracts/cad/material.h"
#include "contracts/cad/rebar.h"
#include "contracts/cad/sheet.h"
#include "contracts/encoding/record_codec.h"

namespace korvane::bench {

namespace fs = std::filesystem;

namespace {

std::string bytes_from_hex(const std::string& hex) {
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
    bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  }
  return bytes;
}

template <class T>
T typical_record(std::string_view contract) {
  std::ifstream lines(KORVANE_TEST_DATA "/encoding/typical.jsonl");
  for (std::string line; std::getline(lines, line);) {
    const auto vector = nlohmann::json::parse(line);
    if (vector["struct"] != contract) continue;
    const std::string bytes = bytes_from_hex(vector["hex"].get<std::string>());
    return encoding::decode<T>(bytes.data(), static_cast<std::uint32_t>(bytes.size()));
  }
  throw std::runtime_error("no typical " + std::string(contract));
}

constexpr std::string_view kFolderPrefix = "korvane-bench-";

/// A run that was broken off has left its folder, with a gigabyte in it at worst.
void remove_left_folders(const fs::path& parent) {
  for (const auto& entry : fs::directory_iterator(parent)) {
    const std::string name = entry.path().filename().string();
    if (!name.starts_with(kFolderPrefix)) continue;
    const int process = std::atoi(name.c_str() + kFolderPrefix.size());
    const bool is_over = process > 0 && kill(process, 0) != 0 && errno == ESRCH;
    std::error_code ignored;
    if (is_over) fs::remove_all(entry.path(), ignored);
  }
}

class ScratchFolder {
 public:
  ScratchFolder() {
    const fs::path memory = "/dev/shm";
    const bool is_told = std::getenv("TMPDIR") != nullptr;
    const fs::path parent =
        !is_told && fs::is_directory(memory) ? memory : fs::temp_directory_path();
    remove_left_folders(parent);
    path = parent / (std::string(kFolderPrefix) + std::to_string(getpid()));
    fs::create_directories(path);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path, ignored);
  }

  fs::path path;
};

}  // namespace

template <>
model::cad::Rebar typical() {
  return typical_record<model::cad::Rebar>("Rebar");
}
template <>
model::cad::Material typical() {
  return typical_record<model::cad::Material>("Material");
}
template <>
model::cad::Sheet typical() {
  return typical_record<model::cad::Sheet>("Sheet");
}

const fs::path& scratch_folder() {
  static const ScratchFolder folder;
  return folder.path;
}

ScratchFile::ScratchFile() {
  static int count = 0;
  name_ = (scratch_folder() / (std::to_string(++count) + ".db")).string();
}

ScratchFile::~ScratchFile() {
  std::error_code ignored;
  fs::remove(name_, ignored);
}

}  // namespace korvane::bench
