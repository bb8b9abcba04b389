#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <type_traits>

#include "contracts/cad/contracts.h"
#include "contracts/common/variant.h"

/// How a change of a project that takes several operations is told from what is there for good. The
/// revision or the sheet that notes where the change stands says so in its property
/// "korvane.change": the id of the revision that is changed as the number, and as the text the step
/// and who makes the change:
///
///     {"value_int32": 7, "value_string": "whole 9f1c….4026531836:4711:83201 1795348800"}
///
/// The owner is the boot of a machine with the space of its process numbers, the number of a process
/// and the clock tick in which that began, so that one that has died can be told; then the second
/// since 1970 in which the change began.
namespace korvane::schedule {

inline constexpr const char* kChangeProperty = "korvane.change";

/// The uids of the sheets and revisions that an import makes, each on a line, in this property of its
/// marked sheet. They are not shown as long as that sheet is there.
inline constexpr const char* kImportProperty = "korvane.import";

enum class ChangeStep {
  /// The marked revision takes the new content of another one, which has its old content still.
  filling,
  /// The marked revision has the whole new content. The other one may have any part of either.
  whole,
  /// The other revision has the new content. What is left of the change goes.
  placed,
  /// The other revision goes, with all that belongs to it.
  removing,
  /// The marked sheet stands for an import.
  importing,
};

struct ChangeMark {
  /// Of the revision, or for `importing` the sheet, that bears the mark.
  std::int32_t id = 0;
  std::string uid;
  ChangeStep step = ChangeStep::filling;
  /// The revision that is changed; 0 for `importing`.
  std::int32_t changed_revision = 0;
  std::string owner;
  /// Seconds since 1970.
  std::int64_t begun = 0;
  /// Of what is made, for `importing`.
  std::set<std::string> made_uids;
};

/// The mark of a revision or a sheet, if it bears one that can be read and is of its kind: what
/// follows from that of another kind would befall a record that only has the same id.
template <class T>
std::optional<ChangeMark> mark_of(const T& record);

std::optional<ChangeMark> mark_in(const Properties& properties);

void write_mark(const ChangeMark& mark, Properties& properties);

/// A change that this process makes, for as long as the object lives.
class OwnChange {
 public:
  /// `uid` is that of the mark. Sets its owner and its time.
  explicit OwnChange(ChangeMark& mark);
  OwnChange(const OwnChange&) = delete;
  OwnChange& operator=(const OwnChange&) = delete;
  ~OwnChange();

 private:
  std::string uid_;
};

/// Whether the maker of the change may still be at work: this process is, or another living process
/// with a number of the same space if the change began within a day, or one elsewhere if it began
/// less than a quarter of an hour ago. None is that began in the future: anyone may write a mark, and
/// it must not keep others away for ever. May be called from every thread.
bool may_be_at_work(const ChangeMark& mark);

/// The text of a new random UUID.
std::string make_uid();

template <class T>
std::optional<ChangeMark> mark_of(const T& record) {
  std::optional<ChangeMark> mark = mark_in(record.properties);
  constexpr bool kIsSheet = std::is_same_v<T, model::cad::Sheet>;
  if (mark && (mark->step == ChangeStep::importing) != kIsSheet) return std::nullopt;
  if (mark) {
    mark->id = record.id;
    mark->uid = record.uid;
  }
  return mark;
}

}  // namespace korvane::schedule
