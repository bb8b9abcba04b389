#include "schedule/change_mark.h"

#include <csignal>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <sstream>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

namespace korvane::schedule {
namespace {

ChangeMark own_mark(const std::string& uid) {
  ChangeMark mark;
  mark.uid = uid;
  return mark;
}

/// As another process of this machine would write it.
ChangeMark with_process(ChangeMark mark, const std::string& process_and_start) {
  mark.owner = mark.owner.substr(0, mark.owner.find(':') + 1) + process_and_start;
  return mark;
}

TEST(Marks, ComeBackAsTheyWereWritten) {
  ChangeMark mark = own_mark("u");
  const OwnChange own(mark);
  mark.step = ChangeStep::whole;
  mark.changed_revision = 7;
  mark.made_uids = {"a b", "c"};
  Properties properties;
  write_mark(mark, properties);
  const std::optional<ChangeMark> read = mark_in(properties);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->step, ChangeStep::whole);
  EXPECT_EQ(read->changed_revision, 7);
  EXPECT_EQ(read->owner, mark.owner);
  EXPECT_EQ(read->begun, mark.begun);
  EXPECT_EQ(read->made_uids, mark.made_uids);
}

TEST(Marks, AreNotReadFromOtherProperties) {
  Properties properties;
  EXPECT_FALSE(mark_in(properties));
  properties[kChangeProperty].value_int32.set(3);
  EXPECT_FALSE(mark_in(properties));
  properties[kChangeProperty].value_string.set("");
  EXPECT_FALSE(mark_in(properties));
  properties[kChangeProperty].value_string.set("done x:1:2 3");
  EXPECT_FALSE(mark_in(properties));
}

TEST(MakersOfChanges, AreAtWorkInThisProcessAsLongAsTheChangeLasts) {
  ChangeMark mark = own_mark("own");
  std::optional<OwnChange> own(mark);
  EXPECT_TRUE(may_be_at_work(mark));
  EXPECT_FALSE(may_be_at_work([&] {
    ChangeMark other = mark;
    other.uid = "another";
    return other;
  }()));
  own.reset();
  EXPECT_FALSE(may_be_at_work(mark));
}

TEST(MakersOfChanges, AreNotAtWorkWhenTheirProcessHasEnded) {
  ChangeMark mark = own_mark("u");
  const OwnChange own(mark);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) ::_exit(0);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_FALSE(may_be_at_work(with_process(mark, std::to_string(child) + ":1")));
}

/// The 22nd field of a process's status, of which the second is a name in brackets.
std::string start_of(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/stat");
  std::string text;
  std::getline(file, text);
  std::istringstream fields(text.substr(text.rfind(") ") + 2));
  const std::vector<std::string> all{std::istream_iterator<std::string>(fields), {}};
  return all.at(22 - 3);
}

TEST(MakersOfChanges, AreAtWorkAsLongAsTheirProcessIs) {
  ChangeMark mark = own_mark("u");
  const OwnChange own(mark);
  const pid_t child = ::fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    for (;;) ::pause();
  }
  const ChangeMark other = with_process(mark, std::to_string(child) + ":" + start_of(child));
  EXPECT_TRUE(may_be_at_work(other));
  ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_FALSE(may_be_at_work(other));
}

TEST(MakersOfChanges, AreNotAtWorkWhenAnotherProcessHasTheirNumber) {
  ChangeMark mark = own_mark("u");
  const OwnChange own(mark);
  EXPECT_FALSE(may_be_at_work(with_process(mark, std::to_string(::getppid()) + ":1")));
}

TEST(MakersOfChanges, ElsewhereAreAtWorkForAQuarterOfAnHour) {
  ChangeMark mark = own_mark("u");
  const OwnChange own(mark);
  mark.owner = "another-machine.1:" + mark.owner.substr(mark.owner.find(':') + 1);
  EXPECT_TRUE(may_be_at_work(mark));
  mark.begun -= 15 * 60;
  EXPECT_FALSE(may_be_at_work(mark));
  mark.begun = std::numeric_limits<std::int64_t>::max();
  EXPECT_FALSE(may_be_at_work(mark));
}

TEST(MakersOfChanges, AreNotAtWorkWhenNobodyIsNamed) {
  ChangeMark mark = own_mark("u");
  for (const std::string owner : {"", "x", "x:1"}) {
    mark.owner = owner;
    EXPECT_FALSE(may_be_at_work(mark)) << owner;
  }
}

}  // namespace
}  // namespace korvane::schedule
