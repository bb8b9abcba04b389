// A plugin of sixteen services that notice overlapping calls, and that a host can only know by its
// record.

#include <memory>
#include <vector>

#include "platform/app/service.h"
#include "platform/rpc4/directory.h"
#include "tests/host/support/probe_service.h"

namespace {

using korvane::test::ProbeService;

class ProbePlugin : public krv::app::IService {
 public:
  void start() override {
    for (std::size_t i = 0; i < 16; ++i) {
      services_.push_back(
          std::make_unique<krv::rpc4::Live<ProbeService>>(korvane::test::probe_id(i)));
    }
  }
  void stop() override { services_.clear(); }

 private:
  std::vector<std::unique_ptr<krv::rpc4::Live<ProbeService>>> services_;
};

std::shared_ptr<krv::app::IService> make_plugin() { return std::make_shared<ProbePlugin>(); }

}  // namespace

extern "C" __attribute__((section("modsvc"), visibility("default")))
const krv::app::ServiceFactory probe_plugin = &make_plugin;
