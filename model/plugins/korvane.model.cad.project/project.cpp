#include "model/plugins/korvane.model.cad.project/project.h"

#include <stdexcept>
#include <utility>

#include <Poco/Data/SQLite/Connector.h>
#include <Poco/Data/SQLite/SessionImpl.h>
#include <Poco/Data/SessionFactory.h>
#include <Poco/Data/Statement.h>
#include <boost/filesystem/operations.hpp>

#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "model/plugins/korvane.model.cad.project/schedule_content.h"
#include "model/plugins/korvane.model.cad.project/schema.h"
#include "model/plugins/korvane.model.cad.project/table_query.h"
#include "platform/log/log.h"

namespace korvane::model::cad {

using Poco::Data::BLOB;
using Poco::Data::Keywords::into;
using Poco::Data::Keywords::now;
using Poco::Data::Keywords::use;

namespace {

/// Opens a file once, or fails at once. The stock connector repeats a failing open until the
/// session's timeout is over: a missing folder would hold up the client for a minute. The timeout
/// is kept as the time to wait for another program's lock.
class OpenOnceConnector : public Poco::Data::SQLite::Connector {
 public:
  Poco::AutoPtr<Poco::Data::SessionImpl> createSession(const std::string& connection_string,
                                                       std::size_t timeout) override {
    Poco::AutoPtr<Poco::Data::SQLite::SessionImpl> session(
        new Poco::Data::SQLite::SessionImpl(connection_string, 0));
    session->setConnectionTimeout(timeout);
    return session;
  }
};

/// Registers the connector on the first opening, until the library goes.
void ensure_connector() {
  struct Registration {
    Registration() { Poco::Data::SessionFactory::instance().add(new OpenOnceConnector); }
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() {
      Poco::Data::SessionFactory::instance().remove(Poco::Data::SQLite::Connector::KEY);
    }
  };
  static const Registration registration;
}

constexpr std::size_t kTimeoutSeconds = 60;

/// What the reads by revision ask of their request.
std::int32_t required_id(const RevisionRef& ref, const char* operation) {
  if (!ref.id) {
    throw std::runtime_error(std::string(operation) + " requires RevisionRef.id to be set.");
  }
  return ref.id.value();
}

/// A get, where a miss is a failure.
template <class T, class Ref>
void get_or_throw(Poco::Data::Session& session, const std::string& table, const Ref& ref, T& out) {
  if (!get_t_impl(session, table, ref, out)) throw std::runtime_error("failed to get_" + table);
}

/// A get, where a miss is an answer.
template <class T, class Ref>
void try_get(Poco::Data::Session& session, const std::string& table, const Ref& ref,
             OptionalValue<T>& out) {
  if (!get_t_impl(session, table, ref, out.value.set_value())) out.value.set_nothing();
}

/// The update of an entity whose one column besides its identity is `raw`.
template <class T>
void update_raw(Poco::Data::Session& session, const std::string& table, T& record) {
  update_t_impl(session, record, [&](T& changed, BLOB& raw) {
    session << "update " + table + " set raw=? where id=?", use(raw), use(changed.id), now;
  });
}

[[noreturn]] void not_served(const char* operation) {
  throw std::logic_error(std::string(operation) + " is not served by this version");
}

}  // namespace

std::string project_name(const boost::filesystem::path& filename) {
  return filename.filename().replace_extension("").lexically_normal().string();
}

Project_Service_Impl::Project_Service_Impl(std::int32_t index, const std::string& filename)
    : Project_Service(std::string(Project_Metadata::GlobalInstanceID) + ":" +
                      std::to_string(index)),
      filename_(filename) {
  ensure_connector();
  const boost::filesystem::path path(filename);
  const bool exists = boost::filesystem::exists(boost::filesystem::status(path));
  session_ = std::make_unique<Poco::Data::Session>(Poco::Data::SQLite::Connector::KEY, filename,
                                                   kTimeoutSeconds);
  if (!session_->isConnected()) {
    throw std::runtime_error("Could not open database: " + filename);
  }
  *session_ << "PRAGMA foreign_keys = true", now;
  name_ = project_name(path);
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace)
      << krv::log::widen(filename) << L": exists=" << (exists ? 1 : 0);
  if (!exists) build_schema(nullptr);
}

Project_Service_Impl::~Project_Service_Impl() = default;

void Project_Service_Impl::build_schema(const bool* reset_schema) {
  session_->begin();
  if (reset_schema == nullptr || *reset_schema) create_tables(project_schema(), *session_);
  session_->commit();
}

void Project_Service_Impl::clear(ClearProjectRequest request, GenericReply&) {
  build_schema(&request.reset_schema);
}

void Project_Service_Impl::create_material(Material request, MaterialRef& reply) {
  create_t_impl(*session_, "material", request, reply, [&](Material& material, BLOB& raw) {
    *session_ << "insert into material (uid, raw) values (?, ?)", use(material.uid), use(raw), now;
  });
}

