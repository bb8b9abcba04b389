#include "host/service/change_feed.h"

#include <exception>
#include <iterator>
#include <sys/stat.h>
#include <utility>

namespace korvane::host {

namespace {

/// Size and time of a file; empty for one that is not there.
std::string look_of(const std::string& file) {
  struct stat found {};
  if (::stat(file.c_str(), &found) != 0) return {};
  return std::to_string(found.st_ino) + ' ' + std::to_string(found.st_size) + ' ' +
         std::to_string(found.st_mtim.tv_sec) + '.' + std::to_string(found.st_mtim.tv_nsec);
}

}  // namespace

ChangeFeed::Watcher::Watcher(ChangeFeed& feed, const std::string& file) : feed_(feed), file_(file) {
  const std::lock_guard lock(feed_.mutex_);
  const auto place = feed_.files_.try_emplace(file).first;
  watched_ = &place->second;
  try {
    watched_->watchers.push_back(this);
  } catch (...) {
    if (watched_->watchers.empty()) feed_.files_.erase(place);
    throw;
  }
  has_ended_ = feed_.is_stopped_;
}

ChangeFeed::Watcher::~Watcher() {
  const std::lock_guard lock(feed_.mutex_);
  watched_->watchers.remove(this);
  if (watched_->watchers.empty()) feed_.files_.erase(file_);
}

ChangeFeed::Watcher::News ChangeFeed::Watcher::wait(std::chrono::milliseconds time) {
  std::unique_lock lock(feed_.mutex_);
  has_news_.wait_for(lock, time, [&] { return has_ended_ || has_missed_ || !changes_.empty(); });
  News news{{}, std::exchange(has_missed_, false), has_ended_};
  news.changes.assign(std::make_move_iterator(changes_.begin()),
                      std::make_move_iterator(changes_.end()));
  changes_.clear();
  return news;
}

bool ChangeFeed::Watcher::looks_changed() {
  std::string look = look_of(file_) + '|' + look_of(file_ + "-wal");
  const std::lock_guard lock(feed_.mutex_);
  if (look == watched_->look) return false;
  watched_->look = std::move(look);
  return true;
}

void ChangeFeed::Watcher::look_again() {
  const std::lock_guard lock(feed_.mutex_);
  watched_->look.clear();
}

bool ChangeFeed::is_watched(const std::string& file) const {
  const std::lock_guard lock(mutex_);
  return files_.contains(file);
}

void ChangeFeed::publish(const std::string& file, const Change& change) noexcept {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(file);
  if (found != files_.end()) tell(found->second, change);
}

void ChangeFeed::miss(const std::string& file) noexcept {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(file);
  if (found == files_.end()) return;
  for (Watcher* const watcher : found->second.watchers) {
    watcher->has_missed_ = true;
    watcher->changes_.clear();
    watcher->has_news_.notify_all();
  }
}

void ChangeFeed::saw_version(const std::string& file, std::uint64_t serial, std::int64_t version) {
  const std::lock_guard lock(mutex_);
  const auto found = files_.find(file);
  if (found == files_.end()) return;
  Watched& watched = found->second;
  const bool is_others = watched.serial == serial && watched.version != version;
  watched.serial = serial;
  watched.version = version;
  if (is_others) tell(watched, {{}, {}, {}, {}, std::chrono::system_clock::now()});
}

void ChangeFeed::end_all() {
  const std::lock_guard lock(mutex_);
  for (auto& [file, watched] : files_) {
    for (Watcher* const watcher : watched.watchers) {
      watcher->has_ended_ = true;
      watcher->has_news_.notify_all();
    }
  }
}

void ChangeFeed::stop() {
  {
    const std::lock_guard lock(mutex_);
    is_stopped_ = true;
  }
  end_all();
}

void ChangeFeed::tell(Watched& watched, const Change& change) noexcept {
  for (Watcher* const watcher : watched.watchers) {
    if (watcher->has_missed_) continue;
    try {
      watcher->has_missed_ = watcher->changes_.size() == kMostKept;
      if (!watcher->has_missed_) watcher->changes_.push_back(change);
    } catch (const std::exception&) {
      watcher->has_missed_ = true;
    }
    if (watcher->has_missed_) watcher->changes_.clear();
    watcher->has_news_.notify_all();
  }
}

}  // namespace korvane::host
