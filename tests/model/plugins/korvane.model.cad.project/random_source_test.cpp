// In a program of its own: it replaces the random source.

#include <errno.h>
#include <string>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <boost/uuid/entropy_error.hpp>
#include <gtest/gtest.h>

#include "tests/model/plugins/korvane.model.cad.project/entity_test.h"

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

/// A project without a random source.
template <class Entity>
class FailingRandomSource : public EntityTest<Entity> {
 protected:
  FailingRandomSource() { source_fails = true; }
  ~FailingRandomSource() override { source_fails = false; }
};
TYPED_TEST_SUITE(FailingRandomSource, Entities, EntityNames);

TYPED_TEST(FailingRandomSource, KeepsARecordWithoutUidFromBeingCreated) {
  EXPECT_THROW(this->create(this->record("a")), boost::uuids::entropy_error);
  EXPECT_EQ(this->count(this->table()), 0);
  source_fails = false;
  EXPECT_EQ(this->create(this->record("a")).id, 1);
}

TYPED_TEST(FailingRandomSource, IsNotNoticedByARecordThatHasAUid) {
  EXPECT_EQ(this->create(this->record("a", "mine")),
            by_id_and_uid<typename TypeParam::Ref>(1, "mine"));
}

TYPED_TEST(FailingRandomSource, IsNotNoticedByAnUpdateToAnEmptyUid) {
  this->create(this->record("a", "mine"));
  const auto changed = with_identity(this->record("b"), 1, "");
  this->update(changed);
  EXPECT_EQ(this->raw(1), raw_hex(changed));
}

}  // namespace

}  // namespace korvane::test
