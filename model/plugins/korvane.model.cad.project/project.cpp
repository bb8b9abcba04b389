#include "model/plugins/korvane.model.cad.project/project.h"

#include <utility>

#include <Poco/Data/SQLite/Utility.h>
#include <boost/filesystem/operations.hpp>

#include "model/plugins/korvane.model.cad.project/connector.h"
#include "model/plugins/korvane.model.cad.project/prepared_statement.h"
#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/plugins/korvane.model.cad.project/schedule_content.h"
#include "model/plugins/korvane.model.cad.project/schema.h"
#include "model/plugins/korvane.model.cad.project/table_query.h"
#include "model/plugins/korvane.model.cad.project/transaction_scope.h"
#include "platform/assert/smart_assert.h"
#include "platform/log/log.h"
#include "platform/rpc4/failure.h"

namespace korvane::model::cad {

namespace {

constexpr std::size_t kTimeoutSeconds = 60;

/// The id that the reads by revision need. Throws std::runtime_error if it is not set.
std::int32_t required_id(const RevisionRef& ref, const char* operation) {
  if (!ref.id) {
    throw krv::rpc4::BadRequest(std::string(operation) + " requires RevisionRef.id to be set.");
  }
  return ref.id.value();
}

/// Gets a record. A miss is an error.
template <class T, class Ref>
void get_or_throw(Poco::Data::Session& session, const std::string& table, const Ref& ref, T& out) {
  if (!get_t_impl(session, table, ref, out)) throw krv::rpc4::NotFound("failed to get_" + table);
}

/// Gets a record. A miss is an answer without one.
template <class T, class Ref>
void try_get(Poco::Data::Session& session, const std::string& table, const Ref& ref,
             OptionalValue<T>& out) {
  if (!get_t_impl(session, table, ref, out.value.set_value())) out.value.set_nothing();
}

/// The update of an entity that replaces `raw` alone.
template <class T>
void update_entity(Poco::Data::Session& session, const std::string& table, const T& record) {
  update_t_impl(session, record,
                [&](tables::Bytes raw) { update_raw(session, table, raw, record.id); });
}

constexpr std::int32_t kNoProjectRow = -1;

/// The id of the one row of `project`, or `kNoProjectRow`.
std::int32_t project_row_id(Poco::Data::Session& session) {
  PreparedStatement first(session, "select id from project");
  return first.step() ? first.id(0, "project") : kNoProjectRow;
}

}  // namespace

std::string project_name(const boost::filesystem::path& filename) {
  return filename.filename().replace_extension("").lexically_normal().string();
}

Project_Service_Impl::Project_Service_Impl(std::int32_t index, const std::string& filename)
    : Project_Service(std::string(Project_Metadata::GlobalInstanceID) + ":" +
                      std::to_string(index)),
      filename_(filename) {
  const boost::filesystem::path path(filename);
  const bool exists = boost::filesystem::exists(boost::filesystem::status(path));
  session_ = std::make_unique<Poco::Data::Session>(open_session(filename, kTimeoutSeconds));
  if (!session_->isConnected()) {
    throw krv::rpc4::BadRequest("Could not open database: " + filename);
  }
  run(*session_, "PRAGMA foreign_keys = true");
  name_ = project_name(path);
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace)
      << krv::log::widen(filename) << L": exists=" << (exists ? 1 : 0);
  if (!exists) make_tables();
}

Project_Service_Impl::~Project_Service_Impl() = default;

// The file may exist after all: SQLite reads names such as "a.db/" in its own way, and another
// process may have made the file since the check. The write lock is taken first, so that nobody can
// make the tables between `has_tables` and `create_tables`.
void Project_Service_Impl::make_tables() {
  run(*session_, "BEGIN IMMEDIATE");
  if (!has_tables(*session_)) create_tables(project_schema(), *session_);
  session_->commit();
}

void Project_Service_Impl::build_schema(bool reset_schema) {
  const bool is_part = UnitTransaction::is_open(*session_);
  if (!is_part) session_->begin();
  if (reset_schema) create_tables(project_schema(), *session_);
  if (!is_part) session_->commit();
}

void Project_Service_Impl::begin_unit() { UnitTransaction::begin(*session_); }

