#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "schedule/bvbs/lines.h"

/// What the exchange format states of a record, before anything is decided of how it is spelled. Two
/// records with the same draft are the same to the format.
namespace korvane::schedule::bvbs {

/// The format cannot say a record. The text says why: "no geometry, and the format needs one".
class CannotSay : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct DraftField {
  enum class Meaning {
    text,
    /// Empty stands for 0.
    number,
    count,
    /// Has no meaning yet.
    reserved,
  };

  char letter;
  Meaning meaning;
  /// UTF-8, of any letters.
  std::string text;
  /// For messages: "mark".
  const char* what;
  /// Left out where it is empty.
  bool is_optional = false;

  bool operator==(const DraftField& other) const {
    return letter == other.letter && text == other.text;
  }
};

struct Draft {
  std::string group;
  /// In the order of the format.
  std::vector<DraftField> header;
  /// The block of geometry with its letter, or empty.
  std::string shape;
  /// The fields of block M, or none.
  std::vector<DraftField> treatments;

  bool operator==(const Draft&) const = default;

  /// Null for a letter that the group does not have.
  const DraftField* find(char letter) const;
};

/// Whether two records describe the same piece: its kind, shape and sizes, whatever it is called and
/// how many there are.
bool has_same_body(const Draft& one, const Draft& other);

/// Throws CannotSay for numbers that are not finite, for bars and fabrics without what the format
/// cannot do without, and for shapes that it has no place for. A record without any geometry has a
/// draft: block A may stand for it.
Draft draft_of(const model::cad::Rebar& bar, const Drawing& drawing);
Draft draft_of(const model::cad::Fabric& fabric, const Drawing& drawing);
Draft draft_of(const model::cad::BarSpacer& spacer, const Drawing& drawing);

}  // namespace korvane::schedule::bvbs
