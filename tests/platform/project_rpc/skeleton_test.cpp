#include <array>
#include <memory>
#include <ostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "bond/exception.h"
#include "contracts/encoding/record_codec.h"
#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::model::cad {

namespace {

using krv::rpc4::EncodedRequest;
using krv::rpc4::Operation;
using krv::rpc4::PeerInfo;
using krv::rpc4::Representation;

struct Entry {
  std::string_view name;
  std::string_view request;
  std::string_view reply;

  bool operator==(const Entry&) const = default;
};

void PrintTo(const Entry& entry, std::ostream* stream) {
  *stream << entry.name << "(" << entry.request << ") " << entry.reply;
}

const std::vector<Entry> kManagerOperations = {
    {"open", "korvane.model.OpenProjectRequest", "korvane.model.OpenProjectResponse"},
    {"list_", "korvane.model.ListProjectRequest", "korvane.model.ProjectList"},
};

const std::vector<Entry> kProjectOperations = {
    {"clear", "korvane.model.cad.ClearProjectRequest", "korvane.GenericReply"},
    {"create_material", "korvane.model.cad.Material", "korvane.model.cad.MaterialRef"},
    {"update_material", "korvane.model.cad.Material", "korvane.GenericReply"},
    {"delete_material", "korvane.model.cad.MaterialRef", "korvane.GenericReply"},
    {"get_material", "korvane.model.cad.MaterialRef", "korvane.model.cad.Material"},
    {"try_get_material", "korvane.model.cad.MaterialRef",
     "korvane.OptionalValue<korvane.model.cad.Material>"},
    {"list_materials", "korvane.model.cad.ListMaterials",
     "korvane.Batch<korvane.model.cad.Material>"},
    {"create_fabric_type", "korvane.model.cad.FabricType", "korvane.model.cad.FabricTypeRef"},
    {"update_fabric_type", "korvane.model.cad.FabricType", "korvane.GenericReply"},
    {"delete_fabric_type", "korvane.model.cad.FabricTypeRef", "korvane.GenericReply"},
    {"get_fabric_type", "korvane.model.cad.FabricTypeRef", "korvane.model.cad.FabricType"},
    {"try_get_fabric_type", "korvane.model.cad.FabricTypeRef",
     "korvane.OptionalValue<korvane.model.cad.FabricType>"},
    {"list_fabric_type", "korvane.model.cad.ListFabricType",
     "korvane.Batch<korvane.model.cad.FabricType>"},
    {"create_sheet", "korvane.model.cad.Sheet", "korvane.model.cad.SheetRef"},
    {"update_sheet", "korvane.model.cad.Sheet", "korvane.GenericReply"},
    {"delete_sheet", "korvane.model.cad.SheetRef", "korvane.GenericReply"},
    {"get_sheet", "korvane.model.cad.SheetRef", "korvane.model.cad.Sheet"},
    {"try_get_sheet", "korvane.model.cad.SheetRef",
     "korvane.OptionalValue<korvane.model.cad.Sheet>"},
    {"list_sheets", "korvane.model.cad.ListSheets", "korvane.Batch<korvane.model.cad.Sheet>"},
    {"create_revision", "korvane.model.cad.Revision", "korvane.model.cad.RevisionRef"},
    {"update_revision", "korvane.model.cad.Revision", "korvane.GenericReply"},
    {"delete_revision", "korvane.model.cad.RevisionRef", "korvane.GenericReply"},
    {"get_revision", "korvane.model.cad.RevisionRef", "korvane.model.cad.Revision"},
    {"try_get_revision", "korvane.model.cad.RevisionRef",
     "korvane.OptionalValue<korvane.model.cad.Revision>"},
    {"list_revisions", "korvane.model.cad.ListRevisions",
     "korvane.Batch<korvane.model.cad.Revision>"},
    {"get_project", "korvane.model.cad.GetProject", "korvane.model.cad.ProjectData"},
    {"update_project", "korvane.model.cad.UpdateProject", "korvane.GenericReply"},
    {"get_all_rebars_for_revision", "korvane.model.cad.RevisionRef", "korvane.model.cad.Rebars"},
    {"get_all_barspacers_for_revision", "korvane.model.cad.RevisionRef",
     "korvane.model.cad.BarSpacers"},
    {"clear_for_revision", "korvane.model.cad.RevisionRef", "korvane.GenericReply"},
    {"get_all_revisions_for_sheetid", "korvane.model.cad.SheetRef", "korvane.model.cad.Revisions"},
    {"get_all_fabrics_for_revision", "korvane.model.cad.FabricRef", "korvane.model.cad.Fabrics"},
    {"add_fabric", "korvane.Batch<korvane.model.cad.Fabric>", "korvane.GenericReply"},
    {"add_rebar", "korvane.Batch<korvane.model.cad.Rebar>", "korvane.GenericReply"},
    {"get_rebars", "korvane.model.cad.RevisionRef", "korvane.Batch<korvane.model.cad.Rebar>"},
    {"add_barspacer", "korvane.Batch<korvane.model.cad.BarSpacer>", "korvane.GenericReply"},
    {"add_mountingpart", "korvane.Batch<korvane.model.cad.MountingPart>", "korvane.GenericReply"},
    {"get_all_mountingparts_for_revision", "korvane.model.cad.MountingPartRef",
     "korvane.model.cad.MountingParts"},
    {"addget_rebar", "korvane.Batch<korvane.model.cad.Rebar>",
     "korvane.Batch<korvane.model.cad.Rebar>"},
    {"query_table", "korvane.model.table.GET_TABLE", "korvane.model.table.TABLE"},
    {"query_value", "korvane.model.table.GET_TABLE", "korvane.Variant"},
};

std::vector<Entry> entries(std::span<const Operation> operations) {
  std::vector<Entry> entries;
  for (const Operation& one : operations)
    entries.push_back({one.name, one.request.name, one.reply.name});
  return entries;
}

std::vector<std::string> names(const std::vector<Entry>& entries) {
  std::vector<std::string> names;
  for (const Entry& entry : entries) names.emplace_back(entry.name);
  return names;
}

/// Notes the operations that arrive at the two-argument overloads.
class RecordingManager : public ProjectManager_Service {
 public:
  RecordingManager() : ProjectManager_Service("manager of the test") {}
#define RECORD_OPERATION(name, Request, Reply, effect) \
  using Skeleton::name;                                \
  void name(Request, Reply&) override { delivered.emplace_back(#name); }
  KORVANE_PROJECT_MANAGER_OPERATIONS(RECORD_OPERATION)

  std::vector<std::string> delivered;
};

class RecordingProject : public Project_Service {
 public:
  RecordingProject() : Project_Service("project of the test") {}
  KORVANE_PROJECT_OPERATIONS(RECORD_OPERATION)
#undef RECORD_OPERATION

  std::vector<std::string> delivered;
};

/// Answers with what it was asked.
class EchoingProject : public RecordingProject {
 public:
  using Skeleton::clear;
  using Skeleton::create_material;
  void create_material(Material request, MaterialRef& reply) override {
    reply.id = request.id;
    reply.uid = request.uid;
  }
  void get_sheet(SheetRef, Sheet&) override { throw std::runtime_error("failed to get_sheet"); }
  void get_sheet(SheetRef request, Sheet& reply, const PeerInfo& peer) override {
    Skeleton::get_sheet(std::move(request), reply, peer);
  }
  void clear(ClearProjectRequest, GenericReply&, const PeerInfo& peer) override {
    peers.push_back(peer.address);
  }

  std::vector<std::string> peers;
};

/// An encoded record of which every field is left out: fits every contract.
const bond::blob kEmptyRecord("\0", 1);

template <class Service>
const Operation& operation(std::string_view name) {
  const Operation* const found = Service::definition().find(name);
  if (found == nullptr) throw std::logic_error("no such operation");
  return *found;
}

TEST(ProjectManagerSkeleton, HasItsTwoOperationsInOrder) {
  EXPECT_EQ(ProjectManager_Service::definition().name, "korvane.model.cad.ProjectManager_Service");
  EXPECT_EQ(entries(ProjectManager_Service::definition().operations), kManagerOperations);
}

TEST(ProjectSkeleton, HasItsFortyOneOperationsInOrder) {
  EXPECT_EQ(Project_Service::definition().name, "korvane.model.cad.Project_Service");
  EXPECT_EQ(entries(Project_Service::definition().operations), kProjectOperations);
  EXPECT_EQ(Project_Service::definition().operations.size(), 41U);
}

TEST(Skeletons, AreFoundUnderConstantIds) {
  EXPECT_EQ(ProjectManager_Metadata::GlobalInstanceID, "korvane.model.cad.ProjectManager");
  EXPECT_EQ(Project_Metadata::GlobalInstanceID, "korvane.model.cad.Project");
}

TEST(Skeletons, GiveBackTheIdTheyWereMadeWith) {
  EXPECT_EQ(RecordingManager().id(), "manager of the test");
  EXPECT_EQ(RecordingProject().id(), "project of the test");
}

TEST(Skeletons, AreHeldAsTheirConcreteClass) {
  EXPECT_FALSE(std::has_virtual_destructor_v<ProjectManager_Service>);
  EXPECT_FALSE(std::has_virtual_destructor_v<Project_Service>);
  EXPECT_FALSE(std::is_copy_constructible_v<RecordingProject>);
}

TEST(ProjectManagerSkeleton, DeliversTheThreeArgumentFormToTheTwoArgumentOne) {
  RecordingManager manager;
#define CALL_WITH_PEER(name, Request, Reply, effect) \
  {                                                  \
    Reply reply;                                     \
    manager.name(Request{}, reply, PeerInfo{"me"});  \
  }
  KORVANE_PROJECT_MANAGER_OPERATIONS(CALL_WITH_PEER)
#undef CALL_WITH_PEER
  EXPECT_EQ(manager.delivered, names(kManagerOperations));
}

TEST(ProjectSkeleton, DeliversTheThreeArgumentFormToTheTwoArgumentOne) {
  RecordingProject project;
#define CALL_WITH_PEER(name, Request, Reply, effect) \
  {                                                  \
    Reply reply;                                     \
    project.name(Request{}, reply, PeerInfo{"me"});  \
  }
  KORVANE_PROJECT_OPERATIONS(CALL_WITH_PEER)
#undef CALL_WITH_PEER
  EXPECT_EQ(project.delivered, names(kProjectOperations));
}

TEST(ProjectManagerSkeleton, DeliversEncodedRequestsByName) {
  RecordingManager manager;
  for (const Operation& one : ProjectManager_Service::definition().operations) {
    one.call(static_cast<ProjectManager_Service*>(&manager), kEmptyRecord, {});
  }
  EXPECT_EQ(manager.delivered, names(kManagerOperations));
}

TEST(ProjectSkeleton, DeliversEncodedRequestsByName) {
  RecordingProject project;
  for (const Operation& one : Project_Service::definition().operations) {
    one.call(static_cast<Project_Service*>(&project), kEmptyRecord, {});
  }
  EXPECT_EQ(project.delivered, names(kProjectOperations));
}

TEST(ServiceDefinition, FindsNoOperationUnderAnotherName) {
  EXPECT_EQ(Project_Service::definition().find("create_Material"), nullptr);
  EXPECT_EQ(Project_Service::definition().find("open"), nullptr);
  EXPECT_EQ(Project_Service::definition().find(""), nullptr);
}

TEST(Operation, DecodesTheRequestAndEncodesTheReply) {
  EchoingProject project;
  Material material;
  material.id = 7;
  material.uid = "m-7";
  const bond::blob reply =
      operation<Project_Service>("create_material")
          .call(static_cast<Project_Service*>(&project), encoding::encode(material), PeerInfo{});
  const auto ref = encoding::decode<MaterialRef>(reply);
  EXPECT_EQ(ref.id, 7);
  EXPECT_EQ(ref.uid, std::string("m-7"));
}

TEST(Operation, PassesThePeerToTheThreeArgumentForm) {
  EchoingProject project;
  operation<Project_Service>("clear").call(static_cast<Project_Service*>(&project), kEmptyRecord,
                                           PeerInfo{"10.0.0.7:4000"});
  EXPECT_THAT(project.peers, ::testing::ElementsAre("10.0.0.7:4000"));
  EXPECT_TRUE(project.delivered.empty());
}

TEST(Operation, PassesOnWhatTheOperationThrows) {
  EchoingProject project;
  const Operation& get_sheet = operation<Project_Service>("get_sheet");
  EXPECT_THAT(
      [&] { get_sheet.call(static_cast<Project_Service*>(&project), kEmptyRecord, PeerInfo{}); },
      ::testing::ThrowsMessage<std::runtime_error>("failed to get_sheet"));
}

TEST(Operation, PassesOnWhatDecodingThrowsAndDeliversNothing) {
  RecordingProject project;
  const Operation& add = operation<Project_Service>("add_rebar");
  EXPECT_THAT([&] { add.call(static_cast<Project_Service*>(&project), bond::blob(), PeerInfo{}); },
              ::testing::ThrowsMessage<krv::rpc4::RequestError>(
                  "Read out of bounds: 1 bytes requested, offset: 0, length: 0"));
  EXPECT_TRUE(project.delivered.empty());
}

EncodedRequest json(std::string_view text) { return {Representation::json, text}; }

std::string json_of(const krv::rpc4::Reply& reply) {
  std::string text;
  reply.write_json([&](std::string_view piece) { text += piece; });
  return text;
}

/// Answers queries with three rows, and notes what reached it.
class TabularProject : public RecordingProject {
 public:
  using Skeleton::create_sheet;
  using Skeleton::query_table;
  void query_table(model::table::GET_TABLE request, model::table::TABLE& reply) override {
    kinds.push_back(request.kind);
    reply.rows.resize(3, std::vector<Variant>(1));
  }
  void create_sheet(Sheet request, SheetRef&) override { sheets.push_back(request.name); }

  std::vector<std::string> kinds;
  std::vector<std::string> sheets;
};

/// Answers `open` with the file's name in the id.
class OpeningManager : public RecordingManager {
 public:
  using Skeleton::open;
  void open(model::OpenProjectRequest request, model::OpenProjectResponse& reply) override {
    reply.service_id = "service of " + request.filename;
  }
};

template <class Service>
std::unique_ptr<krv::rpc4::Reply> deliver(Service& service, krv::rpc4::Request& request) {
  return request.deliver(static_cast<typename Service::Skeleton*>(&service), PeerInfo{});
}

TEST(Request, OfJsonReachesTheServiceAsItsRecordAndItsReplyIsWrittenInEitherForm) {
  EchoingProject project;
  const auto request =
      operation<Project_Service>("create_material").make_request(json(R"({"id":7,"uid":"m-7"})"));
  const auto reply = deliver(project, *request);
  EXPECT_EQ(json_of(*reply), R"({"error":null,"id":7,"uid":"m-7"})");
  EXPECT_EQ(encoding::decode<MaterialRef>(reply->encoded()).id, 7);
  EXPECT_EQ(json_of(*reply), R"({"error":null,"id":7,"uid":"m-7"})");
}

TEST(Request, ThatIsNotARecordIsRefusedWhenItIsDecodedAndNotBefore) {
  RecordingProject project;
  const Operation& create = operation<Project_Service>("create_sheet");
  const auto wrong_json = create.make_request(json(R"({"name":5})"));
  const auto is_refused =
      ::testing::ThrowsMessage<krv::rpc4::RequestError>("name: expected text, found a number");
  EXPECT_THAT([&] { wrong_json->decode(); }, is_refused);
  EXPECT_THAT([&] { wrong_json->decode(); }, is_refused);
  EXPECT_THAT([&] { deliver(project, *wrong_json); }, is_refused);
  const auto surplus =
      create.make_request({Representation::compact_binary, std::string_view("\0\0", 2)});
  EXPECT_THAT([&] { deliver(project, *surplus); },
              ::testing::ThrowsMessage<krv::rpc4::RequestError>(
                  ::testing::StartsWith("1 byte follows the request's record; ")));
  EXPECT_TRUE(project.delivered.empty());
}

TEST(Request, ThatIsDeliveredAgainIsTheSameAgain) {
  TabularProject project;
  const auto request =
      operation<Project_Service>("create_sheet").make_request(json(R"({"name":"417"})"));
  deliver(project, *request);
  deliver(project, *request);
  EXPECT_THAT(project.sheets, ::testing::ElementsAre("417", "417"));
}

TEST(Request, TellsTheSqlThatItCarries) {
  const Operation& query = operation<Project_Service>("query_table");
  const auto sql_of = [&](std::string_view text) {
    return std::string(query.make_request(json(text))->sql());
  };
  EXPECT_EQ(sql_of(R"({"params":{"query":{"value_string":"select 1"}}})"), "select 1");
  EXPECT_EQ(sql_of(R"({"params":{"query":{"value_int32":1}}})"), "");
  EXPECT_EQ(sql_of("{}"), "");
  EXPECT_EQ(operation<Project_Service>("create_sheet").make_request(json("nothing"))->sql(), "");
}

TEST(Request, TellsTheFileThatItNamesAndOneForAFileIsMadeOfItsName) {
  OpeningManager manager;
  const Operation& open = operation<ProjectManager_Service>("open");
  EXPECT_EQ(open.make_request(json(R"({"filename":"a.db"})"))->file(), "a.db");
  const auto request = open.request_for_file("b.db");
  EXPECT_EQ(request->file(), "b.db");
  EXPECT_EQ(deliver(manager, *request)->service_id(), "service of b.db");
  const Operation& list = operation<ProjectManager_Service>("list_");
  EXPECT_EQ(list.make_request(json("nothing"))->file(), "");
  EXPECT_EQ(list.request_for_file, nullptr);
}

TEST(Reply, ThatIsATableIsCutToItsFirstRows) {
  TabularProject project;
  const auto request = operation<Project_Service>("query_table").make_request(json("{}"));
  const auto table = deliver(project, *request);
  EXPECT_FALSE(table->cut_rows(3));
  EXPECT_TRUE(table->cut_rows(2));
  EXPECT_EQ(encoding::decode<model::table::TABLE>(table->encoded()).rows.size(), 2U);
  EXPECT_EQ(table->service_id(), "");
  EchoingProject echo;
  const auto other = operation<Project_Service>("create_material").make_request(json("{}"));
  EXPECT_FALSE(deliver(echo, *other)->cut_rows(0));
}

TEST(ServiceDefinition, NamesWhatItsOpeningOperationOpens) {
  const krv::rpc4::ServiceDefinition& manager = ProjectManager_Service::definition();
  ASSERT_NE(manager.find_opening(), nullptr);
  EXPECT_EQ(manager.find_opening()->name, "open");
  EXPECT_EQ(&manager.opened(), &Project_Service::definition());
  EXPECT_EQ(Project_Service::definition().find_opening(), nullptr);
  EXPECT_EQ(Project_Service::definition().opened, nullptr);
}

}  // namespace

}  // namespace korvane::model::cad
