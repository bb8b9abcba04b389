#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

#include <stdexcept>

namespace korvane::test {

using namespace model::cad;

Reader::Reader(const std::string& file) : connection_(file, PlainConnection::Mode::kRead) {
  connection_.run("begin; select count(*) from sqlite_master");
}

std::string Reader::count(const std::string& table) {
  return *connection_.rows("select count(*) from " + table).at(0).at(0);
}

void Reader::let_go() { connection_.run("commit"); }

std::int32_t ContentTest::make_fabric_type(std::int32_t material_id, const std::string& type_name) {
  FabricTypeRef reply;
  project().create_fabric_type(minimal_fabric_type(material_id, type_name), reply);
  return reply.id.value();
}

void ContentTest::add(const std::vector<Fabric>& fabrics) {
  GenericReply reply;
  project().add_fabric({fabrics}, reply);
}

void ContentTest::add(const std::vector<BarSpacer>& spacers) {
  GenericReply reply;
  project().add_barspacer({spacers}, reply);
}

void ContentTest::add(const std::vector<MountingPart>& parts) {
  GenericReply reply;
  project().add_mountingpart({parts}, reply);
}

std::vector<Fabric> ContentTest::fabrics_of(std::int32_t rev_id) {
  FabricRef request;
  request.rev_id = rev_id;
  Fabrics reply;
  project().get_all_fabrics_for_revision(request, reply);
  return reply.fabrics;
}

std::vector<BarSpacer> ContentTest::spacers_of(std::int32_t rev_id) {
  BarSpacers reply;
  project().get_all_barspacers_for_revision(by_id<RevisionRef>(rev_id), reply);
  return reply.barspacers;
}

std::vector<MountingPart> ContentTest::parts_of(std::int32_t rev_id) {
  MountingPartRef request;
  request.rev_id = rev_id;
  MountingParts reply;
  project().get_all_mountingparts_for_revision(request, reply);
  return reply.mountingParts;
}

void ContentTest::clear(std::int32_t rev_id) {
  GenericReply reply;
  project().clear_for_revision(by_id<RevisionRef>(rev_id), reply);
}

NamedRow ContentTest::only_row(const std::string& table) const {
  if (count(table) != 1) throw std::runtime_error("not one row: " + table);
  return PlainConnection(file(), PlainConnection::Mode::kRead).named_row("select * from " + table);
}

Rows ContentTest::all_of(const std::string& table) const {
  return rows("select * from " + table + " order by id");
}

void ContentTest::refuse(const std::string& action, const std::string& table,
                         const std::string& condition) {
  run_plainly("create trigger refusal before " + action + " on " + table + " when " + condition +
              " begin select raise(abort, 'refused by the test'); end");
}

void ContentTest::refuse_no_more() { run_plainly("drop trigger refusal"); }

void ContentTest::wait_for_no_lock() { query("PRAGMA busy_timeout = 0"); }

void ContentTest::reopen_under(ConnectionWatch& watch) {
  reopen();
  watch.forget();
}

}  // namespace korvane::test