void Project_Service_Impl::commit_unit() { UnitTransaction::commit(*session_); }

void Project_Service_Impl::roll_back_unit() noexcept { UnitTransaction::roll_back(*session_); }

sqlite3* Project_Service_Impl::connection() {
  return Poco::Data::SQLite::Utility::dbHandle(*session_);
}

void Project_Service_Impl::clear(ClearProjectRequest request, GenericReply&) {
  build_schema(request.reset_schema);
}

void Project_Service_Impl::create_material(Material request, MaterialRef& reply) {
  create_t_impl(*session_, "material", request, reply);
}

void Project_Service_Impl::update_material(Material request, GenericReply&) {
  update_entity(*session_, "material", request);
}

void Project_Service_Impl::delete_material(MaterialRef request, GenericReply&) {
  delete_t_impl(*session_, "material", std::move(request));
}

void Project_Service_Impl::get_material(MaterialRef request, Material& reply) {
  get_or_throw(*session_, "material", request, reply);
}

void Project_Service_Impl::try_get_material(MaterialRef request, OptionalValue<Material>& reply) {
  try_get(*session_, "material", request, reply);
}

void Project_Service_Impl::list_materials(ListMaterials, Batch<Material>& reply) {
  list_t_impl(*session_, "material", reply);
}

void Project_Service_Impl::create_fabric_type(FabricType request, FabricTypeRef& reply) {
  create_t_impl(*session_, "fabric_type", request, reply);
}

// The one update that rewrites every column, `uid` included.
void Project_Service_Impl::update_fabric_type(FabricType request, GenericReply&) {
  update_t_impl(*session_, request,
                [&](tables::Bytes raw) { update_row(*session_, request, {raw}); });
}

void Project_Service_Impl::delete_fabric_type(FabricTypeRef request, GenericReply&) {
  delete_t_impl(*session_, "fabric_type", std::move(request));
}

void Project_Service_Impl::get_fabric_type(FabricTypeRef request, FabricType& reply) {
  get_or_throw(*session_, "fabric_type", request, reply);
}

void Project_Service_Impl::try_get_fabric_type(FabricTypeRef request,
                                               OptionalValue<FabricType>& reply) {
  try_get(*session_, "fabric_type", request, reply);
}

void Project_Service_Impl::list_fabric_type(ListFabricType, Batch<FabricType>& reply) {
  list_t_impl(*session_, "fabric_type", reply);
}

void Project_Service_Impl::create_sheet(Sheet request, SheetRef& reply) {
  create_t_impl(*session_, "sheet", request, reply);
}

void Project_Service_Impl::update_sheet(Sheet request, GenericReply&) {
  update_entity(*session_, "sheet", request);
}

void Project_Service_Impl::delete_sheet(SheetRef request, GenericReply&) {
  delete_t_impl(*session_, "sheet", std::move(request));
}

void Project_Service_Impl::get_sheet(SheetRef request, Sheet& reply) {
  get_or_throw(*session_, "sheet", request, reply);
}

void Project_Service_Impl::try_get_sheet(SheetRef request, OptionalValue<Sheet>& reply) {
  try_get(*session_, "sheet", request, reply);
}

void Project_Service_Impl::list_sheets(ListSheets, Batch<Sheet>& reply) {
  list_t_impl(*session_, "sheet", reply);
}

void Project_Service_Impl::create_revision(Revision request, RevisionRef& reply) {
  create_t_impl(*session_, "revision", request, reply);
}

// The column `sheet_id` keeps the sheet that the revision was made for; a changed one reaches `raw`
// only.
void Project_Service_Impl::update_revision(Revision request, GenericReply&) {
  update_entity(*session_, "revision", request);
}

void Project_Service_Impl::delete_revision(RevisionRef request, GenericReply&) {
  delete_t_impl(*session_, "revision", std::move(request));
}

void Project_Service_Impl::get_revision(RevisionRef request, Revision& reply) {
  get_or_throw(*session_, "revision", request, reply);
}

void Project_Service_Impl::try_get_revision(RevisionRef request, OptionalValue<Revision>& reply) {
  try_get(*session_, "revision", request, reply);
}

