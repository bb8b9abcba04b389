#include "sqlite/copy_note.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <system_error>

#include <boost/algorithm/hex.hpp>
#include <nlohmann/json.hpp>

#include "sqlite/file_content.h"
#include "sqlite/folder_entry.h"

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;
/// More than any note has.
constexpr std::size_t kMostBytes = 4096;

}  // namespace

std::string note_name(const std::string& copy) {
  const fs::path path(copy);
  return (path.parent_path() / ("." + path.filename().string() + ".copy")).string();
}

std::optional<CopyNote> read_note(const std::string& copy) {
  const std::optional<std::string> text = first_bytes(note_name(copy), kMostBytes);
  if (!text) return std::nullopt;
  try {
    const Json json = Json::parse(*text);
    const Json& taken = json.at("taken");
    const bool is_known = json.at("version") == kVersion && json.at("file").is_number_unsigned() &&
                          taken.is_number_unsigned() && taken <= kLatestTaken;
    if (!is_known) return std::nullopt;
    CopyNote note;
    note.header = boost::algorithm::unhex(json.at("header").get<std::string>());
    note.file = json.at("file").get<std::uint64_t>();
    note.content = json.at("content").get<std::string>();
    note.next = json.at("next").get<std::string>();
    note.source = json.at("source").get<std::string>();
    note.taken =
        std::chrono::system_clock::time_point(std::chrono::milliseconds(taken.get<std::int64_t>()));
    return note;
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

void write_note(const std::string& copy, const CopyNote& note, ::mode_t permissions) {
  const auto taken =
      std::chrono::duration_cast<std::chrono::milliseconds>(note.taken.time_since_epoch());
  const Json json = {{"version", kVersion},   {"header", boost::algorithm::hex_lower(note.header)},
                     {"file", note.file},     {"content", note.content},
                     {"next", note.next},     {"source", note.source},
                     {"taken", taken.count()}};
  FolderEntry entry(note_name(copy), permissions);
  entry.overwrite(0, json.dump(-1, ' ', true) + "\n");
  entry.put_in_place(FolderEntry::IfThere::replace);
}

void remove_note(const std::string& copy) {
  std::error_code none;
  fs::remove(note_name(copy), none);
}

}  // namespace korvane::sqlite
