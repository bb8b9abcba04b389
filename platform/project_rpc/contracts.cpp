#include "platform/project_rpc/contracts.h"

#include "contracts/encoding/make_contract.h"
#include "platform/project_rpc/open_project.describe.h"
#include "platform/project_rpc/table.describe.h"

#define MAKE_CONTRACT(name) KORVANE_MAKE_CONTRACT(korvane::model::name)

KORVANE_PROJECT_RPC_CONTRACTS(MAKE_CONTRACT)
