#include "schedule/change_mark.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace korvane::schedule {

namespace {

constexpr std::int64_t kSecondsElsewhere = 15LL * 60;
constexpr std::int64_t kSecondsHere = 24LL * 60 * 60;

constexpr std::array<std::string_view, 5> kSteps = {"filling", "whole", "placed", "removing",
                                                    "importing"};

std::string first_line(const std::string& filename) {
  std::ifstream file(filename);
  std::string line;
  std::getline(file, line);
  return line;
}

/// Where a number of a process means what it means here: one boot of a machine, and in it one space
/// of process numbers, of which each container has its own.
const std::string& this_place() {
  static const std::string place = [] {
    std::error_code none;
    std::string space = std::filesystem::read_symlink("/proc/self/ns/pid", none).string();
    std::erase_if(space, [](char c) { return c < '0' || c > '9'; });
    return first_line("/proc/sys/kernel/random/boot_id") + "." + space;
  }();
  return place;
}

/// The clock tick since the machine's start in which a process began: the 22nd field of its
/// status, the 20th after its name in brackets. Empty if there is no such process.
std::string start_of(const std::string& process) {
  const std::string status = first_line("/proc/" + process + "/stat");
  const std::size_t name_end = status.rfind(')');
  if (name_end == std::string::npos) return {};
  std::istringstream fields(status.substr(name_end + 1));
  std::string field;
  for (int i = 0; i < 20; ++i) fields >> field;
  return field;
}

std::int64_t seconds_now() {
  using std::chrono::system_clock;
  return std::chrono::duration_cast<std::chrono::seconds>(system_clock::now().time_since_epoch())
      .count();
}

/// Whether a change began at most so many seconds ago. Clocks may differ by as many.
bool has_begun_within(const ChangeMark& mark, std::int64_t seconds) {
  const std::int64_t now = seconds_now();
  return mark.begun > now - seconds && mark.begun < now + seconds;
}

/// Changes of this process, by the uid of the mark.
struct OwnChanges {
  std::mutex mutex;
  std::set<std::string> uids;
};

OwnChanges& own_changes() {
  static OwnChanges changes;
  return changes;
}

std::string this_process() {
  const std::string process = std::to_string(::getpid());
  return this_place() + ":" + process + ":" + start_of(process);
}

}  // namespace

std::optional<ChangeMark> mark_in(const Properties& properties) {
  const auto property = properties.find(kChangeProperty);
  if (property == properties.end() || property->second.value_string.empty()) return {};
  std::istringstream words(*property->second.value_string);
  ChangeMark mark;
  std::string step;
  words >> step >> mark.owner >> mark.begun;
  const auto* const known = std::find(kSteps.begin(), kSteps.end(), step);
  if (known == kSteps.end()) return {};
  mark.step = static_cast<ChangeStep>(known - kSteps.begin());
  if (property->second.value_int32.hasvalue()) {
    mark.changed_revision = *property->second.value_int32;
  }
  const auto made = properties.find(kImportProperty);
  if (made != properties.end() && made->second.value_string.hasvalue()) {
    std::istringstream uids(*made->second.value_string);
    for (std::string uid; std::getline(uids, uid);) mark.made_uids.insert(uid);
  }
  return mark;
}

void write_mark(const ChangeMark& mark, Properties& properties) {
  Variant& property = properties[kChangeProperty];
  property.value_int32.set(mark.changed_revision);
  property.value_string.set(std::string(kSteps.at(static_cast<std::size_t>(mark.step))) + " " +
                            mark.owner + " " + std::to_string(mark.begun));
  if (mark.made_uids.empty()) return;
  std::string uids;
  for (const std::string& uid : mark.made_uids) uids += uid + "\n";
  properties[kImportProperty].value_string.set(std::move(uids));
}

OwnChange::OwnChange(ChangeMark& mark) : uid_(mark.uid) {
  mark.owner = this_process();
  mark.begun = seconds_now();
  const std::lock_guard lock(own_changes().mutex);
  own_changes().uids.insert(uid_);
}

OwnChange::~OwnChange() {
  const std::lock_guard lock(own_changes().mutex);
  own_changes().uids.erase(uid_);
}

bool may_be_at_work(const ChangeMark& mark) {
  if (mark.owner == this_process()) {
    const std::lock_guard lock(own_changes().mutex);
    return own_changes().uids.count(mark.uid) != 0;
  }
  const std::size_t first = mark.owner.find(':');
  const std::size_t second = mark.owner.find(':', first + 1);
  if (first == std::string::npos || second == std::string::npos) return false;
  if (mark.owner.substr(0, first) == this_place()) {
    const std::string start = start_of(mark.owner.substr(first + 1, second - first - 1));
    return !start.empty() && start == mark.owner.substr(second + 1) &&
           has_begun_within(mark, kSecondsHere);
  }
  return has_begun_within(mark, kSecondsElsewhere);
}

std::string make_uid() { return boost::uuids::to_string(boost::uuids::random_generator()()); }

}  // namespace korvane::schedule
