#pragma once

#include <cstdint>
#include <functional>

#include "platform/project_rpc/project_service.h"
#include "schedule/content.h"

/// Changes that are whole or not made at all, though each takes several operations of the project.
/// A revision of its own notes where a change stands (schedule/change_mark.h), so that whoever comes
/// after a maker that was killed finishes the change or takes it back. Until then readers see the
/// old content or the new (Structure), never a part.
///
/// Every function throws what the project throws. On a server they need the scopes read and write,
/// and to replace lines sql as well: there is no operation that empties a revision and touches
/// nothing else. Without it nothing is begun.
namespace korvane::schedule {

/// Finishes or takes back every change whose maker is no longer at work. The first thing that each
/// of the changes below does.
void finish_changes(model::cad::Project_Service& project);

/// Puts `content` in the place of all that the revision has, mounting parts too. The revision keeps
/// its id and its record, and its lines get the ids of revision and sheet. Other revisions are not
/// touched. Throws krv::rpc4::BadRequest "revision <id> is being changed by another program" while
/// that is so, and krv::rpc4::NotFound "no revision <id> in this project".
///
/// `last_check` is called when `content` is stored elsewhere and what the revision has is still
/// there. What it throws passes, and then nothing has changed.
void replace_content(model::cad::Project_Service& project, std::int32_t rev_id,
                     const Content& content, const std::function<void()>& last_check = {});

/// Removes the revision with all that belongs to it, bar spacers too. Throws as replace_content
/// does.
void remove_revision(model::cad::Project_Service& project, std::int32_t rev_id);

/// Removes the sheet with all its revisions. Sheets go revision by revision: a maker that is killed
/// can leave some of them, each whole.
void remove_sheet(model::cad::Project_Service& project, std::int32_t sheet_id);

}  // namespace korvane::schedule
