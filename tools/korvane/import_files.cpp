#include "tools/korvane/import_files.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>

namespace korvane::tools {

namespace {

constexpr const char* kStandardInput = "-";

/// Of all sources together: millions of bars.
constexpr std::size_t kMostBytes = std::size_t{2} << 30U;

bool is_import_file(const std::filesystem::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return extension == ".abs" || extension == ".json";
}

std::vector<std::string> files_in(const std::string& folder) {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file() && is_import_file(entry.path())) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::string> files_of(const std::vector<std::string>& arguments) {
  std::vector<std::string> files;
  std::set<std::filesystem::path> known;
  const auto add = [&](const std::string& file) {
    std::error_code failure;
    const std::filesystem::path one_name = file == kStandardInput
                                               ? std::filesystem::path(file)
                                               : std::filesystem::canonical(file, failure);
    // What has no name of its own, such as a pipe, is not the same as anything else.
    if (failure || known.insert(one_name).second) files.push_back(file);
  };
  for (const std::string& argument : arguments) {
    if (argument != kStandardInput && !std::filesystem::exists(argument)) {
      throw std::runtime_error("no file or folder " + argument);
    }
    if (argument != kStandardInput && std::filesystem::is_directory(argument)) {
      for (const std::string& file : files_in(argument)) add(file);
    } else {
      add(argument);
    }
  }
  return files;
}

[[noreturn]] void refuse(const std::string& name) {
  throw std::runtime_error("cannot read " + name + ": " + std::strerror(errno));
}

/// Takes what it reads off `room`.
std::string rest_of(std::FILE* input, const std::string& name, std::size_t& room) {
  std::string text;
  std::array<char, 1U << 16U> part{};
  while (const std::size_t size = std::fread(part.data(), 1, part.size(), input)) {
    if (size > room) {
      throw std::runtime_error(name + ": there are more than " + std::to_string(kMostBytes) +
                               " bytes to import");
    }
    room -= size;
    text.append(part.data(), size);
  }
  if (std::ferror(input) != 0) refuse(name);
  return text;
}

std::string text_in(const std::string& file, std::size_t& room) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> input(std::fopen(file.c_str(), "rb"),
                                                              &std::fclose);
  if (!input) refuse(file);
  return rest_of(input.get(), file, room);
}

}  // namespace

std::vector<schedule::Source> read_import_files(const std::vector<std::string>& arguments) {
  std::vector<schedule::Source> sources;
  std::size_t room = kMostBytes;
  for (const std::string& file : files_of(arguments)) {
    if (file == kStandardInput) {
      sources.push_back({"standard input", rest_of(stdin, "the standard input", room)});
    } else {
      sources.push_back({file, text_in(file, room)});
    }
  }
  return sources;
}

}  // namespace korvane::tools
