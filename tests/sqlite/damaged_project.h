#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "sqlite/check.h"
#include "tests/support/store_test.h"
#include "tests/support/text_of.h"

namespace korvane::sqlite {

/// What a check tells, a line each: "finding column: rebar 1: …".
inline std::vector<std::string> lines_of(const CheckReport& report) {
  std::vector<std::string> lines;
  for (const Finding& finding : report.findings.listed()) {
    lines.push_back(std::string(name_of(finding.severity())) + " " +
                    std::string(description_of(finding.kind).name) + ": " + finding.text);
  }
  return lines;
}

inline std::vector<std::string> check_lines(const std::string& file) {
  return lines_of(check_file(file));
}

/// A closed project with a row in every table, in which nothing is worth a note.
class SoundProject : public test::StoreTest {
 protected:
  SoundProject() {
    store_project_record();
    const std::int32_t material = make_material();
    const std::int32_t type = make_fabric_type(material);
    const std::int32_t revision = make_revision();
    auto bar = test::full_rebar(revision, material);
    bar.sheet_id = 1;
    add({bar});
    auto fabric = test::full_fabric(revision, type);
    fabric.sheet_id = 1;
    add({fabric});
    auto spacer = test::full_bar_spacer(revision);
    spacer.sheet_id = 1;
    add({spacer});
    auto part = test::full_mounting_part(revision, material);
    part.sheet_id = 1;
    add({part});
    close();
  }

  /// Of a copy of it, the page that the bars begin with.
  void damage_a_page(const std::string& damaged) const {
    const std::int64_t page =
        std::stoll(*value("select rootpage from sqlite_schema where name = 'rebar'"));
    std::string bytes = test::text_of(damaged);
    bytes.replace(static_cast<std::size_t>((page - 1) * 4096), 60, 60, '\x55');
    std::ofstream(damaged) << bytes;
  }

  /// Gives it a table of another program that takes a while to check.
  void add_long_table() {
    run_plainly(
        "create table other (a check (a > 0)); with recursive n(i) as (select 1 union all "
        "select i + 1 from n where i < 20000) insert into other select i from n");
  }
  /// Has an index of it be of values of half a gigabyte.
  void declare_long_values() {
    run_plainly(
        "create index long on rebar (length(hex(zeroblob(5)))); pragma writable_schema = on;"
        "update sqlite_schema set sql = replace(sql, 'zeroblob(5)', 'zeroblob(500000000)') "
        "where name = 'long'");
  }

  std::vector<std::string> checked() const { return check_lines(file()); }

 private:
  void store_project_record() {
    model::cad::UpdateProject request;
    request.item.properties["name"] = test::text_variant("Tower");
    GenericReply reply;
    project().update_project(request, reply);
  }
};

}  // namespace korvane::sqlite
