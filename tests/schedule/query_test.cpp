#include "schedule/query.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>

#include <gmock/gmock.h>
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

TEST(NumbersInCells, AreNoneWhereAnIntegerIsBeyond64Bits) {
  for (const double beyond : {0x1p63, -0x1.0000000000001p63, 1e300, std::nan("")}) {
    Variant cell;
    cell.value_double.set(beyond);
    EXPECT_EQ(integer_in(cell), 0) << beyond;
  }
  Variant least;
  least.value_double.set(-0x1p63);
  EXPECT_EQ(integer_in(least), std::numeric_limits<std::int64_t>::min());
}

TEST(VariantText, HasSixDecimalsAtMost) {
  Variant value;
  value.value_double.set(1.23456789);
  EXPECT_EQ(variant_text(value), "1.234568");
}

using namespace model::cad;
using testing::ThrowsMessage;

/// Answers each query with so many rows of so many values, whatever it asks for.
class OtherServer final : public Project_Service {
 public:
  OtherServer(std::size_t rows, std::size_t values) : OtherServer(rows, values, values) {}
  OtherServer(std::size_t rows, std::size_t values, std::size_t columns)
      : Project_Service("other"), rows_(rows), values_(values), columns_(columns) {}

#define KORVANE_ANSWER(name, Request, Reply, effect) \
  using Skeleton::name;                              \
  void name(Request, Reply& reply) override { answer(reply); }
  KORVANE_PROJECT_OPERATIONS(KORVANE_ANSWER)
#undef KORVANE_ANSWER

 private:
  static void answer(auto&) {}
  void answer(model::table::TABLE& reply) const {
    reply.columns.resize(columns_);
    for (std::size_t i = 0; i < rows_; ++i) reply.rows.emplace_back().resize(values_);
  }

  const std::size_t rows_;
  const std::size_t values_;
  const std::size_t columns_;
};

TEST(Query, RefusesRowsThatHaveOtherValuesThanTheStatementAsksFor) {
  OtherServer sound(3, 2);
  EXPECT_EQ(query<2>(sound, "select 1, 2").size(), 3U);
  for (const std::size_t values : {0U, 1U, 3U}) {
    OtherServer other(1, values);
    EXPECT_THAT([&] { query<2>(other, "select 1, 2"); },
                ThrowsMessage<std::runtime_error>("a row of the reply has " +
                                                  std::to_string(values) + " values: expected 2"));
  }
}

TEST(Query, OfAnyColumnsRefusesRowsThatHaveOtherValuesThanTheColumns) {
  OtherServer sound(3, 2);
  EXPECT_EQ(query_table(sound, "select 1, 2").rows.size(), 3U);
  for (const std::size_t values : {0U, 1U, 3U}) {
    OtherServer other(1, values, 2);
    EXPECT_THAT([&] { query_table(other, "select 1, 2"); },
                ThrowsMessage<std::runtime_error>("a row of the reply has " +
                                                  std::to_string(values) + " values: expected 2"));
  }
}

TEST(Query, RefusesOtherThanOneRowWhereAStatementAlwaysGivesOne) {
  OtherServer sound(1, 2);
  EXPECT_EQ(query_row<2>(sound, "select 1, 2").size(), 2U);
  for (const std::size_t rows : {0U, 2U}) {
    OtherServer other(rows, 2);
    EXPECT_THAT([&] { query_row<2>(other, "select 1, 2"); },
                ThrowsMessage<std::runtime_error>("the reply has " + std::to_string(rows) +
                                                  " rows: expected 1"));
  }
}

}  // namespace
}  // namespace korvane::schedule
