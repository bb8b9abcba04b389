// What the store makes of anything that is asked of it is sound to the check.

#include <exception>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "sqlite/check.h"
#include "sqlite/optimize.h"
#include "sqlite/repair.h"
#include "tests/sqlite/damaged_project.h"
#include "tests/support/entity_kinds.h"
#include "tests/support/random_record.h"
#include "tests/support/store_test.h"

namespace korvane::sqlite {
namespace {

using namespace model::cad;

class RandomWork : public test::StoreTest, public testing::WithParamInterface<std::uint32_t> {
 protected:
  RandomWork() : engine_(GetParam()), filler_(GetParam()) {}

  /// One call of the store, which may refuse it.
  void work() {
    try {
      switch (below(16)) {
        case 0:
          return on_any_entity([&]<class Entity> { create<Entity>(); });
        case 1:
        case 2:
          return on_any_entity([&]<class Entity> { update<Entity>(); });
        case 3:
          return on_any_entity([&]<class Entity> { remove<Entity>(); });
        case 4:
          return clear(id());
        case 5:
          return below(8) == 0 ? clear_all() : update_project();
        case 6:
          return reopen();
        default:
          return add_lines();
      }
    } catch (const std::exception&) {
      ++refused_;
    }
  }

  int refused() const { return refused_; }

 private:
  std::size_t below(std::size_t limit) { return engine_() % limit; }
  std::int32_t id() { return static_cast<std::int32_t>(below(6)); }

  template <class Use>
  void on_any_entity(Use use) {
    const std::size_t chosen = below(4);
    std::size_t i = 0;
    test::for_each_entity([&]<class Entity> {
      if (i++ == chosen) use.template operator()<Entity>();
    });
  }

  template <class Entity>
  typename Entity::Record record() {
    auto record = filler_.make<typename Entity::Record>();
    record.id = id();
    if (below(2) == 0) record.uid.clear();
    if constexpr (test::HasParent<Entity>) Entity::parent_id(record) = id();
    return record;
  }

  template <class Entity>
  void create() {
    typename Entity::Ref ref;
    (project().*Entity::create)(record<Entity>(), ref);
  }
  template <class Entity>
  void update() {
    GenericReply reply;
    (project().*Entity::update)(record<Entity>(), reply);
  }
  template <class Entity>
  void remove() {
    typename Entity::Ref ref;
    ref.id = id();
    GenericReply reply;
    (project().*Entity::remove)(ref, reply);
  }

  void clear_all() {
    ClearProjectRequest request;
    request.reset_schema = below(2) == 0;
    GenericReply reply;
    project().clear(request, reply);
  }

  void update_project() {
    UpdateProject request;
    request.item = filler_.make<ProjectData>();
    GenericReply reply;
    project().update_project(request, reply);
  }

  void add_lines() {
    const std::size_t chosen = below(4);
    std::size_t i = 0;
    test::for_each_content_kind([&]<class Kind> {
      if (i++ != chosen) return;
      std::vector<typename Kind::Record> records;
      for (std::size_t count = 1 + below(3); count != 0; --count) {
        const test::Parents parents{id(), id(), id()};
        records.push_back(test::referring<Kind>(filler_.make<typename Kind::Record>(), parents));
        if constexpr (std::is_same_v<typename Kind::Record, Rebar>) distort(records.back());
      }
      test::add_content<Kind>(project(), records);
      records.clear();
    });
  }

  /// What the records of the filler do not have.
  void distort(Rebar& bar) {
    using Limits = std::numeric_limits<double>;
    const double odd[] = {Limits::quiet_NaN(), Limits::infinity(), -0.0, 0.0, 12.0, 1e19};
    bar.total_length = odd[below(6)];
    bar.parameters_exact.a.set(odd[below(6)]);
    bar.comment = std::string("\xFF\0\xC3", below(4));
    bar.member = below(2) == 0 ? "0012" : "1e5";
    if (below(2) == 0) {
      EndTreatment& treatment = bar.end_treatment_start.set();
      treatment = {};
      treatment.diameter = odd[below(6)];
      if (below(2) == 0) bar.end_treatment_end.set(treatment);
    }
  }

  std::mt19937 engine_;
  test::RandomFiller filler_;
  int refused_ = 0;
};

TEST_P(RandomWork, LeavesAFileInWhichNothingIsFoundOrRepaired) {
  constexpr int kCalls = 120;
  for (int i = 0; i < kCalls; ++i) {
    work();
    if (i % 20 == 19) {
      const CheckReport report = check_file(file());
      ASSERT_TRUE(report.is_sound()) << "seed " << GetParam() << ", call " << i << ": "
                                     << testing::PrintToString(lines_of(report));
    }
  }
  EXPECT_LT(refused(), kCalls);
  close();
  for (const Repair& repair : repair_file(file())) {
    EXPECT_EQ(repair.kind, Kind::treatment_unlinked) << repair.text;
    EXPECT_TRUE(repair.is_done) << repair.text;
  }
  EXPECT_TRUE(check_file(file()).is_sound());
}

/// The same work on another file, for a test that has one of its own.
class Twin : public RandomWork {
 public:
  using RandomWork::file;
  using RandomWork::refused;
  using RandomWork::work;

 private:
  void TestBody() override {}
};

/// All rows but the uids, which the store makes up.
std::vector<test::Rows> content_of(const std::string& file) {
  std::vector<test::Rows> content;
  for (const std::string& table : test::kTables) {
    const std::string columns =
        *test::plain_rows(file, "select group_concat(name) from pragma_table_info('" + table +
                                    "') where name <> 'uid'")[0][0];
    content.push_back(
        test::plain_rows(file, "select " + columns + " from " + table + " order by id"));
  }
  return content;
}

TEST_P(RandomWork, LeavesTheSameRowsWithTheIndexesOfOptimize) {
  constexpr int kCalls = 120;
  Twin twin;
  for (int i = 0; i < kCalls; ++i) {
    // Some calls make the tables anew, without indexes.
    if (i % 5 == 0) optimize_file(twin.file());
    work();
    twin.work();
    ASSERT_EQ(refused(), twin.refused()) << "seed " << GetParam() << ", call " << i;
  }
  EXPECT_EQ(content_of(file()), content_of(twin.file())) << "seed " << GetParam();
  EXPECT_TRUE(check_file(twin.file()).is_sound());
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomWork, testing::Range(1U, 13U));

}  // namespace
}  // namespace korvane::sqlite
