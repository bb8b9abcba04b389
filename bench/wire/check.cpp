#include "bench/wire/check.h"

#include <cstdint>
#include <memory>
#include <stdexcept>

#include "bench/plain_sqlite.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"

namespace korvane::bench::wire {

namespace fs = std::filesystem;
using host::Representation;

namespace {

/// All columns but `raw` of the last bar in a project's file.
std::string last_row(const fs::path& folder) {
  const Connection connection((folder / project_file(0)).string());
  Prepared select(connection, "select * from rebar order by id desc limit 1");
  if (!select.step()) throw std::logic_error("no bar is stored");
  std::string row;
  // `id` is given anew each time, and `raw` comes last.
  for (int i = 1; i + 1 < sqlite3_column_count(select.handle()); ++i) row += select.text(i) + "|";
  return row;
}

}  // namespace

std::string added_row(Caller& caller, const fs::path& folder) {
  caller.call(Operation::add_rebar);
  std::string row = last_row(folder);
  caller.call(Operation::clear);
  return row;
}

std::string reply_to(Caller& caller, Operation operation) {
  caller.call(operation);
  return caller.reply();
}

void expect(bool is_alike, const std::string& server, const char* thing) {
  if (!is_alike) throw std::logic_error(server + " has another " + thing);
}

void check_replies(Server& server, Representation form, const fs::path& folder,
                   const Expected& expected) {
  const std::unique_ptr<Caller> caller = server.connect(0);
  const auto is_alike = [&]<class T>(Operation operation, const T& record) {
    const std::string reply = reply_to(*caller, operation);
    return record ==
           (form == Representation::json
                ? encoding::from_json<T>(reply)
                : encoding::decode<T>(reply.data(), static_cast<std::uint32_t>(reply.size())));
  };
  expect(is_alike(Operation::get_sheet, expected.sheet), server.name(), "sheet");
  expect(is_alike(Operation::list_materials, expected.materials), server.name(), "material");
  expect(is_alike(Operation::get_rebars, expected.bars), server.name(), "bar");
  expect(added_row(*caller, folder) == expected.row, server.name(), "row");
}

}  // namespace korvane::bench::wire
