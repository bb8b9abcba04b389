// Writes the inputs that the fuzz targets begin with, a folder for each target, and the dictionary
// of the contracts' field names: make_seeds FOLDER.

#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "model/tables/tables.h"
#include "tests/bond/bytes.h"
#include "tests/host/http/request_rows.h"
#include "tests/support/every_contract.h"
#include "tests/support/filled_record.h"
#include "tests/support/random_record.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

/// The seeds of one target, each in a file with a number for its name.
class SeedFolder {
 public:
  explicit SeedFolder(fs::path folder) : folder_(std::move(folder)) {
    fs::remove_all(folder_);
    fs::create_directories(folder_);
  }

  void add(std::string_view bytes) {
    std::ofstream file;
    file.exceptions(std::ios::badbit | std::ios::failbit);
    file.open(folder_ / std::to_string(++count_), std::ios::binary);
    file << bytes;
  }

  /// An input of a contract: its number, and the bytes.
  void add(std::uint8_t contract, std::string_view bytes) {
    add(static_cast<char>(contract) + std::string(bytes));
  }

 private:
  fs::path folder_;
  std::size_t count_ = 0;
};

std::vector<std::string> lines_of(const fs::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

/// The contracts' numbers by their plain names; of a generic one the first's.
std::map<std::string, std::uint8_t, std::less<>> contract_numbers() {
  std::map<std::string, std::uint8_t, std::less<>> numbers;
  std::uint8_t next = 0;
  korvane::test::for_each_contract([&]<class T>() {
    numbers.emplace(bond::plain_name(bond::Describe<T>::qualified_name), next++);
  });
  return numbers;
}

/// Every contract at its defaults, filled and at random, as bytes and as JSON.
void add_records(SeedFolder& decode, SeedFolder& json) {
  constexpr std::uint32_t kRandomRecords = 8;
  std::uint8_t number = 0;
  korvane::test::for_each_contract([&]<class T>() {
    std::vector<T> records = {T{}, korvane::test::Filler().make<T>()};
    for (std::uint32_t seed = 1; seed <= kRandomRecords; ++seed) {
      records.push_back(korvane::test::RandomFiller(seed).make<T>());
    }
    for (const T& record : records) {
      decode.add(number, korvane::test::view(korvane::encoding::encode(record)));
      json.add(number, korvane::encoding::to_json(record));
    }
    ++number;
  });
}

void add_reference_vectors(SeedFolder& decode) {
  const auto numbers = contract_numbers();
  for (const char* const file : {"golden.jsonl", "decode.jsonl", "typical.jsonl"}) {
    for (const std::string& line : lines_of(fs::path(KORVANE_TEST_DATA) / "encoding" / file)) {
      const Json vector = Json::parse(line);
      const auto number = numbers.find(vector.at("struct").get<std::string>());
      if (number == numbers.end()) throw std::runtime_error("no contract for: " + line);
      decode.add(number->second, korvane::test::from_hex(vector.at("hex").get<std::string>()));
    }
  }
}

/// What is nearly JSON, for a few contracts.
void add_strange_json(SeedFolder& json) {
  const auto numbers = contract_numbers();
  const std::string deep(70, '[');
  for (const std::string& text :
       std::vector<std::string>{"",
                                " ",
                                "{}",
                                "null",
                                "[]",
                                "{\"id\":1e0}",
                                "{\"id\":1.5}",
                                "{\"id\":-0}",
                                "{\"id\":2147483648}",
                                "{\"id\":1e999}",
                                "{\"id\":\"NaN\"}",
                                "{\"id\":1,\"id\":2}",
                                "{\"no such field\":{}}",
                                "{\"uid\":\"\\ud83d\\ude00\\u0000\"}",
                                "{\"uid\":\"\\ud83d\"}",
                                "{\"uid\":\"\xFF\"}",
                                "{\"uid\":\"\xC3\xA4\"}",
                                "\xEF\xBB\xBF{}",
                                "{} {}",
                                "{\"properties\":{\"two words\":{\"value_blob\":\"AAE=\"}}}",
                                "{\"properties\":{\"\":{\"value_blob\":\"AAF=\"}}}",
                                "{\"properties\":" + deep}) {
    for (const char* const contract : {"Rebar", "Sheet", "Variant"}) {
      json.add(numbers.at(contract), text);
    }
  }
}

/// Each schedule of the examples whole, and each of its lines by itself.
void add_schedules(SeedFolder& bvbs) {
  for (const auto& entry : fs::directory_iterator(KORVANE_EXAMPLES)) {
    if (entry.path().extension() != ".abs") continue;
    std::string whole;
    for (const std::string& line : lines_of(entry.path())) {
      bvbs.add(line);
      whole += line + "\n";
    }
    bvbs.add(whole);
  }
  const std::string header = "BF2D@Hj@r@i@p1@l100@n2@e0.1@d12@gB500A@s48@v@";
  for (const std::string& line : std::vector<std::string>{
           "", "\r\n", "\n\n", "BF2D@", "BF2D@C65@", header, header + "C65@\rC65@",
           header + "Gl100@w0@PxyC@C12@C65@", header + "Gl1e308@w0@l1e308@w0@C65@",
           "BF3D@Hl1e308@n2147483647@d1e200@p@Gx1e308@x1e308@C65@",
           "BFWE@Hl1@n1@d1@p1.2@c3@t4@Gr1,5@w360@n1@g2@C65@", "BFMA@Hl1@b1@n1@mQ\xC4@Gxl2@w0@C65@",
           "BF2D@H\x81l1@C65@"}) {
    bvbs.add(line);
  }
}

/// Documents of projects, whole and faulty.
void add_documents(SeedFolder& document) {
  const std::string head = R"({"format":"korvane project","version":1,)";
  for (
      const std::string& text : std::vector<std::string>{
          "{}", R"({"format":"korvane project","version":2})", head + R"("sheets":[]})",
          head + R"("sheets":7,"materials":{},"project":[]})",
          head +
              R"("materials":[{"id":1},{"id":1,"uid":"m"}],"fabric_types":[{"material":{"id":1}}],)"
              R"("sheets":[{"sheet":{"name":"417"},"revisions":[{"revision":{},"bars":[)"
              R"({"material_id":1},{"material_id":2},{"mark":"\\\u20ac"}],"fabrics":[{}],)"
              R"("bar_spacers":[{},{"length":1e99}],"mounting_parts":[{"material_id":1}]}]}]})",
          head + R"("materials":[{"id":1}], "sheets" : [ { "revisions" : [ { "bars" : [ {)"
                 R"("material_id" : 1 } ] , "revision" : {} } ], "sheet" : {"uid":"u"} } ] })"}) {
    document.add(text);
  }
}

/// Every request, and what is none, of the parser's tests. Long ones would slow every run.
void add_requests(SeedFolder& http) {
  constexpr std::size_t kLong = 10'000;
  for (const korvane::test::RequestRow& row : korvane::test::request_rows()) {
    if (row.bytes.size() <= kLong) http.add(row.bytes);
  }
}

/// A record of each table that stores some, at its defaults, filled, cut and at random, and the marks
/// of changes.
void add_stored_records(SeedFolder& sql) {
  std::uint8_t table_number = 0;
  const auto add = [&]<class T>(const korvane::model::tables::Table<T>&) {
    if constexpr (!std::is_same_v<T, korvane::model::cad::EndTreatment>) {
      const std::string filled{
          korvane::test::view(korvane::encoding::encode(korvane::test::Filler().make<T>()))};
      sql.add(table_number, korvane::test::view(korvane::encoding::encode(T{})));
      sql.add(table_number, filled);
      sql.add(table_number, filled.substr(0, filled.size() / 2));
      for (std::uint32_t seed = 1; seed <= 4; ++seed) {
        const T record = korvane::test::RandomFiller(seed).make<T>();
        sql.add(table_number, korvane::test::view(korvane::encoding::encode(record)));
      }
      if constexpr (std::is_same_v<T, korvane::model::cad::Sheet> ||
                    std::is_same_v<T, korvane::model::cad::Revision>) {
        for (const char* const step : {"filling", "whole", "placed", "removing", "importing"}) {
          T record{};
          korvane::Variant& mark = record.properties["korvane.change"];
          mark.value_int32.set(1);
          mark.value_string.set(std::string(step) + " someone 1");
          record.properties["korvane.import"].value_string.set("r\ns\n");
          sql.add(table_number, korvane::test::view(korvane::encoding::encode(record)));
        }
      }
      ++table_number;
    }
  };
  korvane::model::tables::for_each_table(add);
}

void add_choices(SeedFolder& model) {
  constexpr std::uint32_t kSeeds = 60;
  for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
    std::mt19937 random(seed);
    std::string bytes(std::size_t{seed} * 16, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    model.add(bytes);
  }
}

/// All names that stand in the contracts' JSON.
void write_json_dictionary(const fs::path& path) {
  std::set<std::string> names;
  korvane::test::for_each_contract([&]<class T>() {
    korvane::encoding::JsonSchemas schemas;
    korvane::encoding::add_json_schema<T>(schemas, korvane::encoding::SchemaOf::reply);
    for (const auto& [name, schema] : schemas) {
      if (!schema.contains("properties")) {
        for (const auto& each : schema.at("anyOf").at(0).at("enum")) names.insert(each);
        continue;
      }
      for (const auto& [field, property] : schema.at("properties").items()) names.insert(field);
    }
  });
  std::ofstream file;
  file.exceptions(std::ios::badbit | std::ios::failbit);
  file.open(path);
  for (const std::string& name : names) file << "\"\\\"" << name << "\\\"\"\n";
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) {
    std::cerr << "usage: make_seeds FOLDER\n";
    return 1;
  }
  try {
    const fs::path folder = arguments[1];
    SeedFolder decode(folder / "decode");
    SeedFolder json(folder / "json");
    SeedFolder bvbs(folder / "bvbs");
    SeedFolder document(folder / "document");
    SeedFolder http(folder / "http");
    SeedFolder model(folder / "model");
    SeedFolder sql(folder / "sql");
    add_records(decode, json);
    add_reference_vectors(decode);
    add_strange_json(json);
    add_schedules(bvbs);
    add_documents(document);
    add_requests(http);
    add_choices(model);
    add_stored_records(sql);
    write_json_dictionary(folder / "json.dict");
  } catch (const std::exception& failure) {
    std::cerr << failure.what() << '\n';
    return 1;
  }
  return 0;
}
