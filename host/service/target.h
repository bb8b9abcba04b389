#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvane::host {

/// The target of a request taken apart. What is malformed, and a parameter that nobody asked for,
/// is refused with HttpFault 400.
class Target {
 public:
  explicit Target(const std::string& uri);

  /// As it came.
  const std::string& path() const { return path_; }

  /// The parts of the path between slashes, percent-decoded: a part may hold slashes itself.
  std::vector<std::string> segments() const;

  bool has_parameters() const { return !query_.empty(); }
  /// The value of a parameter, decoded; nothing where it is not given. Throws when it is given
  /// twice.
  std::optional<std::string> parameter(const std::string& name) const;
  /// What is given of `object` member by member, "object[member]=value", both decoded. Throws when
  /// a member is given twice.
  std::vector<std::pair<std::string, std::string>> members_of(const std::string& object) const;
  /// Throws for a parameter that is none of `known`, nor a member of `object`.
  void refuse_parameters_but(const std::vector<std::string>& known,
                             const std::string& object = "") const;

 private:
  struct Parameter {
    /// Decoded.
    std::string name;
    std::string encoded_value;
  };

  std::vector<Parameter> parameters() const;

  std::string path_;
  std::string query_;
};

}  // namespace korvane::host
