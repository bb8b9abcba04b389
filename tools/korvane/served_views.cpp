#include "tools/korvane/served_views.h"

#include <string_view>

#include "platform/project_rpc/project_service.h"
#include "schedule/query.h"
#include "sqlite/extension/on_demand.h"

namespace korvane::tools {

namespace {

using krv::rpc4::LiveService;
using model::cad::Project_Service;

void run(const LiveService& project, std::string_view sql, const char* statement) {
  if (project.definition != &Project_Service::definition()) return;
  if (!sqlite::extension::may_need_views(sql)) return;
  schedule::execute(*static_cast<Project_Service*>(project.service), statement);
}

}  // namespace

host::AroundQuery served_views() {
  sqlite::extension::offer_views();
  return {[](const LiveService& project, std::string_view sql) {
            run(project, sql, sqlite::extension::kMakeViews);
          },
          [](const LiveService& project, std::string_view sql) {
            run(project, sql, sqlite::extension::kDropViews);
          }};
}

}  // namespace korvane::tools
