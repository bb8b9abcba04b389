#pragma once

#include "platform/project_rpc/open_project.h"
#include "platform/project_rpc/table.h"

/// The contracts that belong to the skeletons alone.
#define KORVANE_PROJECT_RPC_CONTRACTS(X) \
  X(OpenProjectRequest)                  \
  X(OpenProjectResponse)                 \
  X(ListProjectRequest)                  \
  X(ProjectInfo)                         \
  X(ProjectList)                         \
  X(table::GET_TABLE)                    \
  X(table::TableColumn)                  \
  X(table::TABLE)
