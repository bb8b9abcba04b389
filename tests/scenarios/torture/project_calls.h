#pragma once

#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <type_traits>
#include <vector>

#include "bond/blob.h"
#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/entity_kinds.h"
#include "tests/support/random_record.h"

namespace korvane::test {

/// One call of an operation of a project.
struct Call {
  std::string operation;
  /// Distinguishes it from other calls of the operation; may be empty.
  std::string variant;
  bond::blob request;

  std::string name() const;
  /// Whether it may change the project.
  bool writes() const;
  /// Bytes of the reply. Throws what the operation throws.
  std::string run(model::cad::Project_Service_Impl& project) const;

  friend void PrintTo(const Call& call, std::ostream* stream) { *stream << call.name(); }
};

/// Gives an empty project some of everything: several rows in each table, bars that share end
/// treatments, and catalogue rows that nothing uses.
void fill(model::cad::Project_Service_Impl& project);

/// Calls that a filled project accepts, with the same outcome each time: one of each operation at
/// least.
const std::vector<Call>& all_calls();
/// Of these the calls that write, or those that do not.
std::vector<Call> calls_that_write(bool write);

/// Of these the calls that change many pages.
std::vector<Call> large_writes();

/// A batch of many bars whose last one is refused.
Call refused_write();

/// Another write, which every project with tables accepts once.
Call probe();

/// Client SQL through `query_table`.
Call sql(const std::string& text);

/// Writing calls with random records. Most are accepted, some refused; the same seed makes the same
/// calls.
class RandomCalls {
 public:
  explicit RandomCalls(std::uint32_t seed) : random_(seed) {}

  Call next();

 private:
  std::int32_t below(std::int32_t limit) {
    return static_cast<std::int32_t>(random_() % static_cast<std::uint32_t>(limit));
  }
  /// The id of a row that may be there.
  std::int32_t some_id() { return 1 + below(4); }
  std::string some_uid() { return "uid " + std::to_string(below(12)); }

  /// Materials that are referred to mostly exist.
  template <class Entity>
  std::int32_t some_parent() {
    return std::is_same_v<typename Entity::Parent, MaterialEntity> ? 1 + below(2) : some_id();
  }
  RandomFiller filler() { return RandomFiller(static_cast<std::uint32_t>(random_())); }

  template <class Entity>
  Call creation_or_update(const char* prefix);
  template <class Entity>
  Call deletion();
  template <class Kind>
  Call addition();

  std::mt19937 random_;
};

}  // namespace korvane::test
