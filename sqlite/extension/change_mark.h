#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "contracts/common/variant.h"

/// How a revision or a sheet says that it is part of a change that is not finished: whoever changes
/// a revision by several operations notes in a property where it stands. The views show of such a
/// revision what is whole, as the commands do.
namespace korvane::sqlite::extension {

/// The property that bears the mark. A record without these bytes in it has none.
inline constexpr const char* kChangeProperty = "korvane.change";
/// The uids of what an import makes, each on a line.
inline constexpr const char* kImportProperty = "korvane.import";

struct ChangeMark {
  /// "filling", "whole", "placed", "removing", or "importing" of a sheet.
  std::string step;
  /// The revision that is changed.
  std::int32_t changed_revision = 0;
  /// Each between line ends: "\nuid\nuid\n".
  std::string made_uids;
};

enum class Marked { revision, sheet };

/// The mark in the properties of a record of that kind; none that belongs to the other kind.
std::optional<ChangeMark> mark_in(const Properties& properties, Marked marked);

}  // namespace korvane::sqlite::extension
