#include "server/project_state.h"

#include <cstdint>
#include <random>

#include <sqlite3.h>

#include "platform/rpc4/directory.h"
#include "platform/rpc4/transactional.h"
#include "schedule/drawing/print_bending_list.h"
#include "schedule/query.h"

namespace korvane::server {

using model::cad::Project_Service;

namespace {

std::string hexadecimal(std::uint64_t number) {
  constexpr const char* kDigits = "0123456789abcdef";
  std::string text;
  for (int shift = 60; shift >= 0; shift -= 4) text += kDigits[(number >> shift) & 0xFU];
  return text;
}

/// Of this process, drawn at random.
const std::string& process_text() {
  static const std::string text = [] {
    std::random_device random;
    return hexadecimal(std::uint64_t{random()} << 32U | random());
  }();
  return text;
}

/// "20261122" of "2026-11-22".
std::string digits_of(std::string text) {
  std::erase(text, '-');
  return text;
}

krv::rpc4::LiveService live_service_of(const Project_Service& project) {
  for (const krv::rpc4::LiveService& live : krv::rpc4::live_services()) {
    if (live.service == &project) return live;
  }
  return {};
}

std::string state_text(Project_Service& project, std::uint64_t serial) {
  std::string text = process_text() + '.' + std::to_string(serial);
  // The connection counts the changes of others, those of the schema and its own. The pragmas are
  // statements: a file may have tables with the names of their table-valued functions.
  for (const char* const count :
       {"pragma data_version", "pragma schema_version", "select total_changes()"}) {
    const auto [value] = schedule::query_row<1>(project, count);
    text += '.' + std::to_string(schedule::integer_in(value));
  }
  return text;
}

}  // namespace

std::string project_state(Project_Service& project) {
  return state_text(project, live_service_of(project).serial);
}

bool is_in_transaction(const Project_Service& project) {
  krv::rpc4::Transactional* const service = live_service_of(project).transactional;
  return service != nullptr && sqlite3_get_autocommit(service->connection()) == 0;
}

std::string state_of(const krv::rpc4::LiveService& project) {
  if (project.definition != &Project_Service::definition()) return {};
  return state_text(*static_cast<Project_Service*>(project.service), project.serial) + '.' +
         digits_of(schedule::drawing::today());
}

}  // namespace korvane::server
