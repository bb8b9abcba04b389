#include "tests/support/store_test.h"

#include <stdexcept>

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/Statement.h>

namespace korvane::test {

using namespace model::cad;

const std::vector<std::string> kTables = {"project",   "material",      "sheet", "revision",
                                          "barspacer", "end_treatment", "rebar", "fabric_type",
                                          "fabric",    "mountingpart"};

StoreTest::StoreTest() : file_(folder_.file("project.db")) { reopen(); }

void StoreTest::reopen() {
  close();
  project_ = std::make_shared<Project_Service_Impl>(0, file_);
}

Poco::Data::Session StoreTest::own_session() const {
  Poco::Data::Session session(Poco::Data::SQLite::Connector::KEY, file_, 0);
  session << "PRAGMA foreign_keys = true", Poco::Data::Keywords::now;
  return session;
}

Poco::Data::Session StoreTest::closed_session() const {
  Poco::Data::Session session = own_session();
  session.close();
  return session;
}

CellText StoreTest::value(const std::string& sql) const {
  const Rows found = rows(sql);
  if (found.size() != 1 || found[0].size() != 1) throw std::runtime_error("no one cell: " + sql);
  return found[0][0];
}

std::int64_t StoreTest::count(const std::string& table) const {
  return std::stoll(*value("select count(*) from " + table));
}

std::vector<std::int64_t> StoreTest::counts() const {
  std::vector<std::int64_t> counts;
  for (const std::string& table : kTables) counts.push_back(count(table));
  return counts;
}

void StoreTest::run_plainly(const std::string& sql) const {
  PlainConnection(file_, PlainConnection::Mode::kWrite).run(sql);
}

void StoreTest::set_raw(const std::string& table, std::int32_t id,
                        const std::string& hex_digits) const {
  run_plainly("update " + table + " set raw = x'" + hex_digits +
              "' where id = " + std::to_string(id));
}

model::table::TABLE StoreTest::query(const std::string& sql) {
  model::table::TABLE reply;
  project().query_table({"sql:raw", {{"query", text_variant(sql)}}}, reply);
  return reply;
}

std::int32_t StoreTest::make_material(const std::string& uid) {
  Material material;
  material.uid = uid;
  MaterialRef reply;
  project().create_material(material, reply);
  return reply.id.value();
}

std::int32_t StoreTest::make_sheet(const std::string& uid) {
  Sheet sheet;
  sheet.uid = uid;
  SheetRef reply;
  project().create_sheet(sheet, reply);
  return reply.id.value();
}

std::int32_t StoreTest::make_revision(std::int32_t sheet_id, const std::string& uid) {
  Revision revision;
  revision.sheet_id = sheet_id;
  revision.uid = uid;
  RevisionRef reply;
  project().create_revision(revision, reply);
  return reply.id.value();
}

std::int32_t StoreTest::make_revision() { return make_revision(make_sheet()); }

void StoreTest::add(const std::vector<Rebar>& bars) {
  GenericReply reply;
  project().add_rebar({bars}, reply);
}

std::vector<Rebar> StoreTest::bars_of(std::int32_t rev_id) {
  Rebars reply;
  project().get_all_rebars_for_revision(by_id<RevisionRef>(rev_id), reply);
  return reply.rebars;
}

// SQLite raises the limit to the pages that are there.
void StoreTest::fill_disk() { query("PRAGMA max_page_count = 1"); }
void StoreTest::free_disk() { query("PRAGMA max_page_count = 1000000"); }

}  // namespace korvane::test
