#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

#include "platform/project_rpc/project_service.h"

namespace korvane::test {

using namespace model::cad;

/// What is left of a program that was killed: it does nothing any more.
class Killed : public std::runtime_error {
 public:
  Killed() : std::runtime_error("killed") {}
};

/// A project whose user is killed before one of the operations: from there on all fail, also those
/// that would take something back.
class FailingProject final : public Project_Service {
 public:
  explicit FailingProject(Project_Service& project)
      : Project_Service(project.id() + " of a user"), project_(project) {}

  /// Lets `operations` pass from now on.
  void kill_after(std::size_t operations) { left_ = operations; }
  void let_live() { left_ = kAll; }
  bool is_killed() const { return left_ == 0; }
  /// From now on statements of SQL that write are refused, as to a client without the scope.
  void forbid_sql() { is_sql_forbidden_ = true; }

#define KORVANE_PASS_ON(name, Request, Reply, effect) \
  using Skeleton::name;                               \
  void name(Request request, Reply& reply) override { \
    if (left_ == 0) throw Killed();                   \
    if (left_ != kAll) --left_;                       \
    refuse_if_sql_writes(request);                    \
    project_.name(std::move(request), reply);         \
  }
  KORVANE_PROJECT_OPERATIONS(KORVANE_PASS_ON)
#undef KORVANE_PASS_ON

 private:
  static void refuse_if_sql_writes(const auto&) {}
  void refuse_if_sql_writes(const model::table::GET_TABLE& request) const {
    const std::string& sql = *request.params.at("query").value_string;
    if (is_sql_forbidden_ && !sql.starts_with("select")) throw std::runtime_error("403 no sql");
  }

  static constexpr std::size_t kAll = static_cast<std::size_t>(-1);

  Project_Service& project_;
  std::size_t left_ = kAll;
  bool is_sql_forbidden_ = false;
};

}  // namespace korvane::test
