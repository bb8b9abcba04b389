#include "schedule/query.h"

#include <cstddef>
#include <stdexcept>

#include <gtest/gtest.h>

#include "platform/project_rpc/project_service.h"
#include "schedule/value_text.h"

namespace korvane::schedule {
namespace {

TEST(NumbersInCells, AreReadFromWhateverHoldsThem) {
  Variant none;
  Variant integer;
  integer.value_int32.set(7);
  Variant real;
  real.value_double.set(7.9);
  Variant text;
  text.value_string.set("12345678901.5");
  EXPECT_EQ(integer_in(none), 0);
  EXPECT_EQ(integer_in(integer), 7);
  EXPECT_EQ(integer_in(real), 7);
  EXPECT_EQ(integer_in(text), 12345678901);
  EXPECT_EQ(number_in(none), 0);
  EXPECT_EQ(number_in(integer), 7);
  EXPECT_EQ(number_in(real), 7.9);
  EXPECT_EQ(number_in(text), 12345678901.5);
}

TEST(VariantText, HasSixDecimalsAtMost) {
  Variant value;
  value.value_double.set(1.23456789);
  EXPECT_EQ(variant_text(value), "1.234568");
}

using namespace model::cad;

/// Answers each query with two columns, and a row of as many values as it is told.
class OtherServer final : public Project_Service {
 public:
  explicit OtherServer(std::size_t values) : Project_Service("other"), values_(values) {}

#define KORVANE_ANSWER(name, Request, Reply, effect) \
  using Skeleton::name;                              \
  void name(Request, Reply& reply) override { answer(reply); }
  KORVANE_PROJECT_OPERATIONS(KORVANE_ANSWER)
#undef KORVANE_ANSWER

 private:
  static void answer(auto&) {}
  void answer(model::table::TABLE& reply) const {
    reply.columns.resize(2);
    reply.rows.emplace_back().resize(values_);
  }

  const std::size_t values_;
};

TEST(Query, RefusesRowsThatHaveOtherValuesThanTheColumns) {
  OtherServer sound(2);
  EXPECT_EQ(query(sound, "select 1, 2").rows.size(), 1U);
  for (const std::size_t values : {0U, 1U, 3U}) {
    OtherServer other(values);
    EXPECT_THROW(query(other, "select 1, 2"), std::runtime_error);
  }
}

}  // namespace
}  // namespace korvane::schedule
