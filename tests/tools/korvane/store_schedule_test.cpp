#include "tools/korvane/store_schedule.h"

#include <memory>
#include <stdexcept>
#include <string>

#include <boost/filesystem/path.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tools/korvane/embedded_project.h"

namespace korvane::tools {
namespace {

using namespace model::cad;
namespace table = model::table;
using schedule::bvbs::read_schedule_file;
using schedule::bvbs::Schedule;
using schedule::bvbs::ScheduleNames;
using testing::ThrowsMessage;

const std::string kGuideline = KORVANE_EXAMPLES "/guideline.abs";
const std::string kShapes = KORVANE_EXAMPLES "/shapes.abs";

class StoreSchedule : public testing::Test {
 protected:
  Project_Service& project() {
    if (!project_) {
      const boost::filesystem::path plugin(KORVANE_PLUGIN_FILE);
      project_ = std::make_unique<EmbeddedProject>(plugin.parent_path(), folder_.file("project.db"),
                                                   EmbeddedProject::IfMissing::make);
    }
    return project_->service();
  }
  void reopen() { project_.reset(); }

  std::vector<ImportedRevision> import(const std::string& file, const ScheduleNames& names = {}) {
    return store_schedule(project(), read_schedule_file(file, names));
  }

  std::vector<Rebar> bars_of(std::int32_t rev_id) {
    RevisionRef ref;
    ref.id = rev_id;
    Batch<Rebar> bars;
    project().get_rebars(ref, bars);
    return bars.items;
  }

  void run_sql(const std::string& sql) {
    table::GET_TABLE request;
    request.kind = "sql:raw";
    request.params["query"].value_string.set(sql);
    table::TABLE result;
    project().query_table(request, result);
  }

  std::size_t count(const std::string& table) {
    table::GET_TABLE request;
    request.kind = "sql:raw";
    request.params["query"].value_string.set("select id from " + table);
    table::TABLE result;
    project().query_table(request, result);
    return result.rows.size();
  }

  test::TemporaryFolder folder_;
  std::unique_ptr<EmbeddedProject> project_;
};

TEST_F(StoreSchedule, GuidelineBecomesOneSheetItsRevisionsAndSteels) {
  const auto imported = import(kGuideline);
  ASSERT_EQ(imported.size(), 2U);
  EXPECT_EQ(imported[0].sheet, "417");
  EXPECT_EQ(imported[0].revision, "a");
  EXPECT_EQ(imported[0].bars, 16U);
  EXPECT_EQ(imported[0].fabrics, 3U);
  EXPECT_EQ(imported[0].bar_spacers, 0U);
  // The spacers of the guideline have an empty drawing index.
  EXPECT_EQ(imported[1].revision, "");
  EXPECT_EQ(imported[1].bar_spacers, 2U);
  EXPECT_EQ(count("sheet"), 1U);
  EXPECT_EQ(count("material"), 2U);
}

TEST_F(StoreSchedule, BarsAreThereAfterTheFileIsOpenedAgain) {
  const std::int32_t rev_id = import(kGuideline)[0].id;
  const std::vector<Rebar> before = bars_of(rev_id);
  reopen();
  EXPECT_EQ(bars_of(rev_id), before);
  EXPECT_EQ(before.size(), 16U);
}

TEST_F(StoreSchedule, FabricsOfOneTypeShareItsCatalogueEntry) {
  import(kGuideline);
  EXPECT_EQ(count("fabric"), 3U);
  EXPECT_EQ(count("fabric_type"), 2U);
}

TEST_F(StoreSchedule, ProjectNameReachesTheProjectRecord) {
  import(kGuideline);
  ProjectData data;
  project().get_project({}, data);
  EXPECT_EQ(*data.properties.at("project").value_string, "TestPDF");
}

TEST_F(StoreSchedule, AProjectNameThatIsThereIsKept) {
  UpdateProject update;
  update.item.properties["project"].value_string.set("Tower");
  GenericReply reply;
  project().update_project(update, reply);
  import(kGuideline);
  ProjectData data;
  project().get_project({}, data);
  EXPECT_EQ(*data.properties.at("project").value_string, "Tower");
}

TEST_F(StoreSchedule, EachDrawingOfAFileGetsItsOwnSheet) {
  const auto imported = import(kShapes);
  ASSERT_EQ(imported.size(), 2U);
  EXPECT_EQ(imported[0].sheet, "shapes");
  EXPECT_EQ(imported[0].bars, 19U);
  EXPECT_EQ(imported[1].sheet, "UGV-1007");
}

TEST_F(StoreSchedule, AWrongChecksumStoresNothing) {
  EXPECT_THROW(import(KORVANE_EXAMPLES "/bad-checksum.abs"), schedule::bvbs::RecordError);
  EXPECT_EQ(count("sheet"), 0U);
  EXPECT_EQ(count("material"), 0U);
}

TEST_F(StoreSchedule, ASecondImportIntoTheSameRevisionIsRefused) {
  import(kGuideline);
  EXPECT_THAT([&] { import(kGuideline); },
              ThrowsMessage<std::runtime_error>("revision \"a\" of sheet \"417\" has 19 schedule "
                                                "lines already; name another one with --revision"));
  EXPECT_EQ(bars_of(1).size(), 16U);
}

TEST_F(StoreSchedule, AnotherRevisionSharesSheetAndSteels) {
  import(kGuideline);
  import(kGuideline, {std::nullopt, "b"});
  EXPECT_EQ(count("sheet"), 1U);
  EXPECT_EQ(count("revision"), 3U);
  EXPECT_EQ(count("material"), 2U);
}

TEST_F(StoreSchedule, AFailureTakesBackWhatItHasMade) {
  import(kGuideline);
  // The first bar goes to a new sheet, the second to a revision that is full.
  Schedule schedule = read_schedule_file(kGuideline, {});
  schedule.bars.resize(2);
  schedule.bars[0].drawing.sheet = "new sheet";
  schedule.bars[0].drawing.steel = "new steel";
  EXPECT_THROW(store_schedule(project(), schedule), std::runtime_error);
  EXPECT_EQ(count("sheet"), 1U);
  EXPECT_EQ(count("revision"), 2U);
  EXPECT_EQ(count("material"), 2U);
}

TEST_F(StoreSchedule, ABatchThatFailsTakesBackTheBatchesBeforeIt) {
  Schedule schedule = read_schedule_file(kGuideline, {});
  project();
  run_sql("create trigger refuse before insert on rebar begin select raise(abort, 'refused'); end");
  EXPECT_ANY_THROW(store_schedule(project(), schedule));
  for (const char* table :
       {"sheet", "revision", "material", "fabric_type", "fabric", "barspacer"}) {
    EXPECT_EQ(count(table), 0U) << table;
  }
  ProjectData data;
  project().get_project({}, data);
  EXPECT_EQ(data, ProjectData{});
}

}  // namespace
}  // namespace korvane::tools
