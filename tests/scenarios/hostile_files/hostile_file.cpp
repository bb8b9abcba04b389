#include "tests/scenarios/hostile_files/hostile_file.h"

#include <iostream>
#include <stdexcept>

#include "tests/support/plain_sqlite.h"
#include "tests/support/store_test.h"
#include "tests/support/watched_child.h"

namespace korvane::test {

using model::cad::Project_Service_Impl;
using std::chrono_literals::operator""s;

namespace {

/// Much longer than any one call takes.
constexpr std::chrono::seconds kPatience = 60s;

}  // namespace

const std::string& valid_bytes() {
  static const std::string bytes = [] {
    const TemporaryFolder folder;
    const std::string file = folder.file("project.db");
    fill(*std::make_unique<Project_Service_Impl>(0, file));
    return bytes_of(file);
  }();
  return bytes;
}

const std::string& grown_bytes() {
  static const std::string bytes = [] {
    const TemporaryFolder folder;
    const std::string file = folder.file("project.db");
    put_bytes(file, valid_bytes());
    PlainConnection(file, PlainConnection::Mode::kWrite)
        .run(
            "with recursive n (i) as (select 1 union all select i + 1 from n where i < 300) "
            "insert into material (uid, raw) select 'grown ' || hex(zeroblob(60)) || i, raw "
            "from n, (select raw from material limit 1);"
            "insert into fabric_type (uid, type, material_id, raw) select uid, uid, id, raw "
            "from material where id > 2; delete from fabric_type where id > 20;"
            "update project set raw = zeroblob(30000); update project set raw = x'00'");
    return bytes_of(file);
  }();
  return bytes;
}

std::size_t below(std::mt19937& random, std::size_t limit) { return random() % limit; }

void damage(std::string& bytes, std::size_t position, std::mt19937& random) {
  char& byte = bytes.at(position);
  const std::size_t choice = below(random, 12);
  if (choice == 0) {
    byte = 0;
  } else if (choice == 1) {
    byte = '\xFF';
  } else {
    byte = static_cast<char>(byte ^ (1 << below(random, 8)));
  }
}

HostileFile::HostileFile() { grown_bytes(); }

void HostileFile::run_ordeals(const std::function<void(const Undergo&)>& ordeals,
                              const std::function<std::shared_ptr<void>()>& around_each_call) {
  run_watched(kPatience, [&](const Mark& mark) {
    mark("the sound project");
    Ordeal ordeal(folder_);
    ordeal.around_each_call = around_each_call;
    int files = 0;
    ordeals([&](const std::string& name, std::uint32_t seed) {
      ++files;
      ordeal.undergo(file(), seed, mark, name);
    });
    mark("the end");
    ordeal.expect_soundness();
    std::cout << files << " files, " << ordeal.answered() << " calls answered, " << ordeal.failed()
              << " failed\n";
    if (files == 0 || ordeal.answered() + ordeal.failed() < files) {
      throw std::logic_error("nothing was tried");
    }
  });
}

void HostileFile::make_changed(const std::string& sql) const {
  put_bytes(file(), valid_bytes());
  PlainConnection(file(), PlainConnection::Mode::kWrite).run(sql);
}

void PrintTo(const Change& change, std::ostream* out) { *out << change.name; }

std::string name_of(const testing::TestParamInfo<Change>& info) { return info.param.name; }

std::string for_all_tables(const std::string& sql) {
  std::string all;
  for (const std::string& table : kTables) {
    std::string one = sql + ";";
    for (std::size_t at = 0; (at = one.find('@', at)) != std::string::npos;) {
      one.replace(at, 1, table);
    }
    all += one;
  }
  return all;
}

std::string in_the_catalogue(const std::string& sql) {
  return "PRAGMA writable_schema = on; " + sql;
}

std::string with_declarations_changed(const std::string& from, const std::string& to) {
  return in_the_catalogue("update sqlite_master set sql = replace(sql, '" + from + "', '" + to +
                          "') where type = 'table'");
}

}  // namespace korvane::test
