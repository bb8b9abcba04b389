#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace korvane::sqlite {

enum class Severity {
  damage,   ///< something of the file is lost or cannot be read
  finding,  ///< something is wrong, and nothing is lost
  note,     ///< nothing is wrong, but worth knowing
};

/// "damage", "finding", "note".
std::string_view name_of(Severity severity);

/// All that a check can tell. `descriptions` says what each means.
enum class Kind {
  unreadable,
  not_a_database,
  not_a_project,
  missing_table,
  missing_column,
  pages,
  raw_missing,
  raw_damaged,
  journal,
  declaration,
  index,
  constraint,
  foreign_key,
  raw_left_over,
  column,
  treatment,
  equal_treatments,
  row_id,
  uid,
  project_rows,
  unfinished_change,
  sheet_name,
  revision_name,
  write_ahead_log,
  not_ours,
  raw_unknown,
  orphan_bar_spacers,
  treatment_unlinked,
  unused_treatments,
  other_sheet,
  revision_without_sheet,
  change_at_work,
  optimized,
  index_missing,
};

struct KindDescription {
  Kind kind;
  /// What programs know it by.
  std::string_view name;
  Severity severity;
  /// What `korvane check --repair` does about it; empty for nothing.
  std::string_view repair;
  std::string_view meaning;
};

/// Every kind, in the order of the enumeration.
std::span<const KindDescription> descriptions();
const KindDescription& description_of(Kind kind);

/// One thing that a check tells of a file.
struct Finding {
  Kind kind{};
  std::string table = {};
  std::optional<std::int64_t> row = {};
  std::string column = {};
  /// Literals of SQL: what is stored, and what should be. Empty where that is not the question.
  std::string found = {};
  std::string expected = {};
  /// The whole of it for people.
  std::string text = {};

  Severity severity() const { return description_of(kind).severity; }
};

/// Findings in the order in which they came, of each kind in one column of one table the first
/// hundred; the others are counted.
class FindingList {
 public:
  static constexpr std::size_t kListed = 100;

  void add(Finding finding);

  /// With a line for those that are not listed, after the last of their kind.
  std::vector<Finding> listed() const;
  std::size_t count(Severity severity) const;
  bool has(Kind kind) const;

 private:
  using Place = std::tuple<Kind, std::string, std::string>;

  std::vector<Finding> findings_;
  std::map<Place, std::size_t> counts_;
};

}  // namespace korvane::sqlite
