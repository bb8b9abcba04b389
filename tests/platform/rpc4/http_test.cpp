#include "platform/rpc4/http.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace krv::rpc4 {
namespace {

using testing::ElementsAre;

Operation operation_with(Effect effect) {
  Operation operation{};
  operation.effect = effect;
  return operation;
}

TEST(MethodsOf, OperationsThatOnlyReadAreServedByGetAsWell) {
  EXPECT_THAT(methods_of(operation_with(Effect::reads)), ElementsAre("GET", "HEAD", "POST"));
  EXPECT_THAT(methods_of(operation_with(Effect::queries)), ElementsAre("GET", "HEAD", "POST"));
  EXPECT_THAT(methods_of(operation_with(Effect::writes)), ElementsAre("POST"));
  EXPECT_THAT(methods_of(operation_with(Effect::opens)), ElementsAre("POST"));
}

TEST(ProjectPath, FileNameBecomesOneSegment) {
  EXPECT_EQ(project_path("tower.db", "list_sheets"), "/v1/projects/tower.db/list_sheets");
  EXPECT_EQ(project_path("a/b c.db", "clear"), "/v1/projects/a%2Fb%20c.db/clear");
  EXPECT_EQ(project_path("50%?#&+;=.db", "clear"), "/v1/projects/50%25%3F%23%26%2B%3B%3D.db/clear");
  EXPECT_EQ(project_path("caf\u00E9\x01\x7F", "clear"), "/v1/projects/caf%C3%A9%01%7F/clear");
}

TEST(ProjectPath, LettersDigitsAndSomePunctuationStandForThemselves) {
  EXPECT_EQ(project_path("azAZ09-._~:@", "clear"), "/v1/projects/azAZ09-._~:@/clear");
  EXPECT_EQ(project_path("!$'()*,[]\"\\^`{|}<>", "clear"),
            "/v1/projects/%21%24%27%28%29%2A%2C%5B%5D%22%5C%5E%60%7B%7C%7D%3C%3E/clear");
}

TEST(OperationPath, TakesTheServicesSegmentAsItIs) {
  EXPECT_EQ(operation_path("korvane.model.cad.Project:1", "clear"),
            "/v1/korvane.model.cad.Project:1/clear");
  EXPECT_EQ(operation_path("{service_id}", "clear"), "/v1/{service_id}/clear");
}

}  // namespace
}  // namespace krv::rpc4
