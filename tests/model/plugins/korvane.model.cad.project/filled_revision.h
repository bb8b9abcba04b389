#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/store_test.h"

namespace korvane::test {

/// The deletions of a clear. The blanks before the brackets and at the ends are part of the texts.
inline constexpr const char* kDeleteStarts =
    "delete from end_treatment where id in (select end_treatment_start from rebar where rev_id = ? "
    ")";
inline constexpr const char* kDeleteEnds =
    "delete from end_treatment where id in (select end_treatment_end from rebar where rev_id = ? )";
inline constexpr const char* kDeleteBars = "delete from rebar where rev_id = ? ";
inline constexpr const char* kDeleteFabrics = "delete from fabric where rev_id = ? ";
inline constexpr const char* kDeleteBarSpacers = "delete from barspacer where rev_id = ? ";

/// A revision, "r-1", with two rows of every kind of content. It has the id 1, as have its sheet,
/// its material and its fabric type.
class FilledRevision : public StoreTest {
 protected:
  FilledRevision() { fill(rev_); }

  void fill(std::int32_t rev_id) {
    add({full_rebar(rev_id, 1), minimal_bar(rev_id, 1)});
    add({full_fabric(rev_id, 1), minimal_fabric(rev_id, 1)});
    add({full_bar_spacer(rev_id), minimal_bar_spacer(rev_id)});
    add({full_mounting_part(rev_id, 1), minimal_mounting_part(rev_id, 1)});
  }
  static std::vector<std::string> content_tables() {
    return {"end_treatment", "rebar", "fabric", "barspacer", "mountingpart"};
  }
  std::vector<Rows> content() const {
    std::vector<Rows> tables;
    for (const std::string& table : content_tables()) tables.push_back(all_of(table));
    return tables;
  }
  Rows revisions_in(const std::string& table) const {
    return rows("select distinct rev_id from " + table + " order by rev_id");
  }
  Rows treatment_ids() const {
    return rows("select end_treatment_start, end_treatment_end from rebar order by id");
  }
  model::cad::Rebar bar_with(std::int32_t rev_id, const model::cad::EndTreatment& start,
                             const model::cad::EndTreatment& end) const {
    model::cad::Rebar bar = minimal_bar(rev_id, 1);
    bar.end_treatment_start.set(start);
    bar.end_treatment_end.set(end);
    return bar;
  }

  const std::int32_t material_ = make_material();
  const std::int32_t type_ = make_fabric_type(material_);
  const std::int32_t rev_ = make_revision(make_sheet(), "r-1");
};

}  // namespace korvane::test
