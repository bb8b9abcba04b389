#include <cstdint>
#include <memory>
#include <stdexcept>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/plugin.h"
#include "model/plugins/korvane.model.cad.project/project_manager_service.h"
#include "tests/model/plugins/korvane.model.cad.project/plugin_source.h"

extern "C" const krv::app::ServiceFactory cad_project_manager;

namespace korvane::test {

std::shared_ptr<krv::app::IService> make_plugin() { return ::cad_project_manager(); }

namespace {

using namespace model::cad;
using ::testing::ThrowsMessage;

TEST(PluginRecord, LeadsToTheFactoryOfThePlugin) {
  EXPECT_NE(std::dynamic_pointer_cast<ProjectManagerPlugin>(make_plugin()), nullptr);
}

TEST(EntryAt, GivesTheEntryAtThePosition) {
  const std::vector<ProjectEntry> projects = {{nullptr, "a.db"}, {nullptr, "b.db"}};
  EXPECT_EQ(&entry_at(projects, 0), &projects[0]);
  EXPECT_EQ(&entry_at(projects, 1), &projects[1]);
}

TEST(EntryAt, RefusesAPositionBeyondTheEnd) {
  const std::vector<ProjectEntry> projects = {{nullptr, "a.db"}};
  EXPECT_THAT([&] { entry_at(projects, 1); },
              ThrowsMessage<std::out_of_range>("invalid vector<T> subscript"));
  EXPECT_THAT([&] { entry_at({}, 0); },
              ThrowsMessage<std::out_of_range>("invalid vector<T> subscript"));
  EXPECT_THAT([&] { entry_at(projects, ~std::uint64_t{0}); },
              ThrowsMessage<std::out_of_range>("invalid vector<T> subscript"));
}

}  // namespace

}  // namespace korvane::test
