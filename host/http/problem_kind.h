#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

namespace korvane::host {

/// What went wrong, as programs tell it: the `type` of a problem document (RFC 9457) without what
/// all types begin with. A name stays what it means for good; docs/operations.md says when each is
/// answered.
class ProblemKind {
 public:
  /// The kind of what has that status and no kind of its own. Made of a number that is written out:
  /// one that no error is answered with does not compile.
  // NOLINTNEXTLINE(google-explicit-constructor): written where a number is expected
  consteval ProblemKind(int status);
  constexpr ProblemKind(int status, std::string_view name) : status_(status), name_(name) {}

  constexpr int status() const { return status_; }
  constexpr std::string_view name() const { return name_; }
  /// "urn:korvane:problem:locked".
  std::string type() const { return "urn:korvane:problem:" + std::string(name_); }

  friend constexpr bool operator==(const ProblemKind&, const ProblemKind&) = default;

 private:
  int status_;
  std::string_view name_;
};

/// All of them, by their statuses. The first of a status is that of what has no kind of its own.
inline constexpr std::array kProblemKinds = {
    ProblemKind(400, "bad-request"),
    ProblemKind(401, "unknown-client"),
    ProblemKind(403, "lacks-scope"),
    ProblemKind(403, "cross-site"),
    ProblemKind(403, "refused-sql"),
    ProblemKind(404, "not-found"),
    ProblemKind(404, "no-project"),
    ProblemKind(405, "method-not-served"),
    ProblemKind(406, "form-not-served"),
    ProblemKind(408, "too-slow"),
    ProblemKind(409, "constraint"),
    ProblemKind(409, "written-elsewhere"),
    ProblemKind(412, "changed"),
    ProblemKind(412, "other-run"),
    ProblemKind(413, "body-too-large"),
    ProblemKind(414, "address-too-long"),
    ProblemKind(415, "body-not-served"),
    ProblemKind(417, "expectation-not-met"),
    ProblemKind(421, "other-host"),
    ProblemKind(422, "stopped"),
    ProblemKind(422, "not-a-project"),
    ProblemKind(422, "unusable-row"),
    ProblemKind(422, "key-used"),
    ProblemKind(429, "too-many-of-client"),
    ProblemKind(431, "header-too-large"),
    ProblemKind(500, "internal"),
    ProblemKind(501, "coding-not-served"),
    ProblemKind(503, "overloaded"),
    ProblemKind(503, "locked"),
    ProblemKind(503, "stopping"),
    ProblemKind(503, "draining"),
    ProblemKind(505, "version-not-served"),
};

consteval ProblemKind::ProblemKind(int status) : status_(status) {
  const auto* const found =
      std::find_if(kProblemKinds.begin(), kProblemKinds.end(),
                   [&](const ProblemKind& kind) { return kind.status_ == status; });
  if (found == kProblemKinds.end()) throw "no error is answered with this status";
  name_ = found->name_;
}

/// The kind of that name; one that there is not does not compile.
consteval ProblemKind problem(std::string_view name) {
  const auto* const found =
      std::find_if(kProblemKinds.begin(), kProblemKinds.end(),
                   [&](const ProblemKind& kind) { return kind.name() == name; });
  if (found == kProblemKinds.end()) throw "no such kind of problem";
  return *found;
}

}  // namespace korvane::host
