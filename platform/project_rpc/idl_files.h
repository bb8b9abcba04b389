#pragma once

#include <string>
#include <vector>

namespace korvane::rpc {

/// A file of the public Bond interface definition language.
struct IdlFile {
  /// "korvane.model.cad.bond".
  std::string name;
  std::string text;
};

/// All contracts, a file for each namespace, and last the two services, in "korvane.services.bond".
/// A client in another language generates its code from them. They import each other by name.
std::vector<IdlFile> idl_files();

}  // namespace korvane::rpc
