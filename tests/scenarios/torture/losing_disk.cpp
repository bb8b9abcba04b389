#include "tests/scenarios/torture/losing_disk.h"

#include <algorithm>

namespace korvane::test {

namespace {

constexpr std::size_t kSector = ShimVfs::kSectorSize;

/// A sector of the file, zeros after the end.
std::string sector_of(const std::string& content, std::size_t sector) {
  std::string bytes;
  if (sector * kSector < content.size()) bytes = content.substr(sector * kSector, kSector);
  bytes.resize(kSector, '\0');
  return bytes;
}

/// Overwrites a sector, up to the end of the file.
void put_sector(std::string& content, std::size_t sector, const std::string& bytes) {
  const std::size_t offset = sector * kSector;
  if (offset >= content.size()) return;
  content.replace(offset, std::min(kSector, content.size() - offset), bytes, 0,
                  std::min(kSector, content.size() - offset));
}

std::size_t below(std::size_t limit, std::mt19937& random) { return random() % limit; }

template <class T>
const T& one_of(const std::vector<T>& choices, std::mt19937& random) {
  return choices[below(choices.size(), random)];
}

}  // namespace

LosingDisk::LosingDisk(const std::map<std::string, std::string>& files, Folder folder)
    : folder_(folder) {
  for (const auto& [file_name, bytes] : files) {
    contents_.push_back({bytes, bytes, {bytes.size()}, {}});
    names_[file_name] = {contents_.size() - 1};
  }
}

void LosingDisk::apply(const DiskEvent& event) {
  last_written_.reset();
  switch (event.kind) {
    case DiskEvent::Kind::kCreate:
      contents_.push_back({"", "", {0}, {}});
      name(event.name, contents_.size() - 1);
      break;
    case DiskEvent::Kind::kWrite:
      write(current(event.name), static_cast<std::size_t>(event.offset), event.bytes);
      last_written_ = names_.at(event.name).back();
      break;
    case DiskEvent::Kind::kTruncate: {
      Content& content = current(event.name);
      content.now.resize(static_cast<std::size_t>(event.offset), '\0');
      content.sizes.push_back(content.now.size());
      break;
    }
    case DiskEvent::Kind::kSync: {
      Content& content = current(event.name);
      content.synced = content.now;
      content.sizes = {content.now.size()};
      content.sectors.clear();
      break;
    }
    case DiskEvent::Kind::kRemove:
      name(event.name, std::nullopt);
      break;
  }
  if (event.syncs_folder) sync_folder();
}

void LosingDisk::write(Content& content, std::size_t offset, const std::string& bytes) {
  const std::size_t end = offset + bytes.size();
  last_sectors_.clear();
  for (std::size_t sector = offset / kSector; sector * kSector < end; ++sector) {
    last_sectors_.push_back(sector);
    std::vector<std::string>& states = content.sectors[sector];
    if (states.empty()) states.push_back(sector_of(content.synced, sector));
  }
  if (end > content.now.size()) {
    content.now.resize(end, '\0');
    content.sizes.push_back(end);
  }
  content.now.replace(offset, bytes.size(), bytes);
  for (const std::size_t sector : last_sectors_) {
    content.sectors[sector].push_back(sector_of(content.now, sector));
  }
}

void LosingDisk::name(const std::string& name, ContentId content) {
  std::vector<ContentId>& states = names_[name];
  if (states.empty()) states.push_back(std::nullopt);
  states.push_back(content);
  if (folder_ == Folder::kSafe) sync_folder();
}

void LosingDisk::sync_folder() {
  for (auto& [file_name, states] : names_) states = {states.back()};
}

std::string LosingDisk::torn(const Content& content, std::mt19937& random) const {
  std::string bytes = content.now;
  for (const std::size_t sector : last_sectors_) {
    const std::vector<std::string>& states = content.sectors.at(sector);
    if (below(2, random) == 0) put_sector(bytes, sector, states[states.size() - 2]);
  }
  return bytes;
}

std::string LosingDisk::any(const Content& content, bool with_garbage, std::mt19937& random) {
  std::string bytes = content.synced;
  bytes.resize(one_of(content.sizes, random), '\0');
  for (const auto& [sector, states] : content.sectors) {
    std::string state = one_of(states, random);
    if (with_garbage && below(4, random) == 0) {
      for (char& byte : state) byte = static_cast<char>(random());
    }
    put_sector(bytes, sector, state);
  }
  return bytes;
}

std::map<std::string, std::string> LosingDisk::after_power_cut(Survival survival,
                                                               std::mt19937& random) const {
  std::map<std::string, std::string> files;
  for (const auto& [file_name, states] : names_) {
    const ContentId id = survival == Survival::kNothing ? states.front()
                         : survival == Survival::kEverything || survival == Survival::kTorn
                             ? states.back()
                             : one_of(states, random);
    if (!id) continue;
    const Content& content = contents_[*id];
    switch (survival) {
      case Survival::kNothing:
        files[file_name] = content.synced;
        break;
      case Survival::kEverything:
        files[file_name] = content.now;
        break;
      case Survival::kTorn:
        files[file_name] = id == last_written_ ? torn(content, random) : content.now;
        break;
      case Survival::kAny:
      case Survival::kAnyOrGarbage:
        files[file_name] = any(content, survival == Survival::kAnyOrGarbage, random);
        break;
    }
  }
  return files;
}

}  // namespace korvane::test
