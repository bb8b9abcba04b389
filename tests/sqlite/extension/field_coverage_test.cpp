// Every field of a record can be told from the columns of its view.

#include <string>

#include <gtest/gtest.h>

#include "bond/describe.h"
#include "contracts/cad/contracts.describe.h"
#include "model/tables/tables.h"
#include "tests/sqlite/extension/loaded_connection.h"
#include "tests/support/store_test.h"

namespace korvane {
namespace {

using namespace model::cad;
using test::LoadedConnection;

template <class T>
struct ViewOf;
template <>
struct ViewOf<Rebar> {
  static constexpr const char* name = "bars";
};
template <>
struct ViewOf<Fabric> {
  static constexpr const char* name = "fabrics";
};
template <>
struct ViewOf<BarSpacer> {
  static constexpr const char* name = "bar_spacers";
};
template <>
struct ViewOf<MountingPart> {
  static constexpr const char* name = "mounting_parts";
};
template <>
struct ViewOf<Sheet> {
  static constexpr const char* name = "sheets";
};
template <>
struct ViewOf<Revision> {
  static constexpr const char* name = "revisions";
};

/// Whether a column repeats the field: whether the two records differ in one.
template <class T>
bool has_column(const T& one, const T& other) {
  const auto table = model::tables::table_of<T>();
  const model::tables::Given<T> given{};
  for (const auto& column : table.columns()) {
    if (column.origin != model::tables::Origin::kRecord) continue;
    if (column.value(one, given) != column.value(other, given)) return true;
  }
  return false;
}

template <class T>
class Fields : public test::StoreTest {};

using Records = testing::Types<Rebar, Fabric, BarSpacer, MountingPart, Sheet, Revision>;
TYPED_TEST_SUITE(Fields, Records);

TYPED_TEST(Fields, AreAllToBeSeen) {
  using T = TypeParam;
  const std::int32_t revision = this->make_revision();
  const std::int32_t material = this->make_material();
  this->add({test::minimal_bar(revision, material)});
  this->add({test::minimal_fabric(revision, this->make_fabric_type(material))});
  this->add({test::minimal_bar_spacer(revision)});
  this->add({test::minimal_mounting_part(revision, material)});
  const std::string table = model::tables::table_of<T>().name();
  const LoadedConnection connection(this->file());
  const auto row_of = [&](const T& record) {
    this->set_raw(table, 1, test::raw_hex(record));
    return connection.rows(std::string("select * from ") + ViewOf<T>::name);
  };
  const auto filled = test::Filler().make<T>();
  const auto row = row_of(filled);
  bond::for_each_field<T>([&](const auto& field) {
    // The row's own, and those of what it belongs to.
    if (field.name == "id" || field.name == "sheet_id") return;
    T changed = filled;
    changed.*field.member = T{}.*field.member;
    EXPECT_TRUE(has_column(filled, changed) || row_of(changed) != row) << field.name;
  });
}

}  // namespace
}  // namespace korvane
