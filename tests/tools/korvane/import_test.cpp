#include "tools/korvane/import.h"

#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

#include <boost/filesystem/path.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"
#include "tools/korvane/embedded_project.h"

namespace korvane::tool {
namespace {

using namespace model::cad;
namespace table = model::table;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::ThrowsMessage;

const std::string kGuideline = KORVANE_EXAMPLES "/guideline.abs";
const std::string kShapes = KORVANE_EXAMPLES "/shapes.abs";

class ImportSchedule : public testing::Test {
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

  std::string write(const std::string& text) {
    const std::string filename = folder_.file("schedule.abs");
    std::ofstream(filename, std::ios::binary) << text;
    return filename;
  }

  std::vector<ImportedRevision> import(const std::string& file, const ScheduleNames& names = {}) {
    return store_schedule(project(), read_schedule(file, names));
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

TEST_F(ImportSchedule, GuidelineBecomesOneSheetItsRevisionsAndSteels) {
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

TEST_F(ImportSchedule, BarsAreThereAfterTheFileIsOpenedAgain) {
  const std::int32_t rev_id = import(kGuideline)[0].id;
  const std::vector<Rebar> before = bars_of(rev_id);
  reopen();
  EXPECT_EQ(bars_of(rev_id), before);
  EXPECT_EQ(before.size(), 16U);
}

TEST_F(ImportSchedule, RecordsWithoutAHomeAreCounted) {
  const std::string girder = "BFGT@Hj@r@i@p1@l2356@n1@e4.3@mKT@h90@C";
  const ScheduleFile schedule =
      read_schedule(write(girder + std::to_string(bvbs::checksum(girder)) + "@\r\n"), {});
  EXPECT_THAT(schedule.passed_over, ElementsAre(testing::Pair("BFGT", 1U)));
  EXPECT_TRUE(schedule.bars.empty());
}

TEST_F(ImportSchedule, FabricsOfOneTypeShareItsCatalogueEntry) {
  import(kGuideline);
  EXPECT_EQ(count("fabric"), 3U);
  EXPECT_EQ(count("fabric_type"), 2U);
}

TEST_F(ImportSchedule, ProjectNameReachesTheProjectRecord) {
  import(kGuideline);
  ProjectData data;
  project().get_project({}, data);
  EXPECT_EQ(*data.properties.at("project").value_string, "TestPDF");
}

TEST_F(ImportSchedule, AProjectNameThatIsThereIsKept) {
  UpdateProject update;
  update.item.properties["project"].value_string.set("Tower");
  GenericReply reply;
  project().update_project(update, reply);
  import(kGuideline);
  ProjectData data;
  project().get_project({}, data);
  EXPECT_EQ(*data.properties.at("project").value_string, "Tower");
}

TEST_F(ImportSchedule, ADrawingWithoutANumberIsNamedAfterItsFile) {
  const auto imported = import(kShapes);
  ASSERT_EQ(imported.size(), 2U);
  EXPECT_EQ(imported[0].sheet, "shapes");
  EXPECT_EQ(imported[0].bars, 19U);
  EXPECT_EQ(imported[1].sheet, "UGV-1007");
}

TEST_F(ImportSchedule, GivenNamesTakeThePlaceOfTheRecords) {
  const auto imported = import(kShapes, {"S1", "b"});
  ASSERT_EQ(imported.size(), 1U);
  EXPECT_EQ(imported[0].sheet, "S1");
  EXPECT_EQ(imported[0].revision, "b");
  EXPECT_EQ(imported[0].bars, 20U);
}

TEST_F(ImportSchedule, AWrongChecksumStoresNothing) {
  EXPECT_THROW(import(KORVANE_EXAMPLES "/bad-checksum.abs"), bvbs::RecordError);
  EXPECT_EQ(count("sheet"), 0U);
  EXPECT_EQ(count("material"), 0U);
}

TEST_F(ImportSchedule, ASecondImportIntoTheSameRevisionIsRefused) {
  import(kGuideline);
  EXPECT_THAT([&] { import(kGuideline); },
              ThrowsMessage<std::runtime_error>("revision \"a\" of sheet \"417\" has 19 schedule "
                                                "lines already; name another one with --revision"));
  EXPECT_EQ(bars_of(1).size(), 16U);
}

TEST_F(ImportSchedule, AnotherRevisionSharesSheetAndSteels) {
  import(kGuideline);
  import(kGuideline, {std::nullopt, "b"});
  EXPECT_EQ(count("sheet"), 1U);
  EXPECT_EQ(count("revision"), 3U);
  EXPECT_EQ(count("material"), 2U);
}

TEST_F(ImportSchedule, AFailureTakesBackWhatItHasMade) {
  import(kGuideline);
  // The first bar goes to a new sheet, the second to a revision that is full.
  ScheduleFile schedule = read_schedule(kGuideline, {});
  schedule.bars.resize(2);
  schedule.bars[0].drawing.sheet = "new sheet";
  schedule.bars[0].drawing.steel = "new steel";
  EXPECT_THROW(store_schedule(project(), schedule), std::runtime_error);
  EXPECT_EQ(count("sheet"), 1U);
  EXPECT_EQ(count("revision"), 2U);
  EXPECT_EQ(count("material"), 2U);
}

TEST_F(ImportSchedule, ABatchThatFailsTakesBackTheBatchesBeforeIt) {
  ScheduleFile schedule = read_schedule(kGuideline, {});
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

TEST_F(ImportSchedule, AMissingFileIsNamed) {
  EXPECT_THAT([] { read_schedule("/no/such.abs", {}); },
              ThrowsMessage<std::runtime_error>("cannot read /no/such.abs"));
}

TEST_F(ImportSchedule, AWeightThatWasTakenAsTheTotalIsRemarked) {
  const std::string record = "BF2D@Hr1@ia@p1@l1000@n10@e8.88@d12@g@s@v@Gl1000@w0@C";
  const ScheduleFile schedule =
      read_schedule(write(record + std::to_string(bvbs::checksum(record)) + "@\r\n"), {});
  EXPECT_THAT(schedule.remarks, ElementsAre(HasSubstr("line 1: the stated weight was taken")));
}

TEST_F(ImportSchedule, LettersBeyondAsciiAreRemarked) {
  const std::string record = "BF2D@Hr\xFC@ia@p1@l1000@n1@e0.888@d12@g@s@v@Gl1000@w0@C";
  const ScheduleFile schedule =
      read_schedule(write(record + std::to_string(bvbs::checksum(record)) + "@\r\n"), {});
  EXPECT_THAT(schedule.remarks,
              ElementsAre("line 1: letters beyond ASCII were taken as Windows-1252"));
  EXPECT_EQ(schedule.bars[0].drawing.sheet, "ü");
}

TEST_F(ImportSchedule, AWeightThatIsMissingIsRemarked) {
  EXPECT_THAT(read_schedule(kGuideline, {}).remarks,
              ElementsAre("line 13: no weight is stated; the mass per metre is 0"));
}

}  // namespace
}  // namespace korvane::tool