void Project_Service_Impl::update_material(Material request, GenericReply&) {
  update_raw(*session_, "material", request);
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

void Project_Service_Impl::create_fabric_type(FabricType, FabricTypeRef&) {
  not_served("create_fabric_type");
}

void Project_Service_Impl::update_fabric_type(FabricType, GenericReply&) {
  not_served("update_fabric_type");
}

void Project_Service_Impl::delete_fabric_type(FabricTypeRef, GenericReply&) {
  not_served("delete_fabric_type");
}

void Project_Service_Impl::get_fabric_type(FabricTypeRef, FabricType&) {
  not_served("get_fabric_type");
}

void Project_Service_Impl::try_get_fabric_type(FabricTypeRef, OptionalValue<FabricType>&) {
  not_served("try_get_fabric_type");
}

void Project_Service_Impl::list_fabric_type(ListFabricType, Batch<FabricType>&) {
  not_served("list_fabric_type");
}

void Project_Service_Impl::create_sheet(Sheet request, SheetRef& reply) {
  create_t_impl(*session_, "sheet", request, reply, [&](Sheet& sheet, BLOB& raw) {
    *session_ << "insert into sheet (uid, raw) values (?, ?)", use(sheet.uid), use(raw), now;
  });
}

void Project_Service_Impl::update_sheet(Sheet request, GenericReply&) {
  update_raw(*session_, "sheet", request);
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
  create_t_impl(*session_, "revision", request, reply, [&](Revision& revision, BLOB& raw) {
    *session_ << "insert into revision (sheet_id, uid, raw) values (?, ?, ?)",
        use(revision.sheet_id), use(revision.uid), use(raw), now;
  });
}

// The column `sheet_id` keeps the sheet of creation; a changed one reaches `raw` only.
void Project_Service_Impl::update_revision(Revision request, GenericReply&) {
  update_raw(*session_, "revision", request);
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

void Project_Service_Impl::get_project(GetProject, ProjectData&) { not_served("get_project"); }

void Project_Service_Impl::update_project(UpdateProject, GenericReply&) {
  not_served("update_project");
}

void Project_Service_Impl::get_all_rebars_for_revision(RevisionRef request, Rebars& reply) {
  const std::int32_t rev_id = required_id(request, "get_all_rebars_for_revision");
  read_revision_content(*session_, "rebar", rev_id, reply.rebars);
}

void Project_Service_Impl::get_all_barspacers_for_revision(RevisionRef, BarSpacers&) {
  not_served("get_all_barspacers_for_revision");
}

void Project_Service_Impl::clear_for_revision(RevisionRef, GenericReply&) {
  not_served("clear_for_revision");
}

void Project_Service_Impl::get_all_revisions_for_sheetid(SheetRef request, Revisions& reply) {
  if (!request.id) {
    throw std::runtime_error("get_all_revisions_for_sheet() expects SheetRef.id to be set!");
  }
  append_records(reply.revisions, [&](std::int32_t& id, std::string& uid, BLOB& raw) {
    return Poco::Data::Statement(
        (*session_ << "select id, uid, raw from revision where sheet_id = ?", into(id), into(uid),
         into(raw), Poco::Data::Keywords::bind(request.id.value()), one_row()));
  });
}

void Project_Service_Impl::get_all_fabrics_for_revision(FabricRef, Fabrics&) {
  not_served("get_all_fabrics_for_revision");
}

void Project_Service_Impl::add_fabric(Batch<Fabric>, GenericReply&) { not_served("add_fabric"); }

void Project_Service_Impl::add_rebar(Batch<Rebar> request, GenericReply&) {
  add_rebars(*session_, request.items);
}

void Project_Service_Impl::get_rebars(RevisionRef request, Batch<Rebar>& reply) {
  const std::int32_t rev_id = required_id(request, "get_rebars");
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace)
      << krv::log::widen(id()) << L": get_rebars rev_id=" << rev_id;
  read_revision_content(*session_, "rebar", rev_id, reply.items);
}

void Project_Service_Impl::add_barspacer(Batch<BarSpacer>, GenericReply&) {
  not_served("add_barspacer");
}

void Project_Service_Impl::add_mountingpart(Batch<MountingPart>, GenericReply&) {
  not_served("add_mountingpart");
}

void Project_Service_Impl::get_all_mountingparts_for_revision(MountingPartRef, MountingParts&) {
  not_served("get_all_mountingparts_for_revision");
}

// Nothing happens here, for all its name.
void Project_Service_Impl::addget_rebar(Batch<Rebar>, Batch<Rebar>&) {}

void Project_Service_Impl::query_table(table::GET_TABLE request, table::TABLE& reply) {
  query_table_impl(*session_, request, reply);
}

// Nothing happens here either.
void Project_Service_Impl::query_value(table::GET_TABLE, Variant&) {}

}  // namespace korvane::model::cad
