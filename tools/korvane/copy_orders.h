#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sqlite/copy_note.h"
#include "sqlite/received_copy.h"
#include "sqlite/standing_copy.h"

/// What `korvane replicate` and a server that takes its copies say to each other: the orders of
/// POST /v1/copies (no file: list, report) and POST /v1/copies/{file}?order=… (begin, blocks, finish,
/// remove). Bodies and answers are JSON, but for the bytes of blocks. Both are of one version of
/// korvane, or of neighbours: nobody else is meant to speak so.
///
/// What reads a text throws std::exception for one that is not what it is to be.
namespace korvane::tools {

constexpr const char* kListOrder = "list";
constexpr const char* kReportOrder = "report";
constexpr const char* kBeginOrder = "begin";
constexpr const char* kBlocksOrder = "blocks";
constexpr const char* kFinishOrder = "finish";
constexpr const char* kRemoveOrder = "remove";

/// The most bytes of blocks in one order.
constexpr std::size_t kBlockBytesOfOrder = std::size_t{4} << 20U;
/// More than any state takes that is announced.
constexpr std::size_t kMostAnnouncementBytes = std::size_t{6} << 20U;

std::string announcement_text(const sqlite::AnnouncedState& state);
sqlite::AnnouncedState announcement_of(std::string_view text);

/// What a server answers to an announcement.
struct Transfer {
  std::string id;
  /// Blocks that it lacks, in order: the first of a run, and how many there are.
  std::vector<std::pair<std::size_t, std::size_t>> missing;
};

std::string transfer_text(const std::string& id, const std::vector<std::size_t>& missing);
Transfer transfer_of(std::string_view text);

/// What a server answers once a copy is finished.
std::string finished_text(const sqlite::StandingCopy& copy);
/// Its header, and whether it was written.
sqlite::StandingCopy finished_of(std::string_view text);

/// What a server knows of its copies.
std::string notes_text(const std::map<std::string, sqlite::CopyNote>& notes);
std::map<std::string, sqlite::CopyNote> notes_of(std::string_view text);

}  // namespace korvane::tools
