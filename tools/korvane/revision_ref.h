#pragma once

#include <cstdint>

#include "contracts/cad/revision.h"

namespace korvane::tools {

/// Names a revision by its id, the one way that the reads by revision take.
inline model::cad::RevisionRef revision_ref(std::int32_t id) {
  model::cad::RevisionRef ref;
  ref.id = id;
  return ref;
}

}  // namespace korvane::tools
