#include <string>

#include <gtest/gtest.h>

#include "contracts/encoding/record_codec.h"
#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/table.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/records.h"

namespace korvane::test {

namespace {

using namespace model;

/// The bytes of `record`, which have to give the record back.
template <class T>
std::string bytes_of(const T& record) {
  const bond::blob bytes = encoding::encode(record);
  EXPECT_EQ(encoding::decode<T>(bytes), record);
  return hex(bytes.data(), bytes.size());
}

TEST(OpenProjectRequest, HasItsFilenameFirst) {
  EXPECT_EQ(bytes_of(OpenProjectRequest{"a.db"}), "0904612E646200");
  EXPECT_EQ(bytes_of(OpenProjectRequest{}), "00");
}

TEST(OpenProjectResponse, FollowsItsBase) {
  OpenProjectResponse reply;
  reply.service_id = "p:0";
  EXPECT_EQ(bytes_of(reply), "010903703A3000");
  reply.error.set("no");
  EXPECT_EQ(bytes_of(reply), "0B0901026E6F010903703A3000");
}

TEST(ListProjectRequest, CarriesNothing) { EXPECT_EQ(bytes_of(ListProjectRequest{}), "00"); }

TEST(ProjectInfo, HasItsThreeTextsInOrder) {
  EXPECT_EQ(bytes_of(ProjectInfo{"p", "f", "x"}), "09017029016649017800");
}

TEST(ProjectList, FollowsItsBase) {
  ProjectList list;
  list.projects = {{"p", "f", ""}};
  EXPECT_EQ(bytes_of(list), "010B0A010901702901660000");
  EXPECT_EQ(bytes_of(ProjectList{}), "0100");
}

TEST(GetTable, HasKindAndParams) {
  EXPECT_EQ(bytes_of(table::GET_TABLE{"k", {{"q", text_variant("s")}}}),
            "09016B2D090A010171"
            "4B0901017300"
            "00");
}

TEST(TableColumn, LeavesOutTheKindItStartsWith) {
  EXPECT_EQ(bytes_of(table::TableColumn{}), "00");
  EXPECT_EQ(bytes_of(table::TableColumn{"n", 0}), "09016E300000");
}

TEST(Table, HasColumnsAndThenRowsOfCells) {
  const table::TABLE table{{{"n", 2}}, {{text_variant("s"), Variant{}}}};
  EXPECT_EQ(bytes_of(table),
            "0B0A01"
            "09016E300400"
            "2B0B01"
            "0A02"
            "4B0901017300"
            "00"
            "00");
}

}  // namespace

}  // namespace korvane::test
