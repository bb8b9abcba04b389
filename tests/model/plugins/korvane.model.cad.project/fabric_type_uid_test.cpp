// In a program of its own, whose random source can be made to fail.

#include <errno.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <boost/uuid/entropy_error.hpp>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/content_test.h"

namespace {

bool source_fails = false;

}  // namespace

extern "C" ssize_t getrandom(void* buffer, size_t length, unsigned int flags) {
  if (source_fails) {
    errno = ENOSYS;
    return -1;
  }
  return syscall(SYS_getrandom, buffer, length, flags);
}

namespace korvane::test {

namespace {

using namespace model::cad;

/// A project with a material and without a random source.
class FailingRandomSource : public ContentTest {
 protected:
  FailingRandomSource() {
    make_material();
    source_fails = true;
  }
  ~FailingRandomSource() override { source_fails = false; }
};

TEST_F(FailingRandomSource, KeepsAFabricTypeWithoutUidFromBeingCreated) {
  EXPECT_THROW(make_fabric_type(1), boost::uuids::entropy_error);
  EXPECT_EQ(count("fabric_type"), 0);
  source_fails = false;
  EXPECT_EQ(make_fabric_type(1), 1);
}

TEST_F(FailingRandomSource, IsNotNoticedByAFabricTypeThatHasAUid) {
  FabricTypeRef reply;
  project().create_fabric_type(full_fabric_type(1), reply);
  EXPECT_EQ(reply.uid, std::string("type uid"));
}

TEST_F(FailingRandomSource, IsNotNoticedByAnUpdateToAnEmptyUid) {
  FabricTypeRef created;
  project().create_fabric_type(full_fabric_type(1), created);
  FabricType changed = minimal_fabric_type(1);
  changed.id = 1;
  GenericReply reply;
  project().update_fabric_type(changed, reply);
  EXPECT_EQ(rows("select uid from fabric_type"), (Rows{{""}}));
}

}  // namespace

}  // namespace korvane::test
