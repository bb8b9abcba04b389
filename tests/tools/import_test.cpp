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
      project_ =
          std::make_unique<EmbeddedProject>(plugin.parent_path(), folder_.file("project.db"));
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

  template <class T, class List>
  std::size_t count(List list) {
    Batch<T> all;
    (project().*list)({}, all);
    return all.items.size();
  }
  std::size_t sheets() {
    return count<Sheet>(static_cast<void (Project_Service::*)(ListSheets, Batch<Sheet>&)>(
        &Project_Service::list_sheets));
  }
  std::size_t revisions() {
    return count<Revision>(static_cast<void (Project_Service::*)(ListRevisions, Batch<Revision>&)>(
        &Project_Service::list_revisions));
  }
  std::size_t materials() {
    return count<Material>(static_cast<void (Project_Service::*)(ListMaterials, Batch<Material>&)>(
        &Project_Service::list_materials));
  }

  test::TemporaryFolder folder_;
  std::unique_ptr<EmbeddedProject> project_;
};

TEST_F(ImportSchedule, GuidelineBecomesOneSheetOneRevisionAndItsSteels) {
  const auto imported = import(kGuideline);
  ASSERT_EQ(imported.size(), 1U);
  EXPECT_EQ(imported[0].sheet, "417");
  EXPECT_EQ(imported[0].revision, "a");
  EXPECT_EQ(imported[0].bars, 13U);
  EXPECT_EQ(sheets(), 1U);
  EXPECT_EQ(materials(), 2U);
}

TEST_F(ImportSchedule, BarsAreThereAfterTheFileIsOpenedAgain) {
  const std::int32_t rev_id = import(kGuideline)[0].id;
  const std::vector<Rebar> before = bars_of(rev_id);
  reopen();
  EXPECT_EQ(bars_of(rev_id), before);
  EXPECT_EQ(before.size(), 13U);
}

TEST_F(ImportSchedule, RecordsWithoutAHomeAreCounted) {
  const ScheduleFile schedule = read_schedule(kGuideline, {});
  EXPECT_THAT(schedule.passed_over,
              ElementsAre(testing::Pair("BF3D", 1U), testing::Pair("BFAU", 2U),
                          testing::Pair("BFMA", 3U), testing::Pair("BFWE", 2U)));
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
  EXPECT_EQ(sheets(), 0U);
  EXPECT_EQ(materials(), 0U);
}

TEST_F(ImportSchedule, ASecondImportIntoTheSameRevisionIsRefused) {
  import(kGuideline);
  EXPECT_THAT([&] { import(kGuideline); },
              ThrowsMessage<std::runtime_error>("revision \"a\" of sheet \"417\" has 13 bars "
                                                "already; name another one with --revision"));
  EXPECT_EQ(bars_of(1).size(), 13U);
}

TEST_F(ImportSchedule, AnotherRevisionSharesSheetAndSteels) {
  import(kGuideline);
  import(kGuideline, {std::nullopt, "b"});
  EXPECT_EQ(sheets(), 1U);
  EXPECT_EQ(revisions(), 2U);
  EXPECT_EQ(materials(), 2U);
}

TEST_F(ImportSchedule, AFailureTakesBackWhatItHasMade) {
  import(kGuideline);
  // The first bar goes to a new sheet, the second to a revision that is full.
  ScheduleFile schedule = read_schedule(kGuideline, {});
  schedule.bars.resize(2);
  schedule.bars[0].sheet = "new sheet";
  schedule.bars[0].steel = "new steel";
  EXPECT_THROW(store_schedule(project(), schedule), std::runtime_error);
  EXPECT_EQ(sheets(), 1U);
  EXPECT_EQ(revisions(), 1U);
  EXPECT_EQ(materials(), 2U);
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

TEST_F(ImportSchedule, AWeightThatIsMissingIsRemarked) {
  EXPECT_THAT(read_schedule(kGuideline, {}).remarks,
              ElementsAre("line 13: no weight is stated; the mass per metre is 0"));
}

}  // namespace
}  // namespace korvane::tool
