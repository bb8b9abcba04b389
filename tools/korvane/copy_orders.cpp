#include "tools/korvane/copy_orders.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <limits>
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

/// A whole number; others would be made one.
std::uint64_t number_of(const Json& json, std::uint64_t most) {
  if (!json.is_number_unsigned()) throw std::runtime_error("expected a whole number");
  const auto number = json.get<std::uint64_t>();
  if (number > most) throw std::runtime_error("expected a number up to " + std::to_string(most));
  return number;
}

/// What becomes part of a note.
std::string plain_text_of(const Json& json) {
  auto text = json.get<std::string>();
  const bool is_plain =
      std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
  if (!is_plain) throw std::runtime_error("expected letters of ASCII");
  return text;
}

system_clock::time_point time_of(const Json& json) {
  return system_clock::time_point(milliseconds(number_of(json, sqlite::kLatestTaken)));
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
  if (bytes.size() % sizeof(BlockDigest) != 0) throw std::runtime_error("expected whole digests");
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
  state.blocks.bytes = number_of(json.at("bytes"), std::numeric_limits<std::int64_t>::max());
  state.blocks.block_bytes = number_of(json.at("block_bytes"), sqlite::BlockList::kMostBytes);
  state.blocks.digests = digests_of(json.at("blocks").get<std::string>());
  state.content = plain_text_of(json.at("content"));
  state.source = plain_text_of(json.at("source"));
  if (state.content.size() + state.source.size() > kMostText) throw std::runtime_error("too long");
  state.taken = time_of(json.at("taken"));
  // Nobody gets to run it, or to write to it who is not the server.
  constexpr ::mode_t kMost = 0644;
  constexpr ::mode_t kLeast = 0600;
  const auto permissions = static_cast<::mode_t>(number_of(json.at("permissions"), 07777));
  state.permissions = (permissions & kMost) | kLeast;
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
    const auto block = [&](std::size_t place) {
      return number_of(run.at(place), sqlite::BlockList::kMostBlocks);
    };
    transfer.missing.emplace_back(block(0), block(1));
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
