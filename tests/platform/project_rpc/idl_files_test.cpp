#include "platform/project_rpc/idl_files.h"

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.h"
#include "contracts/common/contracts.h"
#include "contracts/geometry/contracts.h"
#include "platform/project_rpc/contracts.h"

namespace korvane::rpc {
namespace {

using testing::HasSubstr;

class SchemaFiles : public testing::Test {
 protected:
  SchemaFiles() {
    for (const IdlFile& file : idl_files()) texts_[file.name] = file.text;
  }

  const std::string& text(const std::string& name) { return texts_.at(name); }
  const std::string& cad() { return text("korvane.model.cad.bond"); }

  std::map<std::string, std::string> texts_;
};

std::vector<std::string> lines_of(const std::string& text) {
  std::istringstream input(text);
  std::vector<std::string> lines;
  for (std::string line; std::getline(input, line);) lines.push_back(line);
  return lines;
}

std::string file_text(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

TEST_F(SchemaFiles, ThereIsOneForEachNamespaceAndOneForTheServices) {
  EXPECT_THAT(texts_, testing::UnorderedElementsAre(testing::Key("korvane.bond"),
                                                    testing::Key("korvane.model.bond"),
                                                    testing::Key("korvane.model.cad.bond"),
                                                    testing::Key("korvane.model.geometry.bond"),
                                                    testing::Key("korvane.model.table.bond"),
                                                    testing::Key("korvane.services.bond")));
}

TEST_F(SchemaFiles, TheReferenceInTheDocumentationIsWhatIsGenerated) {
  for (const auto& [name, generated] : texts_) {
    EXPECT_EQ(file_text(std::filesystem::path(KORVANE_CONTRACTS_REFERENCE) / name), generated)
        << "write it anew: korvane schema --output docs/contracts";
  }
}

TEST_F(SchemaFiles, AStructHasItsAttributesOrdinalsTypesAndStatedDefaults) {
  EXPECT_THAT(cad(), HasSubstr(R"(
[DbStoreAsBlob("raw")]
[DbPrimaryKey("id")]
struct Sheet
{
    0: int32 id = -1;
    [DbOption("unique")]
    1: string uid;
    [DbOption("ignore")]
    2: string name;
    [DbOption("ignore")]
    3: string comment;
    [DbOption("ignore")]
    4: map<string, korvane.Variant> properties;
}
)"));
}

TEST_F(SchemaFiles, ADefaultIsLeftOutUnlessItDiffersOrIsStated) {
  EXPECT_THAT(cad(), HasSubstr("    10: double total_length;\n"));
  EXPECT_THAT(cad(), HasSubstr("    20: double standard_bend_diameter = 0.0;\n"));
  EXPECT_THAT(cad(), HasSubstr("    17: int32 multiplier = 1;\n"));
  EXPECT_THAT(cad(), HasSubstr("    7: string type_description = \"\";\n"));
  EXPECT_THAT(cad(), HasSubstr("    3: HookDirection direction = kLeft;\n"));
  EXPECT_THAT(cad(), HasSubstr("    0: bool reset_schema = true;\n"));
  EXPECT_THAT(cad(), HasSubstr("    0: double width = 0.04;\n"));
  EXPECT_THAT(text("korvane.bond"), HasSubstr("    0: double r = 1.0;\n"));
}

TEST_F(SchemaFiles, AReferenceDerivesFromTheReplyAndDefaultsToNothing) {
  EXPECT_THAT(cad(), HasSubstr(R"(
struct RevisionRef : korvane.GenericReply
{
    0: int32 id = nothing;
    1: string uid = nothing;
}
)"));
}

TEST_F(SchemaFiles, GapsInTheOrdinalsStayAndAreToldOf) {
  EXPECT_THAT(cad(), HasSubstr("    17: nullable<Hook> end_hook;\n"
                               "    // 18 to 19: no field, and never to be given to one\n"
                               "    20: double"));
  EXPECT_THAT(cad(), HasSubstr("    // 30: no field, and never to be given to one\n"));
  EXPECT_THAT(cad(), testing::Not(HasSubstr("    30: ")));
}

TEST_F(SchemaFiles, WhoGeneratesCSharpIsToldOfTheNameThatIsAKeyword) {
  EXPECT_THAT(text("korvane.model.table.bond"),
              HasSubstr("    // a keyword of C#: for C# give it another name here; Compact Binary "
                        "carries no names\n"
                        "    1: map<string, korvane.Variant> params;\n"));
}

TEST_F(SchemaFiles, GenericStructsKeepTheirParameter) {
  EXPECT_THAT(text("korvane.bond"),
              HasSubstr("\nstruct Batch<T>\n{\n    0: vector<T> items;\n}\n"));
  EXPECT_THAT(text("korvane.bond"),
              HasSubstr("\nstruct OptionalValue<T>\n{\n    0: T value = nothing;\n}\n"));
}

TEST_F(SchemaFiles, AnEnumerationHasItsNumbers) {
  EXPECT_THAT(cad(), HasSubstr("\nenum DiffState\n{\n    kModified = 0,\n    kRemoved = 1,\n"
                               "    kAdded = 2,\n}\n"));
}

TEST_F(SchemaFiles, ServicesHaveTheirOperationsInOrder) {
  const std::string& services = text("korvane.services.bond");
  EXPECT_THAT(services, HasSubstr("\nservice ProjectManager_Service\n{\n"
                                  "    korvane.model.OpenProjectResponse "
                                  "open(korvane.model.OpenProjectRequest);\n"));
  EXPECT_THAT(services, HasSubstr("    korvane.GenericReply "
                                  "add_rebar(korvane.Batch<korvane.model.cad.Rebar>);\n"
                                  "    korvane.Batch<korvane.model.cad.Rebar> "
                                  "get_rebars(korvane.model.cad.RevisionRef);\n"));
}

TEST_F(SchemaFiles, EveryContractIsDeclaredOnce) {
  std::multiset<std::string> declared;
  const std::regex declaration(R"((struct|enum) (\w+).*)");
  for (const auto& [name, text] : texts_) {
    for (const std::string& line : lines_of(text)) {
      std::smatch match;
      if (std::regex_match(line, match, declaration)) declared.insert(match[2]);
    }
  }
#define COUNT(name) +1
  constexpr std::size_t contracts =
      0 KORVANE_COMMON_CONTRACTS(COUNT) KORVANE_GEOMETRY_CONTRACTS(COUNT)
          KORVANE_CAD_CONTRACTS(COUNT) KORVANE_PROJECT_RPC_CONTRACTS(COUNT);
  constexpr std::size_t enumerations = 0 KORVANE_COMMON_ENUMERATIONS(COUNT)
      KORVANE_GEOMETRY_ENUMERATIONS(COUNT) KORVANE_CAD_ENUMERATIONS(COUNT);
#undef COUNT
  const std::size_t generics = 2;
  EXPECT_EQ(declared.size(), contracts + enumerations + generics);
  const std::set<std::string> distinct(declared.begin(), declared.end());
  EXPECT_EQ(distinct.size(), declared.size());
}

TEST_F(SchemaFiles, NothingIsMentionedBeforeItIsDeclared) {
  const std::set<std::string> built_in = {"int32",  "double", "string",   "bool", "blob",
                                          "vector", "map",    "nullable", "T"};
  const std::regex declaration(R"((struct|enum) (\w+)(<T>)?( : ([\w.]+))?)");
  const std::regex field(R"(    \d+: ([\w.<>, ]+?) \w+( = .*)?;)");
  const std::regex type_name(R"([\w.]+)");
  for (const auto& [name, text] : texts_) {
    std::set<std::string> known = built_in;
    for (const std::string& line : lines_of(text)) {
      std::smatch match;
      if (std::regex_match(line, match, declaration)) {
        known.insert(match[2]);
      } else if (std::regex_match(line, match, field)) {
        const std::string type = match[1];
        for (std::sregex_iterator it(type.begin(), type.end(), type_name), end; it != end; ++it) {
          const bool is_imported = it->str().find('.') != std::string::npos;
          EXPECT_TRUE(is_imported || known.count(it->str()) != 0) << name << ": " << line;
        }
      }
    }
  }
}

TEST_F(SchemaFiles, EveryImportedFileIsThere) {
  const std::regex import(R"re(import "(.*)")re");
  for (const auto& [name, text] : texts_) {
    for (const std::string& line : lines_of(text)) {
      std::smatch match;
      if (!std::regex_match(line, match, import)) continue;
      EXPECT_EQ(texts_.count(match[1]), 1U) << name << ": " << line;
    }
  }
}

TEST_F(SchemaFiles, EveryLineIsOfTheGrammar) {
  const std::regex grammar(
      R"re(|import "[\w.]+\.bond"|namespace [\w.]+|[{}])re"
      R"re(|(struct|enum|service) \w+(<T>)?( : [\w.]+)?)re"
      R"re(|( {4})?\[\w+\("\w*"\)\]|    // .+|    \w+ = \d+,|    [\w.<>]+ \w+\([\w.<>]+\);)re"
      R"re(|    \d+: [\w.<>]+(, [\w.<>]+)? \w+( = (-?\d+(\.\d+)?|true|false|nothing|\w+|""))?;)re");
  for (const auto& [name, text] : texts_) {
    for (const std::string& line : lines_of(text)) {
      EXPECT_TRUE(std::regex_match(line, grammar)) << name << ": " << line;
    }
  }
}

}  // namespace
}  // namespace korvane::rpc
