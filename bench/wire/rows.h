#pragma once

#include <filesystem>
#include <string>

#include "contracts/cad/rebar.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "contracts/common/batch.h"

namespace korvane::bench::wire {

/// As many projects are behind each server, all alike.
inline constexpr int kProjects = 16;
/// One more, with more bars than a socket holds: what slow readers ask for.
inline constexpr int kLargeProject = kProjects;

inline constexpr int kMaterials = 1000;
inline constexpr int kBars = 1000;
inline constexpr int kLargeBars = 10'000;

/// What a reply's `raw` is decoded from, so that none of them has to translate.
enum class RawForm { compact_binary, protobuf, json };

/// The rows of a project, and what is asked for. Bars have no end treatments.
struct Rows {
  model::cad::SheetRef sheet;
  /// Has the bars.
  model::cad::RevisionRef full;
  /// Is for those that are added.
  model::cad::RevisionRef empty;
  Batch<model::cad::Rebar> batch;
};

/// The name of a project's file in a server's folder.
std::string project_file(int project);

/// Makes a folder with the file of each project, with `raw` in that form. Returns the same for each
/// form.
Rows make_projects(const std::filesystem::path& folder, RawForm form);

}  // namespace korvane::bench::wire
