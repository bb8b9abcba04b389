#include "tests/host/support/probe_service.h"

#include <array>

#include "contracts/common/contracts.describe.h"
#include "platform/project_rpc/make_skeleton.h"
#include "platform/project_rpc/open_project.describe.h"

namespace korvane::test {

const krv::rpc4::ServiceDefinition& ProbeService::definition() {
  using krv::rpc4::Effect;
  static const std::array operations = {
      rpc::operation<ProbeService, model::ListProjectRequest, Variant, &ProbeService::count>(
          {"count", "Count the calls"}, Effect::reads),
      rpc::operation<ProbeService, Variant, Variant, &ProbeService::sleep>({"sleep", "Sleep"},
                                                                           Effect::writes),
      rpc::operation<ProbeService, Variant, Variant, &ProbeService::fail>({"fail", "Fail"},
                                                                          Effect::writes),
  };
  static const krv::rpc4::ServiceDefinition definition{"korvane.test.Probe_Service", operations};
  return definition;
}

}  // namespace korvane::test
