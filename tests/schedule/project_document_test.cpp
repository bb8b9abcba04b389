#include "schedule/project_document.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "schedule/changes.h"
#include "schedule/content.h"
#include "tests/schedule/failing_project.h"
#include "tests/support/filled_record.h"
#include "tests/support/random_record.h"
#include "tests/support/records.h"
#include "tests/support/store_test.h"

namespace korvane::schedule {
namespace {

using namespace model::cad;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::ThrowsMessage;

std::string document_of(Project_Service& project, const Selection& selection = {},
                        DocumentForm form = DocumentForm::json) {
  std::string text;
  write_document(project, selection, form, [&](std::string_view piece) { text += piece; });
  return text;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = std::min(text.find('\n', begin), text.size());
    lines.push_back(text.substr(begin, end - begin));
    begin = end + 1;
  }
  return lines;
}

/// `text` with `old` in one place replaced.
std::string replaced(std::string text, const std::string& old, const std::string& with) {
  const std::size_t at = text.find(old);
  EXPECT_NE(at, std::string::npos) << old;
  if (at != std::string::npos) text.replace(at, old.size(), with);
  return text;
}

/// Another project beside that of the test.
class OtherProject {
 public:
  OtherProject() : project_(std::make_shared<Project_Service_Impl>(1, folder_.file("other.db"))) {}
  Project_Service_Impl& service() { return *project_; }
  std::string count(const std::string& table) {
    return *test::plain_rows(folder_.file("other.db"), "select count(*) from " + table)[0][0];
  }

 private:
  test::TemporaryFolder folder_;
  std::shared_ptr<Project_Service_Impl> project_;
};

/// Stores the document where no bar can be stored.
void store_and_fail(OtherProject& other, const std::string& text) {
  model::table::GET_TABLE request;
  request.kind = "sql:raw";
  request.params["query"].value_string.set(
      "create trigger refuse before insert on rebar begin select raise(abort, 'refused'); end");
  model::table::TABLE result;
  other.service().query_table(request, result);
  EXPECT_ANY_THROW(ProjectDocument(text).store(other.service(), IfFilled::refuse));
}

/// The ids of sheets begin at 2, as those of sheets that are read back do: what is made at once has
/// a mark first.
void use_first_sheet_id(Project_Service& project) {
  SheetRef ref;
  project.create_sheet({}, ref);
  GenericReply reply;
  project.delete_sheet(ref, reply);
}

/// Fills a project in the order in which a document is read back, so that ids come out the same.
template <class Filler>
void fill(Project_Service& project, Filler& filler) {
  UpdateProject data;
  filler.fill(data);
  GenericReply reply;
  project.update_project(data, reply);
  use_first_sheet_id(project);
  int number = 0;
  const auto made = [&]<class T, class Ref>(T record, void (Project_Service::*create)(T, Ref&)) {
    record.uid = "uid " + std::to_string(++number);
    if constexpr (requires { record.type_name; }) record.type_name = "type " + record.uid;
    Ref ref;
    (project.*create)(std::move(record), ref);
    return ref.id.value();
  };
  std::vector<std::int32_t> materials;
  std::vector<std::int32_t> types;
  for (int i = 0; i < 3; ++i) {
    materials.push_back(made(filler.template make<Material>(), &Project_Service::create_material));
  }
  for (int i = 0; i < 2; ++i) {
    auto type = filler.template make<FabricType>();
    type.material.id = materials[static_cast<std::size_t>(i)];
    types.push_back(made(std::move(type), &Project_Service::create_fabric_type));
  }
  for (int s = 0; s < 3; ++s) {
    const std::int32_t sheet_id =
        made(filler.template make<Sheet>(), &Project_Service::create_sheet);
    for (int r = 0; r < s; ++r) {
      auto revision = filler.template make<Revision>();
      revision.sheet_id = sheet_id;
      const std::int32_t rev_id = made(std::move(revision), &Project_Service::create_revision);
      Content content;
      for_each_kind(
          [&](auto& list) {
            list.resize(3);
            for (auto& line : list) filler.fill(line);
          },
          content);
      for (Rebar& bar : content.bars) bar.material_id.set(materials[2]);
      for (Fabric& fabric : content.fabrics) fabric.fabric_type.id = types[1];
      for (MountingPart& part : content.mounting_parts) part.material_id = materials[0];
      add_content(project, sheet_id, rev_id, content);
    }
  }
}

class Documents : public test::StoreTest {
 protected:
  /// Sheet "417" with the revisions "a" and "b", "a" with lines of every kind.
  void make_project() {
    use_first_sheet_id(project());
    Material material;
    material.identity.name = "B500A";
    MaterialRef material_ref;
    project().create_material(material, material_ref);
    material_ = material_ref.id.value();
    FabricType type = test::minimal_fabric_type(material_, "Q257");
    FabricTypeRef type_ref;
    project().create_fabric_type(type, type_ref);
    fabric_type_ = type_ref.id.value();
    Sheet sheet;
    sheet.name = "417";
    SheetRef sheet_ref;
    project().create_sheet(sheet, sheet_ref);
    sheet_ = sheet_ref.id.value();
    a_ = make_named_revision("a");
    b_ = make_named_revision("b");
    add_content(project(), sheet_, a_, content("10"));
  }

