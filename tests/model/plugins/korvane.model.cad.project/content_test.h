#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/content_kinds.h"
#include "tests/support/store_test.h"

/// Bars, fabrics, bar spacers and mounting parts: what they have in common is tested once, for all
/// of them; what is special about one is tested in its file.
namespace korvane::test {

/// A project with the rows that content refers to, each with the id 1; the revision is named "r-1".
template <class Kind>
class ContentTest : public StoreTest {
 protected:
  using Record = typename Kind::Record;

  ContentTest() {
    make_material();
    make_fabric_type(1);
    make_revision(make_sheet(), "r-1");
  }

  Record minimal() const { return minimal_content<Kind>(parents_); }
  Record filled() const { return filled_content<Kind>(parents_); }
  Record marked(const std::string& mark) const {
    Record record = minimal();
    record.mark = mark;
    return record;
  }
  /// A record that refers to a missing row.
  Record orphaned(const Reference<Record>& reference) const {
    Record record = minimal();
    reference.set(record, 99);
    return record;
  }
  static Parents in_revision(std::int32_t rev_id) { return {rev_id, 1, 1}; }

  void store(const std::vector<Record>& records) { add_content<Kind>(project(), records); }
  Rows marks() const {
    return rows(std::string("select mark from ") + Kind::table + " order by id");
  }

  const Parents parents_;
};

using ContentKinds = ::testing::Types<RebarKind, FabricKind, BarSpacerKind, MountingPartKind>;

class ContentNames {
 public:
  template <class Kind>
  static std::string GetName(int) {
    return Kind::table;
  }
};

}  // namespace korvane::test
