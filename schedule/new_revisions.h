#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "contracts/cad/revision.h"
#include "contracts/cad/sheet.h"
#include "platform/project_rpc/project_service.h"
#include "schedule/change_mark.h"

namespace korvane::schedule {

/// Makes sheets and revisions that are shown (Structure) all at once, when `finish` has returned, or
/// not at all. In between their content is stored by their ids as that of any others. Throws what
/// the project throws. Used by one thread; the project must outlive it.
class NewRevisions {
 public:
  struct NewSheet {
    /// With the id of a sheet that is there, or -1 for one to be made.
    model::cad::Sheet record;
    /// To be made.
    std::vector<model::cad::Revision> revisions;
  };

  explicit NewRevisions(model::cad::Project_Service& project);
  NewRevisions(const NewRevisions&) = delete;
  NewRevisions& operator=(const NewRevisions&) = delete;
  /// Takes back what was made, unless it is finished. What cannot be taken back now is taken back
  /// by `finish_changes` before the next change.
  ~NewRevisions();

  /// Makes the rows and sets the ids, uids and sheet ids of the records, in few transactions where
  /// the project lets statements pass that write. Records keep a uid that they have. Called once.
  void make(std::vector<NewSheet>& sheets);

  /// Shows them.
  void finish();

 private:
  model::cad::Project_Service& project_;
  ChangeMark mark_;
  std::unique_ptr<OwnChange> own_;
  bool is_done_ = false;
};

/// Removes what was made under the mark, and the mark. For `finish_changes`.
void take_back_new_revisions(model::cad::Project_Service& project, const ChangeMark& mark);

}  // namespace korvane::schedule
