#include "tools/korvane/served_copies.h"

#include <algorithm>
#include <charconv>
#include <csignal>
#include <exception>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <climits>

#include "host/access/folder_walk.h"
#include "host/http/message.h"
#include "host/watch/json_log.h"
#include "sqlite/copy_note.h"
#include "sqlite/database.h"
#include "sqlite/schema_check.h"
#include "sqlite/standing_copy.h"
#include "tools/korvane/copy_orders.h"

namespace korvane::tools {

using host::HttpFault;

namespace fs = std::filesystem;

namespace {

/// How long an order waits for others' locks on its copy.
sqlite::CopyOptions quickly() {
  sqlite::CopyOptions options;
  options.wait = std::chrono::seconds(5);
  return options;
}

/// So much longer is the name of what becomes the note beside the copy.
constexpr std::size_t kMostNameBytes =
    NAME_MAX - std::string_view("..").size() - std::string_view(".copy.part").size();

HttpFault busy(const std::string& text) { return {503, text, {{"Retry-After", "1"}}}; }

/// What is in a body, or fails as the client's fault.
template <class Read>
auto read_body(Read read) {
  try {
    return read();
  } catch (const std::exception& failure) {
    throw HttpFault(400,
                    std::string("the body is not what korvane replicate sends: ") + failure.what());
  }
}

std::size_t block_number(const std::string& text) {
  std::size_t number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool is_number = failure == std::errc() && end == text.data() + text.size() &&
                         number <= sqlite::BlockList::kMostBlocks;
  if (!is_number)
    throw HttpFault(400, "the parameter first is \"" + text + "\"; expected a number");
  return number;
}

/// The work on a copy, with its failures as clients know them.
template <class Work>
auto answered(const std::string& file, Work work) {
  try {
    return work();
  } catch (const sqlite::WrittenElsewhere& failure) {
    throw HttpFault(host::problem("written-elsewhere"), failure.what());
  } catch (const sqlite::NotAProject& failure) {
    throw HttpFault(host::problem("not-a-project"), failure.what());
  } catch (const std::invalid_argument& failure) {
    throw HttpFault(400, failure.what());
  } catch (const sqlite::DatabaseError& failure) {
    const int code = failure.code() & 0xFF;
    if (code == SQLITE_BUSY || code == SQLITE_LOCKED) {
      throw HttpFault(host::problem("locked"), failure.what(), {{"Retry-After", "1"}});
    }
    throw HttpFault(500, failure.what());
  } catch (const HttpFault&) {
    throw;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& failure) {
    throw HttpFault(500, "no copy of " + file + ": " + failure.what());
  }
}

/// Of `path`, if it is the note of a copy that is whole.
void add_note(const fs::path& path, std::map<std::string, sqlite::CopyNote>& notes) {
  constexpr std::string_view kEnding = ".copy";
  const std::string name = path.filename().string();
  if (!name.starts_with('.') || !name.ends_with(kEnding)) return;
  const fs::path copy = path.parent_path() / name.substr(1, name.size() - 1 - kEnding.size());
  std::error_code none;
  if (fs::symlink_status(copy, none).type() != fs::file_type::regular) return;
  std::optional<sqlite::CopyNote> note = sqlite::read_note(copy.string());
  if (note && note->next.empty()) notes.emplace(copy.string(), std::move(*note));
}

}  // namespace

ServedCopies::ServedCopies(const std::string& root, CopyLimits limits)
    : root_(root), limits_(limits) {}

std::string ServedCopies::run(const host::CopyOrder& order) {
  if (order.file.empty()) {
    if (order.order == kListOrder) return list();
    if (order.order == kReportOrder) return take_report(order);
    throw HttpFault(400, "the parameter order is \"" + order.order + "\"; expected " + kListOrder +
                             " or " + kReportOrder);
  }
  return run_on(confined(order.file, order.order == kBeginOrder), order);
}

std::string ServedCopies::confined(const std::string& file, bool makes_folders) const {
  try {
    host::ProjectRoot::require_name(file);
    if (makes_folders) make_folders(file);
    std::string confined = root_.confine(file);
    const std::string name = fs::path(file).filename().string();
    if (name.size() > kMostNameBytes) {
      throw HttpFault(400, "file name \"" + file + "\" is refused: expected at most " +
                               std::to_string(kMostNameBytes) + " bytes");
    }
    if (confined == file) return confined;
  } catch (const host::ConfinementError& failure) {
    throw HttpFault(400, failure.what());
  }
  throw HttpFault(400, "file name \"" + file + "\" is refused: expected a path without links");
}

void ServedCopies::make_folders(const std::string& file) const {
  fs::path folder;
  for (const fs::path& part : fs::path(file).parent_path()) {
    folder /= part;
    std::error_code failure;
    if (fs::is_directory(folder, failure)) continue;
    // Looks at the folders above it, too.
    fs::create_directory(root_.confine(folder.string()), failure);
    if (failure) {
      throw HttpFault(500,
                      "cannot make the folder \"" + folder.string() + "\": " + failure.message());
    }
  }
}

void ServedCopies::require_room(std::uint64_t bytes) const {
  std::error_code failure;
  const fs::space_info space = fs::space(".", failure);
  if (failure) return;
  const auto kept =
      static_cast<std::uint64_t>(static_cast<double>(space.capacity) * limits_.kept_free);
  if (space.available >= kept && bytes <= space.available - kept) return;
  throw busy("the disk has no room for " + std::to_string(bytes) + " bytes");
}

void ServedCopies::close_idle(const std::stop_token& stop) {
  // The signals of the process are for others.
  sigset_t all{};
  sigfillset(&all);
  pthread_sigmask(SIG_BLOCK, &all, nullptr);
  std::unique_lock lock(mutex_);
  const auto has_any = [&] { return !entries_.empty(); };
  while (has_entry_.wait(lock, stop, has_any) && !stop.stop_requested()) {
    has_entry_.wait_for(lock, stop, limits_.idle / 2, [] { return false; });
    std::erase_if(entries_, [&](const auto& each) {
      const std::unique_lock in_use(each.second->in_use, std::try_to_lock);
      return in_use && Clock::now() - each.second->last_use > limits_.idle;
    });
  }
}

std::shared_ptr<ServedCopies::Entry> ServedCopies::entry_of(const std::string& file,
                                                            bool may_make) {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(file);
  if (found != entries_.end()) return found->second;
  if (!may_make) {
    throw HttpFault(404, "no transfer of " + file + " is under way: expected an order begin first");
  }
  if (entries_.size() >= kMost) throw busy(std::to_string(kMost) + " copies are on their way");
  if (!closing_.joinable()) {
    closing_ = std::jthread([this](const std::stop_token& stop) { close_idle(stop); });
  }
  has_entry_.notify_one();
  return entries_[file] = std::make_shared<Entry>();
}

void ServedCopies::forget(const std::string& file, const std::shared_ptr<Entry>& entry) {
  const std::lock_guard lock(mutex_);
  const auto found = entries_.find(file);
  if (found != entries_.end() && found->second == entry) entries_.erase(found);
}

std::string ServedCopies::list() const {
  std::map<std::string, sqlite::CopyNote> notes;
  host::walk_folder(".", {.visit = [&](const fs::directory_entry& entry) {
                      add_note(entry.path().lexically_relative("."), notes);
                      return true;
                    }});
  return notes_text(notes);
}

std::string ServedCopies::take_report(const host::CopyOrder& order) {
  constexpr std::size_t kMostBytes = 4096;
  if (order.body.size() > kMostBytes) {
    throw HttpFault(413, "expected at most " + std::to_string(kMostBytes) + " bytes");
  }
  const CopyReport report = read_body([&] { return report_of(order.body); });
  const std::lock_guard lock(mutex_);
  if (!reports_.contains(order.client) && reports_.size() >= kMostSenders) {
    reports_.erase(std::min_element(
        reports_.begin(), reports_.end(),
        [](const auto& left, const auto& right) { return left.second.at < right.second.at; }));
  }
  reports_[order.client] = {report, Clock::now()};
  return "{}";
}

std::string ServedCopies::run_on(const std::string& file, const host::CopyOrder& order) {
  const bool is_begin = order.order == kBeginOrder;
  const bool is_removal = order.order == kRemoveOrder;
  if (!is_begin && !is_removal && order.order != kBlocksOrder && order.order != kFinishOrder) {
    throw HttpFault(400, "the parameter order is \"" + order.order + "\"; expected " + kBeginOrder +
                             ", " + kBlocksOrder + ", " + kFinishOrder + " or " + kRemoveOrder);
  }
  if (is_removal && !fs::exists(file)) throw HttpFault(404, "no copy " + file);
  const std::shared_ptr<Entry> entry = entry_of(file, is_begin || is_removal);
  const std::unique_lock in_use(entry->in_use, std::try_to_lock);
  if (!in_use) throw busy("another order for " + file + " is at work");
  entry->last_use = Clock::now();
  const auto drop = [&] {
    entry->copy.reset();
    forget(file, entry);
  };
  try {
    std::string reply = answered(file, [&]() -> std::string {
      if (is_begin) return begin(file, *entry, order);
      if (!is_removal) return go_on(file, *entry, order);
      sqlite::remove_copy(file, quickly());
      host::log_event("removed the copy " + file + ", as \"" + order.client + "\" has asked for");
      return "{}";
    });
    if (is_removal || !entry->copy) forget(file, entry);
    entry->last_use = Clock::now();
    return reply;
  } catch (const HttpFault& fault) {
    // Who has to wait for others' locks can finish it later.
    const bool may_go_on = order.order == kBlocksOrder || fault.kind == host::problem("locked");
    const bool can_go_on = entry->copy && may_go_on;
    if (!can_go_on) drop();
    throw;
  } catch (...) {
    if (order.order != kBlocksOrder) drop();
    throw;
  }
}

std::string ServedCopies::begin(const std::string& file, Entry& entry,
                                const host::CopyOrder& order) {
  if (order.body.size() > kMostAnnouncementBytes) {
    throw HttpFault(413, "expected at most " + std::to_string(kMostAnnouncementBytes) + " bytes");
  }
  sqlite::AnnouncedState announced = read_body([&] { return announcement_of(order.body); });
  // What an earlier one has left that was not finished.
  entry.copy.reset();
  require_room(announced.blocks.bytes);
  entry.copy = std::make_unique<sqlite::ReceivedCopy>(file, std::move(announced), quickly());
  entry.transfer = boost::uuids::to_string(boost::uuids::random_generator()());
  return transfer_text(entry.transfer, entry.copy->missing());
}

std::string ServedCopies::go_on(const std::string& file, Entry& entry,
                                const host::CopyOrder& order) {
  if (!entry.copy || order.transfer != entry.transfer) {
    throw HttpFault(404, "another transfer of " + file + " is under way");
  }
  if (order.order == kBlocksOrder) {
    entry.copy->put(block_number(order.first), order.body);
    return "{}";
  }
  const sqlite::StandingCopy done = entry.copy->finish(quickly());
  entry.copy.reset();
  return finished_text(done);
}

std::string ServedCopies::metrics() const {
  std::map<std::string, CopyReport> reports;
  {
    const std::lock_guard lock(mutex_);
    for (const auto& [client, last] : reports_) {
      reports[client] = last.report;
      reports[client].lag += Clock::now() - last.at;
    }
  }
  return metrics_text("from", reports);
}

}  // namespace korvane::tools