void Project_Service_Impl::list_revisions(ListRevisions, Batch<Revision>& reply) {
  list_t_impl(*session_, "revision", reply);
}

void Project_Service_Impl::get_project(GetProject, ProjectData& reply) {
  const std::int32_t id = project_row_id(*session_);
  if (id == kNoProjectRow) return;
  PreparedStatement row(*session_, "select raw from project where id = ?", id);
  row.step();
  deserialize_record_into(row.bytes(0), reply);
}

void Project_Service_Impl::update_project(UpdateProject request, GenericReply&) {
  TransactionScope scope(*session_);
  const Poco::Data::BLOB raw = serialize_record(request.item);
  const std::int32_t id = project_row_id(*session_);
  if (id != kNoProjectRow) {
    update_raw(*session_, "project", bytes_of(raw), id);
  } else {
    insert_row(*session_, request.item, {bytes_of(raw)});
  }
  scope.commit();
}

void Project_Service_Impl::get_all_rebars_for_revision(RevisionRef request, Rebars& reply) {
  const std::int32_t rev_id = required_id(request, "get_all_rebars_for_revision");
  read_revision_content(*session_, "rebar", rev_id, reply.rebars);
}

void Project_Service_Impl::get_all_barspacers_for_revision(RevisionRef request, BarSpacers& reply) {
  const std::int32_t rev_id = required_id(request, "get_all_barspacers_for_revision");
  read_revision_content(*session_, "barspacer", rev_id, reply.barspacers);
}

void Project_Service_Impl::clear_for_revision(RevisionRef request, GenericReply&) {
  required_id(request, "clear_for_revision");
  clear_revision_content(*session_, request);
}

void Project_Service_Impl::get_all_revisions_for_sheetid(SheetRef request, Revisions& reply) {
  if (!request.id) {
    throw krv::rpc4::BadRequest("get_all_revisions_for_sheet() expects SheetRef.id to be set!");
  }
  PreparedStatement scan(*session_, "select id, uid, raw from revision where sheet_id = ?",
                         request.id.value());
  append_records(scan, "revision", reply.revisions);
}

// A negative id is reported by an assertion, but is no error to the client.
void Project_Service_Impl::get_all_fabrics_for_revision(FabricRef request, Fabrics& reply) {
  if (request.rev_id < 0) {
    krv::smartassert::SmartAssert("request.rev_id >= 0")
        .setFileContext(__FILE__, __LINE__)
        .debug("invalid revision id");
    return;
  }
  read_revision_content(*session_, "fabric", request.rev_id, reply.fabrics);
}

void Project_Service_Impl::add_fabric(Batch<Fabric> request, GenericReply&) {
  add_fabrics(*session_, request.items);
}

void Project_Service_Impl::add_rebar(Batch<Rebar> request, GenericReply&) {
  add_rebars(*session_, request.items);
}

void Project_Service_Impl::get_rebars(RevisionRef request, Batch<Rebar>& reply) {
  const std::int32_t rev_id = required_id(request, "get_rebars");
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace)
      << krv::log::widen(id()) << L": get_rebars rev_id=" << rev_id;
  read_revision_content(*session_, "rebar", rev_id, reply.items);
}

void Project_Service_Impl::add_barspacer(Batch<BarSpacer> request, GenericReply&) {
  add_bar_spacers(*session_, request.items);
}

void Project_Service_Impl::add_mountingpart(Batch<MountingPart> request, GenericReply&) {
  add_mounting_parts(*session_, request.items);
}

void Project_Service_Impl::get_all_mountingparts_for_revision(MountingPartRef request,
                                                              MountingParts& reply) {
  read_revision_content(*session_, "mountingpart", request.rev_id, reply.mountingParts);
}

// Does nothing, despite its name.
void Project_Service_Impl::addget_rebar(Batch<Rebar>, Batch<Rebar>&) {}

void Project_Service_Impl::query_table(table::GET_TABLE request, table::TABLE& reply) {
  query_table_impl(*session_, request, reply);
}

// Does nothing either.
void Project_Service_Impl::query_value(table::GET_TABLE, Variant&) {}

}  // namespace korvane::model::cad
