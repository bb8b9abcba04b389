#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "contracts/cad/bar_spacer.h"
#include "contracts/cad/fabric.h"
#include "contracts/cad/mounting_part.h"
#include "contracts/cad/rebar.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/line_kind.h"

namespace korvane::schedule {

/// All that the schedule of a revision lists, each kind in the order in which it was added.
struct Content {
  std::vector<model::cad::Rebar> bars;
  std::vector<model::cad::Fabric> fabrics;
  std::vector<model::cad::BarSpacer> bar_spacers;
  std::vector<model::cad::MountingPart> mounting_parts;

  bool operator==(const Content&) const = default;

  std::size_t size() const {
    return bars.size() + fabrics.size() + bar_spacers.size() + mounting_parts.size();
  }
};

/// Calls `visit(list)` for each of the four lists of one or more contents, in step:
/// `visit(a.bars, b.bars)` and so on.
template <class Visit, class... Contents>
void for_each_kind(Visit visit, Contents&... contents) {
  visit(contents.bars...);
  visit(contents.fabrics...);
  visit(contents.bar_spacers...);
  visit(contents.mounting_parts...);
}

/// Stores `content` in the revision, beside what it has: sends copies of the records with the two
/// ids, in batches of one kind, fabrics first and bars last. `sheet_id` is that of the revision.
/// Throws what the project throws; the batches before are stored then.
void add_content(model::cad::Project_Service& project, std::int32_t sheet_id, std::int32_t rev_id,
                 const Content& content);

/// Reads the contents of many revisions with one pass over the file: the tables have no index by
/// revision, so that each read by revision goes through all rows. Sees what the project held when it
/// was made; rows that are added later may be missing. The project must outlive it.
class ContentReader {
 public:
  /// Finds out which rows belong to which revision. Throws what `query_table` throws.
  explicit ContentReader(model::cad::Project_Service& project);

  /// Throws what `query_table` and decoding throw.
  Content read(std::int32_t rev_id) const;

  /// The lines of one kind, some at a time. `T` is Rebar, Fabric, BarSpacer or MountingPart.
  template <class T>
  void for_each(std::int32_t rev_id, const std::function<void(T&& item)>& visit) const;

  /// All lines, a thousand of one kind at a time, in the order of for_each_kind.
  void read_in_parts(std::int32_t rev_id, const std::function<void(Content&& part)>& visit) const;

  /// The bars alone, some at a time.
  void for_each_bar(std::int32_t rev_id,
                    const std::function<void(model::cad::Rebar&& bar)>& visit) const;

  /// How many rows the revision has, of all kinds.
  std::size_t size(std::int32_t rev_id) const;

  /// How many of one kind. `T` is as in for_each.
  template <class T>
  std::size_t size(std::int32_t rev_id) const {
    return size_in(LineKind<T>::kTable, rev_id);
  }

 private:
  struct Rows {
    std::int64_t first = 0;
    std::int64_t last = 0;
    std::size_t count = 0;
  };

  std::size_t size_in(const std::string& table, std::int32_t rev_id) const;

  model::cad::Project_Service& project_;
  /// By table and revision.
  std::map<std::string, std::map<std::int32_t, Rows>> rows_;
};

}  // namespace korvane::schedule