  std::int32_t make_named_revision(const std::string& name) {
    Revision revision;
    revision.sheet_id = sheet_;
    revision.name = name;
    RevisionRef ref;
    project().create_revision(revision, ref);
    return ref.id.value();
  }

  Content content(const std::string& mark) const {
    Content content;
    content.bars = {test::full_rebar(0, material_), test::minimal_bar(0, material_)};
    content.bars[0].mark = mark;
    content.fabrics = {test::full_fabric(0, fabric_type_)};
    content.bar_spacers = {test::full_bar_spacer(0)};
    content.mounting_parts = {test::full_mounting_part(0, material_)};
    return content;
  }

  std::string document() { return document_of(project()); }

  /// The faults of the project's document after a change of its text.
  std::vector<std::string> faults_of(const std::string& text) {
    return ProjectDocument(text).faults();
  }

  std::int32_t material_ = 0;
  std::int32_t fabric_type_ = 0;
  std::int32_t sheet_ = 0;
  std::int32_t a_ = 0;
  std::int32_t b_ = 0;
};

TEST_F(Documents, OfRecordsWithEveryFieldFilledComeBackTheSame) {
  test::Filler filler;
  fill(project(), filler);
  const std::string text = document();
  OtherProject other;
  const ProjectDocument read(text);
  ASSERT_THAT(read.faults(), IsEmpty());
  EXPECT_EQ(read.size(), 36U);
  EXPECT_THAT(read.store(other.service(), IfFilled::refuse).notes, IsEmpty());
  EXPECT_EQ(document_of(other.service()), text);
}

TEST_F(Documents, OfRandomRecordsComeBackTheSame) {
  for (std::uint32_t seed = 1; seed <= 10; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    OtherProject first;
    test::RandomFiller filler(seed);
    fill(first.service(), filler);
    const std::string text = document_of(first.service());
    OtherProject second;
    const ProjectDocument read(text);
    ASSERT_THAT(read.faults(), IsEmpty());
    read.store(second.service(), IfFilled::refuse);
    ASSERT_EQ(document_of(second.service()), text);
  }
}

TEST_F(Documents, OfAnEmptyProjectComeBackEmpty) {
  const std::string text = document();
  EXPECT_EQ(text,
            "{\"format\":\"korvane project\",\"version\":1,\n\"project\":{\"properties\":{}},\n"
            "\"materials\":[],\n\"fabric_types\":[],\n\"sheets\":[]}\n");
  OtherProject other;
  EXPECT_THAT(ProjectDocument(text).store(other.service(), IfFilled::refuse).revisions, IsEmpty());
  EXPECT_EQ(document_of(other.service()), text);
}

TEST_F(Documents, ReferToWhatTheirReaderHasMade) {
  make_project();
  // The ids of this project are taken in the other.
  OtherProject other;
  test::Filler filler;
  fill(other.service(), filler);
  const StoredDocument stored =
      ProjectDocument(document()).store(other.service(), IfFilled::refuse);
  ASSERT_THAT(stored.revisions, SizeIs(2));
  EXPECT_EQ(stored.revisions[0].sheet, "417");
  EXPECT_EQ(stored.revisions[0].revision, "a");
  EXPECT_EQ(stored.revisions[0].bars, 2U);
  EXPECT_EQ(stored.revisions[0].fabrics, 1U);
  EXPECT_EQ(stored.revisions[0].bar_spacers, 1U);
  EXPECT_EQ(stored.revisions[0].mounting_parts, 1U);

  const Structure structure = read_structure(other.service());
  const SelectedRevision a = select_one(structure, {"417", "a"});
  const Content content = ContentReader(other.service()).read(a.revision->record.id);
  ASSERT_THAT(content.bars, SizeIs(2));
  EXPECT_NE(*content.bars[0].material_id, material_);
  EXPECT_EQ(structure.materials.at(*content.bars[0].material_id).identity.name, "B500A");
  EXPECT_EQ(content.bars[0].sheet_id, a.sheet->record.id);
  EXPECT_EQ(content.bars[0].rev_id, a.revision->record.id);
  EXPECT_EQ(content.mounting_parts[0].material_id, *content.bars[0].material_id);
  const std::int32_t type_id = content.fabrics[0].fabric_type.id;
  EXPECT_NE(type_id, fabric_type_);
  EXPECT_EQ(structure.fabric_types.at(type_id).type_name, "Q257");
  EXPECT_EQ(structure.fabric_types.at(type_id).material.id, *content.bars[0].material_id);
}

TEST_F(Documents, OfASelectionHaveOnlyWhatItRefersTo) {
  make_project();
  Material unused;
  unused.identity.name = "S235";
  MaterialRef ref;
  project().create_material(unused, ref);
  Sheet empty;
  empty.name = "418";
  SheetRef sheet_ref;
  project().create_sheet(empty, sheet_ref);
  const std::string all = document();
  EXPECT_THAT(all, HasSubstr("S235"));
  EXPECT_THAT(all, HasSubstr("\"name\":\"418\""));
  const std::string a = document_of(project(), {"417", "a"});
  EXPECT_THAT(a, HasSubstr("\"name\":\"B500A\""));
  EXPECT_THAT(a, HasSubstr("\"name\":\"a\""));
  EXPECT_THAT(a, HasSubstr("Q257"));
  EXPECT_THAT(a, Not(HasSubstr("S235")));
  EXPECT_THAT(a, Not(HasSubstr("\"name\":\"b\"")));
  EXPECT_THAT(a, Not(HasSubstr("\"name\":\"418\"")));
  EXPECT_THAT(document_of(project(), {"417", "b"}), Not(HasSubstr("Q257")));
  EXPECT_THAT(document_of(project(), {"418", std::nullopt}), HasSubstr("\"name\":\"418\""));
  EXPECT_THAT(
      [&] {
        document_of(project(), {"5", std::nullopt});
      },
      ThrowsMessage<krv::rpc4::NotFound>("no sheet \"5\" in this project"));
}

TEST_F(Documents, AsLinesHaveEachRecordWithItsKindSheetAndRevision) {
  make_project();
  const std::vector<std::string> lines = lines_of(document_of(project(), {}, DocumentForm::ndjson));
  ASSERT_THAT(lines, SizeIs(11));
  EXPECT_THAT(lines[0], StartsWith(R"({"kind":"project","sheet":null,"revision":null,"record":{)"));
  EXPECT_THAT(lines[1], StartsWith(R"({"kind":"material","sheet":null,"revision":null,"record":)"));
  EXPECT_THAT(lines[2], StartsWith(R"({"kind":"fabric_type","sheet":null)"));
  EXPECT_THAT(lines[3], StartsWith(R"({"kind":"sheet","sheet":"417","revision":null,"record":{)"));
  EXPECT_THAT(lines[4], StartsWith(R"({"kind":"revision","sheet":"417","revision":"a","record":)"));
  EXPECT_THAT(lines[5], StartsWith(R"({"kind":"bar","sheet":"417","revision":"a","record":{)"));
  EXPECT_THAT(lines[7], StartsWith(R"({"kind":"fabric","sheet":"417","revision":"a","record":{)"));
  EXPECT_THAT(lines[8], StartsWith(R"({"kind":"bar_spacer","sheet":"417","revision":"a",)"));
  EXPECT_THAT(lines[9], StartsWith(R"({"kind":"mounting_part","sheet":"417","revision":"a",)"));
  EXPECT_THAT(lines[10], StartsWith(R"({"kind":"revision","sheet":"417","revision":"b",)"));
  for (const std::string& line : lines) encoding::check_json(line);
}

TEST_F(Documents, NameEveryRecordThatJsonCannotSayAndLookCut) {
  make_project();
  Content faulty = content("12");
  faulty.bars[0].bar_diameter = std::numeric_limits<double>::quiet_NaN();
  faulty.mounting_parts[0].mark = "\xFF";
  add_content(project(), sheet_, b_, faulty);
  for (const DocumentForm form : {DocumentForm::json, DocumentForm::ndjson}) {
    std::string text;
    EXPECT_THAT(
        [&] {
          write_document(project(), {}, form, [&](std::string_view piece) { text += piece; });
        },
        ThrowsMessage<DocumentError>(
            "sheet \"417\", revision \"b\", bar \"12\": bar_diameter: NaN cannot be written as "
            "JSON\nsheet \"417\", revision \"b\", mounting part \"\xEF\xBF\xBD\": mark: text that "
            "is not UTF-8 cannot be written as JSON"));
    const std::vector<std::string> lines = lines_of(text);
    EXPECT_THROW(encoding::check_json(form == DocumentForm::json ? text : lines.back()),
                 encoding::JsonError);
    EXPECT_THAT(text, HasSubstr("\"mark\":\"10\""));
  }
}

TEST_F(Documents, ShowTheWholeContentOfARevisionWhoseChangeWasBrokenOff) {
  make_project();
  test::FailingProject user(project());
  std::string text;
  for (std::size_t operations = 1;; ++operations) {
    user.kill_after(operations);
    try {
      replace_content(user, a_, content("11"));
      break;
    } catch (const test::Killed&) {
      text = document();
      const bool is_old = text.find("\"mark\":\"10\"") != std::string::npos;
      const bool is_new = text.find("\"mark\":\"11\"") != std::string::npos;
      EXPECT_NE(is_old, is_new);
      EXPECT_THAT(text, Not(HasSubstr("korvane.change")));
      EXPECT_THAT(text, HasSubstr("\"rev_id\":" + std::to_string(a_)));
      EXPECT_THAT(ProjectDocument(text).faults(), IsEmpty());
      EXPECT_EQ(ProjectDocument(text).size(), 5U);
    }
    user.let_live();
    finish_changes(project());
    replace_content(project(), a_, content("10"));
  }
}

TEST_F(Documents, AreToldFromOtherTexts) {
  EXPECT_TRUE(looks_like_document("{}"));
  EXPECT_TRUE(looks_like_document("\xEF\xBB\xBF \r\n{"));
  EXPECT_FALSE(looks_like_document(""));
  EXPECT_FALSE(looks_like_document("BF2D@Hj@{"));
  EXPECT_FALSE(looks_like_document("[]"));
}

TEST_F(Documents, AreReadAfterAByteOrderMarkAndInAnyOrder) {
  make_project();
  const std::string text = document();
  EXPECT_THAT(faults_of("\xEF\xBB\xBF" + text), IsEmpty());
  const std::string last = replaced(text, "\"format\":\"korvane project\",\"version\":1,", "");
  EXPECT_THAT(
      faults_of(last.substr(0, last.rfind('}')) + ",\"version\":1,\"format\":\"korvane project\"}"),
      IsEmpty());
  const ProjectDocument turned(
      R"({"sheets":[{"revisions":[{"bars":[{"material_id":7}],"revision":{}}],"sheet":{}}],)"
      R"("materials":[{"id":7}],"version":1,"format":"korvane project"})");
  EXPECT_THAT(turned.faults(), IsEmpty());
  EXPECT_EQ(turned.size(), 1U);
}

TEST_F(Documents, ThatAreNotJsonAreRefusedByTheirPlace) {
  make_project();
  const std::string text = document();
  EXPECT_THAT(faults_of(text.substr(0, text.size() - 3)),
              ElementsAre(StartsWith("malformed JSON at line ")));
  EXPECT_THAT(faults_of(""), ElementsAre("the text is empty"));
  EXPECT_THAT(faults_of(std::string(100'000, '[')), ElementsAre("nested deeper than 64 levels"));
  EXPECT_THAT(faults_of(replaced(text, "B500A", "\xFF")),
              ElementsAre(HasSubstr("malformed JSON at line 4")));
}

TEST_F(Documents, WithANumberThatNothingHoldsAreRefusedByItsPlace) {
  make_project();
  EXPECT_THAT(faults_of(replaced(document(), "\"total_length\":", "\"total_length\":1e999")),
              ElementsAre(StartsWith("sheets[0].revisions[0].bars[0].total_length: 1e999")));
}

TEST_F(Documents, AsLinesAreRefusedByName) {
  make_project();
  EXPECT_THAT(faults_of(document_of(project(), {}, DocumentForm::ndjson)),
              ElementsAre(HasSubstr("what export writes as ndjson cannot be read back")));
}

TEST_F(Documents, OfAnotherFormatOrVersionAreRefused) {
  const std::string text = document();
  EXPECT_THAT(faults_of(replaced(text, "\"version\":1", "\"version\":2")),
              ElementsAre("version: expected 1, found 2"));
  EXPECT_THAT(faults_of(replaced(text, "\"version\":1,", "")),
              ElementsAre("version: expected 1, found none"));
  EXPECT_THAT(faults_of("{}"), ElementsAre("format: expected \"korvane project\", found none"));
  EXPECT_THAT(faults_of("[1]"), ElementsAre("format: expected \"korvane project\", found none"));
  EXPECT_THAT(faults_of(R"({"format":{"a":1}})"),
              ElementsAre("format: expected \"korvane project\", found {\"a\":1}"));
}

TEST_F(Documents, NameAllTheirFaultsInOneRun) {
  EXPECT_THAT(
      faults_of("{\"format\":\"korvane project\",\"version\":1,\n"
                "\"project\":7,\n"
                "\"materials\":[\n"
                "{\"id\":1,\"uid\":\"m\"},\n"
                "{\"id\":1,\"uid\":\"m\"},\n"
                "{\"id\":2,\"physical\":{\"density\":\"x\"}}],\n"
                "\"fabric_types\":[\n"
                "{\"id\":1,\"type_name\":\"Q\",\"material\":{\"id\":1}},\n"
                "{\"id\":2,\"type_name\":\"Q\",\"material\":{\"id\":9}}],\n"
                "\"sheets\":[{\"sheet\":{\"uid\":\"a\\u0000b\"},\"revisions\":[\n"
                "{\"revision\":{\"properties\":{\"two words\":{\"value_int32\":1e99}}},\n"
                "\"bars\":[{\"material_id\":null},\n"
                "{\"material_id\":5},\n"
                "{\"material_id\":1,\"total_length\":\"NaN\"},\n"
                "{\"material_id\":1,\"mark\":\"1\",\"mark\":\"2\"}],\n"
                "\"fabrics\":[{\"fabric_type\":{\"id\":3}}],\n"
                "\"mounting_parts\":[{\"material_id\":0}],\n"
                "\"bar_spacers\":{}},\n"
                "{}]},\n"
                "{\"sheet\":{},\"sheet\":{},\"bars\":[]}],\n"
                "\"extra \xE2\x82\xAC\":1}"),
      ElementsAre(
          "line 2: project: expected an object, found a number",
          "line 5: materials[1].id: 1 is that of materials[0] already",
          "line 5: materials[1].uid: \"m\" is that of materials[0] already",
          "line 6: materials[2].physical.density: expected a number, found text",
          "line 9: fabric_types[1].type_name: \"Q\" is that of fabric_types[0] already",
          "line 9: fabric_types[1].material.id: no material 9 in this document",
          "line 10: sheets[0].sheet.uid: expected text without NUL characters",
          "line 11: sheets[0].revisions[0].revision.properties[\"two words\"].value_int32: "
          "expected an integer from -2147483648 to 2147483647, found 1e+99",
          "line 12: sheets[0].revisions[0].bars[0].material_id: expected the id of a material, "
          "found null",
          "line 13: sheets[0].revisions[0].bars[1].material_id: no material 5 in this document",
          "line 14: sheets[0].revisions[0].bars[2].total_length: NaN cannot be given as JSON",
          "line 15: sheets[0].revisions[0].bars[3].mark: given twice",
          "line 16: sheets[0].revisions[0].fabrics[0].fabric_type.id: no fabric type 3 in this "
          "document",
          "line 17: sheets[0].revisions[0].mounting_parts[0].material_id: no material 0 in this "
          "document",
          "line 18: sheets[0].revisions[0].bar_spacers: expected an array, found an object",
          "line 19: sheets[0].revisions[1].revision: is missing",
          "line 20: sheets[1].sheet: given twice", "line 20: sheets[1].bars: unknown field",
          "line 21: [\"extra \xE2\x82\xAC\"]: unknown field"));
}

TEST_F(Documents, ThatAreCutAnywhereAreRefused) {
  make_project();
  const std::string text = document();
  for (std::size_t length = 0; length + 2 < text.size(); length += 7) {
    EXPECT_THAT(faults_of(text.substr(0, length)), SizeIs(1)) << length;
  }
}

TEST_F(Documents, WithAnyCharacterChangedAreFaultyOrCanBeStored) {
  make_project();
  const std::string text = document();
  for (std::size_t at = 0; at < text.size(); at += 11) {
    for (const char c : {'"', '{', ']', ',', '1', '\\', ' '}) {
      std::string changed = text;
      changed[at] = c;
      const DocumentIndex index = index_document(changed);
      if (!index.is_rest_usable) continue;
      std::size_t lines = 0;
      for (const auto& sheet : index.sheets) {
        for (const auto& revision : sheet.revisions) {
          read_lines(changed, index, revision, [&](Content&& content) { lines += content.size(); });
        }
      }
      EXPECT_EQ(lines, index.size) << at << c;
    }
  }
}

TEST_F(Documents, WithMoreFaultsThanAreReadCountThem) {
  make_project();
  std::string text = "{\"format\":\"korvane project\",\"version\":1,\"materials\":[";
  for (int i = 0; i < 3000; ++i) text += i == 0 ? "7" : ",7";
  const std::vector<std::string> faults = faults_of(text + "]}");
  ASSERT_THAT(faults, SizeIs(1001));
  EXPECT_EQ(faults.back(), "and 2000 more");
}

TEST_F(Documents, ThatMarkAChangeAreRefused) {
  make_project();
  const std::string mark =
      R"("properties":{"korvane.change":{"value_int32":1,"value_string":"whole a:b:c 1"}})";
  const std::string sheet = replaced(document(), R"("name":"417","comment":"","properties":{})",
                                     R"("name":"417",)" + mark);
  EXPECT_THAT(faults_of(sheet),
              ElementsAre(HasSubstr("sheets[0].sheet.properties: \"korvane.change\" is for changes "
                                    "that are not complete")));
  const std::string revision =
      replaced(document(), R"("name":"a","properties":{})", R"("name":"a",)" + mark);
  EXPECT_THAT(faults_of(revision),
              ElementsAre(HasSubstr("sheets[0].revisions[0].revision.properties: ")));
}

TEST_F(Documents, WithFaultsStoreNothing) {
  make_project();
  const std::string text = replaced(document(), "\"mark\":\"10\"", "\"mark\":10");
  const ProjectDocument faulty(text);
  OtherProject other;
  EXPECT_THAT([&] { faulty.store(other.service(), IfFilled::refuse); },
              ThrowsMessage<DocumentError>(HasSubstr("bars[0].mark: expected text, found a "
                                                     "number")));
  EXPECT_EQ(other.count("material"), "0");
  EXPECT_EQ(other.count("sheet"), "0");
}

TEST_F(Documents, StoreTheLinesThatAreNotFaultyWhereThatIsAsked) {
  make_project();
  const std::string text = replaced(document(), "\"mark\":\"10\"", "\"mark\":10");
  const ProjectDocument faulty(text);
  EXPECT_TRUE(faulty.is_rest_usable());
  EXPECT_EQ(faulty.size(), 4U);
  OtherProject other;
  const StoredDocument stored = faulty.store(other.service(), IfFilled::refuse, true);
  EXPECT_EQ(stored.revisions[0].bars, 1U);
  EXPECT_EQ(other.count("rebar"), "1");
  EXPECT_EQ(other.count("fabric"), "1");

  const std::string without_sheet = replaced(text, "\"name\":\"417\"", "\"name\":417");
  const ProjectDocument unusable(without_sheet);
  EXPECT_FALSE(unusable.is_rest_usable());
  EXPECT_THROW(unusable.store(other.service(), IfFilled::replace, true), DocumentError);
}

TEST_F(Documents, AreRefusedWhereRevisionsHaveLinesAndNothingIsStored) {
  make_project();
  const std::string text = document();
  add_content(project(), sheet_, b_, content("12"));
  const std::string more = document();
  const std::vector<std::int64_t> before = counts();
  EXPECT_THAT([&] { ProjectDocument(more).store(project(), IfFilled::refuse); },
              ThrowsMessage<DocumentError>("sheet \"417\", revision \"a\" has 5 lines already\n"
                                           "sheet \"417\", revision \"b\" has 5 lines already"));
  EXPECT_EQ(counts(), before);
  // Of `text` the revision "b" is empty.
  EXPECT_THAT([&] { ProjectDocument(text).store(project(), IfFilled::refuse); },
              ThrowsMessage<DocumentError>("sheet \"417\", revision \"a\" has 5 lines already"));
}

TEST_F(Documents, TakeThePlaceOfLinesWhereThatIsAsked) {
  make_project();
  const std::string text = document();
  replace_content(project(), a_, content("11"));
  add_content(project(), sheet_, b_, content("12"));
  const StoredDocument stored = ProjectDocument(text).store(project(), IfFilled::replace);
  EXPECT_EQ(stored.revisions[0].id, a_);
  EXPECT_THAT(stored.notes, IsEmpty());
  EXPECT_EQ(document(), text);
}

TEST_F(Documents, AddLinesWhereThatIsAsked) {
  make_project();
  const std::string text = document();
  ProjectDocument(text).store(project(), IfFilled::append);
  const Content all = ContentReader(project()).read(a_);
  EXPECT_EQ(all.size(), 10U);
  EXPECT_EQ(all.bars[0], all.bars[2]);
  EXPECT_EQ(count("revision"), 2);
}

TEST_F(Documents, KeepWhatTheProjectHasOtherwiseAndSaySo) {
  make_project();
  UpdateProject data;
  data.item.properties["client"] = test::text_variant("office");
  data.item.properties["project"] = test::text_variant("Tower");
  GenericReply reply;
  project().update_project(data, reply);
  const std::string text = document();

  Material material = read_structure(project()).materials.at(material_);
  material.physical.density = 7850;
  project().update_material(material, reply);
  Sheet sheet = read_structure(project()).sheets[0].record;
  sheet.comment = "checked";
  project().update_sheet(sheet, reply);
  data.item.properties.erase("client");
  data.item.properties["project"] = test::text_variant("Bridge");
  project().update_project(data, reply);
  const StoredDocument stored = ProjectDocument(text).store(project(), IfFilled::replace);
  EXPECT_THAT(stored.notes,
              ElementsAre("material \"B500A\" is there with other values, which are kept",
                          "sheet \"417\" is there with another comment or other properties, which "
                          "are kept",
                          "the project has another \"project\", which is kept"));
  const Structure structure = read_structure(project());
  EXPECT_EQ(structure.materials.at(material_), material);
  EXPECT_EQ(structure.sheets[0].record, sheet);
  EXPECT_EQ(*structure.project.properties.at("project").value_string, "Bridge");
  EXPECT_EQ(*structure.project.properties.at("client").value_string, "office");
}

TEST_F(Documents, GetNewUidsWhereTheProjectUsesTheirs) {
  make_project();
  std::string text = document();
  text = replaced(text, "\"name\":\"417\"", "\"name\":\"500\"");
  text = replaced(text, "\"name\":\"B500A\"", "\"name\":\"S500\"");
  ProjectDocument(text).store(project(), IfFilled::refuse);
  const Structure structure = read_structure(project());
  ASSERT_THAT(structure.sheets, SizeIs(2));
  EXPECT_NE(structure.sheets[0].record.uid, structure.sheets[1].record.uid);
  EXPECT_THAT(structure.sheets[1].revisions, SizeIs(2));
  EXPECT_THAT(structure.materials, SizeIs(2));
}

TEST_F(Documents, WithSeveralSheetsOfOneNameKeepThemApart) {
  make_project();
  Sheet sheet;
  sheet.name = "417";
  SheetRef ref;
  project().create_sheet(sheet, ref);
  const std::string text = document();
  OtherProject other;
  ProjectDocument(text).store(other.service(), IfFilled::refuse);
  EXPECT_EQ(document_of(other.service()), text);
  ProjectDocument(text).store(other.service(), IfFilled::replace);
  EXPECT_EQ(document_of(other.service()), text);
}

TEST_F(Documents, ThatAreBrokenOffLeaveNothingOfThem) {
  make_project();
  const std::string text = document();
  const ProjectDocument read(text);
  for (std::size_t operations = 0;; ++operations) {
    SCOPED_TRACE("killed after " + std::to_string(operations) + " operations");
    OtherProject other;
    test::FailingProject user(other.service());
    user.kill_after(operations);
    try {
      read.store(user, IfFilled::refuse);
      EXPECT_EQ(document_of(other.service()), text);
      EXPECT_GT(operations, 10U);
      return;
    } catch (const test::Killed&) {
    }
    EXPECT_THAT(read_structure(other.service()).sheets, IsEmpty());
    finish_changes(other.service());
    // Catalogue entries may stay; they are found by name.
    read.store(other.service(), IfFilled::refuse);
    EXPECT_THAT(
        ContentReader(other.service())
            .read(select_one(read_structure(other.service()), {"417", "a"}).revision->record.id),
        SizeIs(5));
    EXPECT_EQ(other.count("material"), "1");
    EXPECT_EQ(other.count("rebar"), "2");
    ASSERT_LT(operations, 200U);
  }
}

TEST_F(Documents, ThatFailTakeBackWhatTheyHaveMade) {
  make_project();
  const std::string text = document();
  OtherProject other;
  const std::string before = document_of(other.service());
  store_and_fail(other, text);
  EXPECT_EQ(document_of(other.service()), before);
  for (const char* const table : {"material", "fabric_type", "sheet", "revision", "fabric"}) {
    EXPECT_EQ(other.count(table), "0") << table;
  }
}

TEST_F(Documents, ThatFailTakeBackNothingThatHasAUidOfTheirs) {
  make_project();
  const Structure structure = read_structure(project());
  const Sheet& own_sheet = structure.sheets[0].record;
  const Revision& own_revision = structure.sheets[0].revisions[0].record;
  OtherProject other;
  // As a client makes them that counts its uids: a sheet's is that of a revision, and the reverse.
  Sheet sheet;
  sheet.name = "there";
  sheet.uid = own_revision.uid;
  SheetRef sheet_ref;
  other.service().create_sheet(sheet, sheet_ref);
  Revision revision;
  revision.name = "there";
  revision.uid = own_sheet.uid;
  revision.sheet_id = sheet_ref.id.value();
  RevisionRef ref;
  other.service().create_revision(revision, ref);
  Sheet empty;
  empty.name = "empty";
  empty.uid = structure.sheets[0].revisions[1].record.uid;
  other.service().create_sheet(empty, sheet_ref);
  const std::string before = document_of(other.service());
  store_and_fail(other, document());
  EXPECT_EQ(document_of(other.service()), before);
  EXPECT_EQ(other.count("sheet"), "2");
  EXPECT_EQ(other.count("revision"), "1");
}

TEST_F(Documents, WithALineFeedInAUidTakeBackNothingThatItNames) {
  make_project();
  const Revision own = read_structure(project()).sheets[0].revisions[0].record;
  OtherProject other;
  Sheet sheet;
  sheet.name = "there";
  SheetRef sheet_ref;
  other.service().create_sheet(sheet, sheet_ref);
  Revision revision;
  revision.name = "there";
  revision.uid = "kept";
  revision.sheet_id = sheet_ref.id.value();
  RevisionRef ref;
  other.service().create_revision(revision, ref);
  const std::string before = document_of(other.service());
  const std::string text =
      replaced(document(), "\"uid\":\"" + own.uid + "\"", "\"uid\":\"x\\nkept\"");
  store_and_fail(other, text);
  EXPECT_EQ(document_of(other.service()), before);
  EXPECT_EQ(other.count("revision"), "1");
}

TEST_F(Documents, OfManyLinesAreHandedOverInPieces) {
  make_project();
  Content many;
  many.bars.assign(9000, test::minimal_bar(0, material_));
  replace_content(project(), a_, many);
  std::size_t largest = 0;
  std::string text;
  write_document(project(), {}, DocumentForm::json, [&](std::string_view piece) {
    largest = std::max(largest, piece.size());
    text += piece;
  });
  EXPECT_LT(largest, std::size_t{100} * 1024);
  OtherProject other;
  ProjectDocument(text).store(other.service(), IfFilled::refuse);
  EXPECT_EQ(other.count("rebar"), "9000");
  EXPECT_EQ(document_of(other.service()), text);
}

TEST(ProjectDocumentText, IsReadInOneGoHoweverItsFaultsAreOrdered) {
  // Each sheet has a fault at its end and then one at its beginning.
  std::string text = "{\"format\":\"korvane project\",\"version\":1,\n\"sheets\":[";
  constexpr std::size_t kSheets = 200000;
  for (std::size_t i = 0; i < kSheets; ++i) text += i == 0 ? "{\"a\":1}" : ",\n{\"a\":1}";
  const std::vector<std::string> faults = ProjectDocument(text + "]}").faults();
  ASSERT_THAT(faults, SizeIs(1001));
  EXPECT_EQ(faults[0], "line 2: sheets[0].sheet: is missing");
  EXPECT_EQ(faults[1], "line 2: sheets[0].a: unknown field");
  EXPECT_EQ(faults[999], "line 501: sheets[499].a: unknown field");
  EXPECT_EQ(faults.back(), "and " + std::to_string(2 * kSheets - 1000) + " more");
}

}  // namespace
}  // namespace korvane::schedule
