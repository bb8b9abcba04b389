#include "tests/support/store_test.h"

#include <stdexcept>

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/Statement.h>

namespace korvane::test {

using namespace model::cad;

const std::vector<std::string> kTables = {"project",   "material",      "sheet", "revision",
                                          "barspacer", "end_treatment", "rebar", "fabric_type",
                                          "fabric",    "mountingpart"};

Reader::Reader(const std::string& file) : connection_(file, PlainConnection::Mode::kRead) {
  connection_.run("begin; select count(*) from sqlite_master");
}

std::string Reader::count(const std::string& table) {
  return *connection_.rows("select count(*) from " + table).at(0).at(0);
}

void Reader::let_go() { connection_.run("commit"); }

StoreTest::StoreTest() : file_(folder_.file("project.db")) { reopen(); }

void StoreTest::reopen() {
  close();
  project_ = std::make_shared<Project_Service_Impl>(0, file_);
}

void StoreTest::reopen_under(ConnectionWatch& watch) {
  reopen();
  watch.forget();
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

Rows StoreTest::all_of(const std::string& table) const {
  return rows("select * from " + table + " order by id");
}

NamedRow StoreTest::only_row(const std::string& table) const {
  if (count(table) != 1) throw std::runtime_error("not one row: " + table);
  return PlainConnection(file_, PlainConnection::Mode::kRead).named_row("select * from " + table);
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

std::int32_t StoreTest::make_fabric_type(std::int32_t material_id, const std::string& type_name) {
  FabricTypeRef reply;
  project().create_fabric_type(minimal_fabric_type(material_id, type_name), reply);
  return reply.id.value();
}

std::vector<Rebar> StoreTest::bars_of(std::int32_t rev_id) {
  return read_content<GetAllRebars>(project(), rev_id);
}

std::vector<Fabric> StoreTest::fabrics_of(std::int32_t rev_id) {
  return read_content<GetAllFabrics>(project(), rev_id);
}

std::vector<BarSpacer> StoreTest::spacers_of(std::int32_t rev_id) {
  return read_content<GetAllBarSpacers>(project(), rev_id);
}

std::vector<MountingPart> StoreTest::parts_of(std::int32_t rev_id) {
  return read_content<GetAllMountingParts>(project(), rev_id);
}

void StoreTest::delete_revision(std::int32_t rev_id) {
  GenericReply reply;
  project().delete_revision(by_id<RevisionRef>(rev_id), reply);
}

void StoreTest::clear(std::int32_t rev_id) {
  GenericReply reply;
  project().clear_for_revision(by_id<RevisionRef>(rev_id), reply);
}

// SQLite raises the limit to the number of pages that the file has.
void StoreTest::fill_disk() { query("PRAGMA max_page_count = 1"); }
void StoreTest::free_disk() { query("PRAGMA max_page_count = 1000000"); }

void StoreTest::refuse(const std::string& action, const std::string& table,
                       const std::string& condition) {
  run_plainly("create trigger refusal before " + action + " on " + table + " when " + condition +
              " begin select raise(abort, 'refused by the test'); end");
}

void StoreTest::refuse_no_more() { run_plainly("drop trigger refusal"); }

void StoreTest::wait_for_no_lock() { query("PRAGMA busy_timeout = 0"); }

}  // namespace korvane::test
