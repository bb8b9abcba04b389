#include "contracts/encoding/make_json.h"
#include "platform/project_rpc/contracts.h"
#include "platform/project_rpc/open_project.describe.h"
#include "platform/project_rpc/table.describe.h"

#define MAKE_JSON(name) KORVANE_MAKE_JSON(korvane::model::name)

KORVANE_PROJECT_RPC_CONTRACTS(MAKE_JSON)
