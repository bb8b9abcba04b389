#include "tools/korvane/copy_orders.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <stdexcept>

#include <boost/algorithm/hex.hpp>
#include <nlohmann/json.hpp>

#include "tools/korvane/shallow_json.h"

namespace korvane::tools {

namespace {

using Json = nlohmann::json;
using sqlite::BlockDigest;
using std::chrono::milliseconds;
using std::chrono::system_clock;

std::int64_t time_number(system_clock::time_point time) {
  return std::chrono::duration_cast<milliseconds>(time.time_since_epoch()).count();
}

/// Of the years that there are files from. Others would overflow when they are counted with.
system_clock::time_point time_of(const Json& json) {
  constexpr std::int64_t kMost = 9'000'000'000'000;  // in the year 2255
  const auto number = json.get<std::int64_t>();
  if (number < 0 || number > kMost) throw std::runtime_error("no time");
  return system_clock::time_point(milliseconds(number));
}

/// Whether it is the name of a file in a folder, or in one below it.
bool is_below_folder(const std::string& name) {
  const std::filesystem::path path(name);
  return !name.empty() && path.is_relative() &&
         std::none_of(path.begin(), path.end(), [](const auto& part) { return part == ".."; });
}

std::string digests_text(const std::vector<BlockDigest>& digests) {
  std::string text;
  text.reserve(digests.size() * sizeof(BlockDigest) * 2);
  for (const BlockDigest& digest : digests) {
    boost::algorithm::hex_lower(digest.begin(), digest.end(), std::back_inserter(text));
  }
  return text;
}

std::vector<BlockDigest> digests_of(const std::string& text) {
  const std::string bytes = boost::algorithm::unhex(text);
  std::vector<BlockDigest> digests(bytes.size() / sizeof(BlockDigest));
  for (std::size_t i = 0; i < digests.size(); ++i) {
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(i * sizeof(BlockDigest)),
                sizeof(BlockDigest), digests[i].begin());
  }
  return digests;
}

}  // namespace

std::string announcement_text(const sqlite::AnnouncedState& state) {
  return Json{{"bytes", state.blocks.bytes},
              {"block_bytes", state.blocks.block_bytes},
              {"blocks", digests_text(state.blocks.digests)},
              {"content", state.content},
              {"source", state.source},
              {"taken", time_number(state.taken)},
              {"permissions", state.permissions}}
      .dump(-1, ' ', true, Json::error_handler_t::replace);
}

sqlite::AnnouncedState announcement_of(std::string_view text) {
  constexpr std::size_t kMostText = 2048;  // a note must be able to hold them
  const Json json = shallow_json(text);
  sqlite::AnnouncedState state;
  state.blocks.bytes = json.at("bytes").get<std::uint64_t>();
  state.blocks.block_bytes = json.at("block_bytes").get<std::size_t>();
  state.blocks.digests = digests_of(json.at("blocks").get<std::string>());
  state.content = json.at("content").get<std::string>();
  state.source = json.at("source").get<std::string>();
  if (state.content.size() + state.source.size() > kMostText) throw std::runtime_error("too long");
  state.taken = time_of(json.at("taken"));
  // Nobody gets to run it, or to write to it who is not the server.
  constexpr ::mode_t kMost = 0644;
  constexpr ::mode_t kLeast = 0600;
  state.permissions = (json.at("permissions").get<::mode_t>() & kMost) | kLeast;
  return state;
}

std::string transfer_text(const std::string& id, const std::vector<std::size_t>& missing) {
  Json runs = Json::array();
  for (const std::size_t block : missing) {
    if (!runs.empty() &&
        runs.back()[0].get<std::size_t>() + runs.back()[1].get<std::size_t>() == block) {
      runs.back()[1] = runs.back()[1].get<std::size_t>() + 1;
    } else {
      runs.push_back({block, 1});
    }
  }
  return Json{{"transfer", id}, {"missing", std::move(runs)}}.dump();
}

Transfer transfer_of(std::string_view text) {
  const Json json = shallow_json(text);
  Transfer transfer;
  transfer.id = json.at("transfer").get<std::string>();
  for (const Json& run : json.at("missing")) {
    transfer.missing.emplace_back(run.at(0).get<std::size_t>(), run.at(1).get<std::size_t>());
  }
  return transfer;
}

std::string finished_text(const sqlite::StandingCopy& copy) {
  return Json{{"header", boost::algorithm::hex_lower(copy.header)}, {"is_written", copy.is_written}}
      .dump();
}

sqlite::StandingCopy finished_of(std::string_view text) {
  const Json json = shallow_json(text);
  sqlite::StandingCopy copy;
  copy.header = boost::algorithm::unhex(json.at("header").get<std::string>());
  copy.is_written = json.at("is_written").get<bool>();
  return copy;
}

std::string notes_text(const std::map<std::string, sqlite::CopyNote>& notes) {
  Json copies = Json::object();
  for (const auto& [name, note] : notes) {
    copies[name] = {{"header", boost::algorithm::hex_lower(note.header)},
                    {"source", note.source},
                    {"taken", time_number(note.taken)}};
  }
  return Json{{"copies", std::move(copies)}}.dump(-1, ' ', true, Json::error_handler_t::replace);
}

std::map<std::string, sqlite::CopyNote> notes_of(std::string_view text) {
  const Json json = shallow_json(text);
  std::map<std::string, sqlite::CopyNote> notes;
  for (const auto& [name, known] : json.at("copies").items()) {
    if (!is_below_folder(name)) throw std::runtime_error("a name that is no copy's");
    sqlite::CopyNote note;
    note.header = boost::algorithm::unhex(known.at("header").get<std::string>());
    note.source = known.at("source").get<std::string>();
    note.taken = time_of(known.at("taken"));
    notes.emplace(name, std::move(note));
  }
  return notes;
}

}  // namespace korvane::tools
