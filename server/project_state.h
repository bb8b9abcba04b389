#pragma once

#include <cstddef>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "platform/project_rpc/project_service.h"
#include "platform/rpc4/directory.h"

namespace korvane::server {

/// A text that is another one after every change of what the project has stored, whoever made it: a
/// call, or another program on the same file. It is another one, too, after changes that were taken
/// back, and whenever the project is opened anew. Costs three statements that read no table, and
/// no table or view of the file stands in their way. Throws
/// what `query_table` throws.
std::string project_state(model::cad::Project_Service& project);

/// The same of a service, for host::Mounted::state_of, and another text every day: lists bear the
/// date. Empty for a service of another kind.
std::string state_of(const krv::rpc4::LiveService& project);

/// Whether the project is in a transaction, which may yet be taken back.
bool is_in_transaction(const model::cad::Project_Service& project);

/// Values that were found in projects, each for as long as nothing changes there; at most some
/// hundreds, of which the oldest go first. Any thread may use it.
template <class Value>
class FoundValues {
 public:
  /// The value that is kept under `key` in the project's present state, or what `find()` returns now.
  template <class Find>
  Value get(model::cad::Project_Service& project, const std::string& key, Find find) {
    const std::string state = project_state(project);
    const std::string place = state + ' ' + key;
    {
      const std::lock_guard lock(mutex_);
      const auto kept = values_.find(place);
      if (kept != values_.end()) return kept->second.second;
    }
    Value value = find();
    // Another program may have written while it was being found. And what is found in a transaction
    // that is taken back is found nowhere, though the state is the same afterwards.
    if (!is_in_transaction(project) && project_state(project) == state) keep(place, value);
    return value;
  }

 private:
  static constexpr std::size_t kMost = 500;

  void keep(const std::string& place, const Value& value) {
    const std::lock_guard lock(mutex_);
    // What has no place among these could never go: the memory of a call may end anywhere here.
    places_[++last_] = place;
    values_.insert_or_assign(place, std::pair(last_, value));
    if (places_.size() <= kMost) return;
    const auto oldest = places_.begin();
    const auto found = values_.find(oldest->second);
    if (found != values_.end() && found->second.first == oldest->first) values_.erase(found);
    places_.erase(oldest);
  }

  std::mutex mutex_;
  /// By place, with the number under which it was kept; and the places by that number.
  std::map<std::string, std::pair<std::size_t, Value>> values_;
  std::map<std::size_t, std::string> places_;
  std::size_t last_ = 0;
};

}  // namespace korvane::server
