#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "contracts/cad/fabric_type.h"
#include "contracts/cad/material.h"
#include "contracts/cad/project.h"
#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "schedule/content.h"

/// What is where in the text of a document (schedule/project_document.h).
namespace korvane::schedule {

/// All of a document but the lines of its schedules, and where those are.
struct DocumentIndex {
  struct Revision {
    model::cad::Revision record;
    /// Where its object begins in the text.
    std::size_t begin = 0;
    /// How many lines it has of each kind, in the order of for_each_kind, without the faulty ones.
    std::array<std::size_t, 4> sizes{};
  };
  struct Sheet {
    model::cad::Sheet record;
    std::vector<Revision> revisions;
  };

  model::cad::ProjectData project;
  std::vector<model::cad::Material> materials;
  std::vector<model::cad::FabricType> fabric_types;
  std::vector<Sheet> sheets;

  std::vector<std::string> faults;
  bool is_rest_usable = true;
  /// Where the lines that are faulty begin in the text.
  std::set<std::size_t> faulty_lines;
  /// Lines that are not.
  std::size_t size = 0;
};

/// Checks a document and finds out what it has.
DocumentIndex index_document(std::string_view text);

/// Reads the lines of a revision of the document again, without the faulty ones. Calls `visit` with
/// contents of some thousand lines of one kind.
void read_lines(std::string_view text, const DocumentIndex& index,
                const DocumentIndex::Revision& revision,
                const std::function<void(Content&& lines)>& visit);

}  // namespace korvane::schedule
