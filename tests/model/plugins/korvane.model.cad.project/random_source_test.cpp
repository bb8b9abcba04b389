// In a program of its own, whose random source can be made to fail.

#include <errno.h>
#include <string>
#include <sys/syscall.h>
#include <sys/types.h>
#include <unistd.h>

#include <boost/uuid/entropy_error.hpp>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/record_access.h"
#include "tests/support/store_test.h"

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

class FailingSource {
 public:
  FailingSource() { source_fails = true; }
  FailingSource(const FailingSource&) = delete;
  FailingSource& operator=(const FailingSource&) = delete;
  ~FailingSource() { source_fails = false; }
};

TEST(GenerateUid, RaisesTheFailureOfTheRandomSource) {
  const FailingSource failing;
  EXPECT_THROW(generate_uid(), boost::uuids::entropy_error);
}

using Create = StoreTest;

TEST_F(Create, RollsBackWhenTheRandomSourceFails) {
  {
    const FailingSource failing;
    EXPECT_THROW(make_material(), boost::uuids::entropy_error);
    EXPECT_THROW(make_sheet(), boost::uuids::entropy_error);
  }
  EXPECT_EQ(make_material(), 1);
  EXPECT_EQ(count("material"), 1);
  EXPECT_EQ(count("sheet"), 0);
}

TEST_F(Create, NeedsNoRandomSourceForARecordThatHasAUid) {
  const FailingSource failing;
  EXPECT_EQ(make_material("m-1"), 1);
}

}  // namespace

}  // namespace korvane::test
