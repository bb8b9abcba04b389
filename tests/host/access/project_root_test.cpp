#include "host/access/project_root.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/temporary_folder.h"

namespace korvane::host {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testing::ThrowsMessage;

/// A root with files, folders and links of every kind in it, beside a folder with a secret.
class Root : public testing::Test {
 protected:
  Root() {
    fs::create_directories(inside_ / "sub" / "deep");
    fs::create_directories(inside_ / "file:");
    fs::create_directories(outside_);
    for (const char* file : {"a.db", "sub/b.db", "sub/deep/c.db", ":memory:", "x-wal"}) {
      std::ofstream(inside_ / file) << "data";
    }
    std::ofstream(outside_ / "secret.db") << "data";
    mkfifo((inside_ / "fifo").c_str(), 0600);
    make_socket("socket");
    link(outside_ / "secret.db", "out.db");
    link("../outside/secret.db", "out-relative.db");
    link(outside_, "out");
    link("../outside", "out-relative");
    link("..", "up");
    link("out.db", "out-by-two-links.db");
    link("../../outside/secret.db", "sub/out.db");
    link("/", "slash");
    link("/dev/null", "null");
    link("nowhere.db", "dangling");
    link(outside_ / "nowhere.db", "dangling-out");
    link("loop-2", "loop-1");
    link("loop-1", "loop-2");
    link("sub", "link-to-folder");
    link("sub/b.db", "link-to-file");
    link(inside_ / "sub" / "b.db", "absolute-link-to-file");
    link(".", "self");
    link("../outside/../root/a.db", "out-and-back.db");
    link(":memory:", "link-to-memory");
    link("x-wal", "link-to-wal");
    link("../../root/a.db", "sub/up-and-back.db");
  }
  ~Root() override {
    if (socket_ >= 0) ::close(socket_);
  }

  void link(const fs::path& target, const std::string& name) {
    fs::create_symlink(target, inside_ / name);
  }

  void make_socket(const std::string& name) {
    socket_ = ::socket(AF_UNIX, SOCK_STREAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    (inside_ / name).string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    ASSERT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  }

  const ProjectRoot& root() const { return root_; }
  const fs::path& inside() const { return inside_; }

  std::string refusal(const std::string& filename) const {
    try {
      return "accepted as " + root().confine(filename);
    } catch (const ConfinementError& failure) {
      return failure.what();
    }
  }

 private:
  test::TemporaryFolder folder_;
  fs::path inside_ = [this] {
    fs::path inside = folder_.path() / "root";
    fs::create_directory(inside);
    return inside;
  }();
  fs::path outside_ = folder_.path() / "outside";
  ProjectRoot root_{inside_};
  int socket_ = -1;
};

struct Hostile {
  std::string test_name;
  std::string filename;
  std::string expected;
};
void PrintTo(const Hostile& hostile, std::ostream* out) { *out << hostile.filename; }

class HostileName : public Root, public testing::WithParamInterface<Hostile> {};

TEST_P(HostileName, IsRefusedWithoutShowingAPathOfTheMachine) {
  const std::string text = refusal(GetParam().filename);
  EXPECT_THAT(text, StartsWith("file name \""));
  EXPECT_THAT(text, HasSubstr(" is refused: expected " + GetParam().expected));
  EXPECT_THAT(text, Not(HasSubstr(inside().parent_path().string())));
}

const char* const kRelative = "a path relative to the project folder";
const char* const kNoDots = "a path without \"..\"";
const char* const kNoLinkOut = "no link that leads out of the project folder, or nowhere";
const char* const kNoFolder = "a file, not a folder";
const char* const kFolderThere = "a folder that is there";
const char* const kRegular = "a regular file";
const char* const kNoUri = "a path, not a URI";
const char* const kFile = "the name of a file";
const char* const kNoControl = "no control characters";
const char* const kUtf8 = "UTF-8";

std::vector<Hostile> hostile_names() {
  using namespace std::string_literals;
  return {
      {"AbsolutePath", "/etc/passwd", kRelative},
      {"AbsolutePathOfTwoSlashes", "//etc/passwd", kRelative},
      {"Slash", "/", kRelative},
      {"AbsoluteNewFile", "/tmp/new.db", kRelative},
      {"DotDot", "..", kNoDots},
      {"DotDotSlash", "../", kNoFolder},
      {"DotDotFile", "../outside/secret.db", kNoDots},
      {"DotDotNewFile", "../new.db", kNoDots},
      {"DotDotInside", "sub/../a.db", kNoDots},
      {"DotDotBehindFolder", "sub/..", kNoDots},
      {"DotDotTwice", "sub/../../outside/secret.db", kNoDots},
      {"DotDotFarUp", "../../../../../../../../etc/passwd", kNoDots},
      {"DotDotBehindDot", "./../a.db", kNoDots},
      {"DotDotBehindDoubledSlash", "sub//..//../outside/secret.db", kNoDots},
      {"DotDotBehindMissingFolder", "missing/../a.db", kNoDots},
      {"DotDotBehindLink", "link-to-folder/../a.db", kNoDots},
      {"DotDotBackIntoTheRoot", "../root/a.db", kNoDots},
      {"LinkOut", "out.db", kNoLinkOut},
      {"RelativeLinkOut", "out-relative.db", kNoLinkOut},
      {"FolderLinkOut", "out/secret.db", kNoLinkOut},
      {"RelativeFolderLinkOut", "out-relative/secret.db", kNoLinkOut},
      {"FolderLinkOutNewFile", "out/new.db", kNoLinkOut},
      {"FolderLinkOutMissingFolder", "out/missing/new.db", kNoLinkOut},
      {"FolderLinkOutItself", "out", kNoLinkOut},
      {"FolderLinkUp", "up/outside/secret.db", kNoLinkOut},
      {"FolderLinkUpAndBack", "up/root/a.db", kNoLinkOut},
      {"LinkOutByTwoLinks", "out-by-two-links.db", kNoLinkOut},
      {"LinkOutOfSubfolder", "sub/out.db", kNoLinkOut},
      {"LinkOutBehindLinkedFolder", "link-to-folder/out.db", kNoLinkOut},
      {"LinkToSlash", "slash/etc/passwd", kNoLinkOut},
      {"LinkToDevice", "null", kNoLinkOut},
      {"DanglingLink", "dangling", kNoLinkOut},
      {"DanglingLinkOut", "dangling-out", kNoLinkOut},
      {"LinkLoop", "loop-1", kNoLinkOut},
      {"FileUri", "file:a.db", kNoUri},
      {"FileUriWithMode", "file:a.db?mode=rwc", kNoUri},
      {"FileUriOfHost", "file://localhost/etc/passwd", kNoUri},
      {"FileUriOfRoot", "file:///etc/passwd", kNoUri},
      {"FileUriInMemory", "file::memory:?cache=shared", kNoUri},
      {"FileUriInCapitals", "FILE:a.db", kNoUri},
      {"FileUriInMixedCase", "FiLe:a.db", kNoUri},
      {"FileUriOfNothing", "file:", kNoUri},
      {"FileUriBehindDot", "./file:a.db", kNoUri},
      {"FolderThatMakesAUri", "file:/a.db", kNoUri},
      {"Memory", ":memory:", kFile},
      {"MemoryInCapitals", ":MEMORY:", kFile},
      {"MemoryBehindDot", "./:memory:", kFile},
      {"MemoryBehindLink", "link-to-memory", kFile},
      {"MemoryBehindFolderLink", "self/:memory:", kFile},
      {"NulByte", "a.db\0"s, kNoControl},
      {"NulByteBeforeEnding", "a.db\0.txt"s, kNoControl},
      {"NulByteAlone", "\0"s, kNoControl},
      {"LineFeed", "a\n.db", kNoControl},
      {"CarriageReturn", "a\r.db", kNoControl},
      {"Tab", "a\t.db", kNoControl},
      {"Escape", "\x1B[2Ja.db", kNoControl},
      {"Delete", "a\x7F.db", kNoControl},
      {"ControlAboveAscii", "a\xC2\x9B.db", kNoControl},
      {"LoneByte", "a\xFF.db", kUtf8},
      {"Latin1", "B\xFCro.db", kUtf8},
      {"OverlongSlash", "..\xC0\xAF..", kUtf8},
      {"OverlongDot", "\xC0\xAE\xC0\xAE/a.db", kUtf8},
      {"Surrogate", "a\xED\xA0\x80.db", kUtf8},
      {"CutSequence", "a\xC3", kUtf8},
      {"Folder", "sub", kNoFolder},
      {"FolderWithSlash", "sub/", kNoFolder},
      {"FolderWithDot", "sub/.", kNoFolder},
      {"FolderOfFolder", "sub/deep", kNoFolder},
      {"FolderByLink", "link-to-folder", kNoFolder},
      {"RootByLink", "self", kNoFolder},
      {"Dot", ".", kNoFolder},
      {"DotSlash", "./", kNoFolder},
      {"DotsAndSlashes", "././.", kNoFolder},
      {"FileWithSlash", "a.db/", kNoFolder},
      {"NewFileWithSlash", "new.db/", kNoFolder},
      {"Fifo", "fifo", kRegular},
      {"Socket", "socket", kRegular},
      {"MissingFolder", "missing/new.db", kFolderThere},
      {"MissingFolders", "missing/missing/new.db", kFolderThere},
      {"FileAsFolder", "a.db/new.db", kFolderThere},
      {"FifoAsFolder", "fifo/new.db", kFolderThere},
      {"Journal", "a.db-journal", "no name that SQLite keeps for itself (-journal)"},
      {"WriteAheadLog", "a.db-wal", "no name that SQLite keeps for itself (-wal)"},
      {"SharedMemory", "a.db-shm", "no name that SQLite keeps for itself (-shm)"},
      {"JournalOfNoDatabase", "sub/new.db-journal", "no name that SQLite keeps for itself"},
      {"JournalInCapitals", "a.db-JOURNAL", "no name that SQLite keeps for itself"},
      {"WriteAheadLogByLink", "link-to-wal", "no name that SQLite keeps for itself (-wal)"},
      {"FileOfLocks", ".korvane-locks-0123456789abcdef", "no name of a file on which locks"},
      {"FileOfLocksInAFolder", "sub/.korvane-locks-0123456789abcdef",
       "no name of a file on which locks"},
      {"NameTooLongForItsJournal", std::string(248, 'a'), "names of at most 247 bytes each"},
      {"NameTooLong", std::string(256, 'a'), "names of at most 247 bytes each"},
      {"FolderNameTooLong", std::string(300, 'a') + "/a.db", "names of at most 247 bytes each"},
      {"PathTooLong",
       [] {
         std::string path;
         for (int i = 0; i < 2100; ++i) path += "./";
         return path + "a.db";
       }(),
       "at most 4087 bytes"},
  };
}

INSTANTIATE_TEST_SUITE_P(Table, HostileName, testing::ValuesIn(hostile_names()),
                         [](const auto& entry) { return entry.param.test_name; });

struct Good {
  std::string test_name;
  std::string filename;
  std::string confined;
  bool exists = false;
};
void PrintTo(const Good& good, std::ostream* out) { *out << good.filename; }

class GoodName : public Root, public testing::WithParamInterface<Good> {};

TEST_P(GoodName, BecomesTheOneNameOfItsFile) {
  const std::string confined = root().confine(GetParam().filename);
  EXPECT_EQ(confined, GetParam().confined);
  EXPECT_EQ(root().exists(confined), GetParam().exists);
  EXPECT_EQ(root().confine(confined), confined);
}

std::vector<Good> good_names() {
  const auto unchanged = [](std::string test_name, const std::string& filename) {
    return Good{std::move(test_name), filename, filename};
  };
  return {
      {"File", "a.db", "a.db", true},
      {"FileInFolder", "sub/b.db", "sub/b.db", true},
      {"FileInFolders", "sub/deep/c.db", "sub/deep/c.db", true},
      {"FileBehindDot", "./a.db", "a.db", true},
      {"FileBehindDots", "././sub/./b.db", "sub/b.db", true},
      {"DoubledSlash", "sub//b.db", "sub/b.db", true},
      {"LinkToFile", "link-to-file", "sub/b.db", true},
      {"AbsoluteLinkToFile", "absolute-link-to-file", "sub/b.db", true},
      {"FileBehindFolderLink", "link-to-folder/b.db", "sub/b.db", true},
      {"NewFileBehindFolderLink", "link-to-folder/new.db", "sub/new.db"},
      {"FileBehindLinkToTheRoot", "self/self/a.db", "a.db", true},
      {"LinkThatEndsInside", "out-and-back.db", "a.db", true},
      {"LinkInFolderThatEndsInside", "sub/up-and-back.db", "a.db", true},
      unchanged("NewFile", "new.db"),
      unchanged("NewFileInFolder", "sub/new.db"),
      unchanged("Blanks", " two blanks .db "),
      unchanged("Umlaut", "Gebäude.db"),
      unchanged("OutsideTheFirstPlane", "\xF0\x9F\x8F\x97.db"),
      unchanged("ReplacementCharacter", "\xEF\xBF\xBD.db"),
      unchanged("EncodedDots", "%2e%2e"),
      unchanged("EncodedSlash", "..%2Fa.db"),
      unchanged("LeadingDots", "..a"),
      unchanged("TrailingDots", "a.."),
      unchanged("ThreeDots", "..."),
      unchanged("WordFile", "file"),
      unchanged("FileColonFurtherOn", "a.file:b"),
      unchanged("Hidden", ".hidden"),
      unchanged("Backslash", "..\\..\\a.db"),
      unchanged("Tilde", "~root"),
      unchanged("Dash", "-rf"),
      unchanged("Query", "a.db?mode=memory"),
      unchanged("Quotes", "a'\"b.db"),
      unchanged("Variable", "$HOME"),
      unchanged("JournalFurtherOn", "a-journal.db"),
      unchanged("MemoryInFolder", "sub/:memory:"),
      unchanged("FileColonInFolder", "sub/file:a"),
      unchanged("LongestName", std::string(247, 'a')),
  };
}

INSTANTIATE_TEST_SUITE_P(Table, GoodName, testing::ValuesIn(good_names()),
                         [](const auto& entry) { return entry.param.test_name; });

TEST_F(Root, LetsTheEmptyNamePass) {
  EXPECT_EQ(root().confine(""), "");
  EXPECT_FALSE(root().exists(""));
}

TEST_F(Root, NamesTheInputAndWhatWasExpected) {
  EXPECT_EQ(refusal("sub/../a.db"),
            "file name \"sub/../a.db\" is refused: expected a path without \"..\"");
}

TEST_F(Root, ShowsControlCharactersAndBadBytesAsQuestionMarks) {
  EXPECT_THAT(refusal("a\nb\x1B"), StartsWith("file name \"a?b?\" is refused"));
  EXPECT_THAT(refusal("a\xFF"), StartsWith("file name \"a?\" is refused"));
}

TEST_F(Root, ShowsTheFrontOfALongName) {
  EXPECT_THAT(refusal(std::string(300, 'a')),
              StartsWith("file name \"" + std::string(120, 'a') + "…\" is refused"));
}

TEST_F(Root, AnswersAlikeWhetherOrNotTheEndOfALinkIsThere) {
  const auto expected = [&](const std::string& name) {
    const std::string text = refusal(name);
    return text.substr(text.find("expected"));
  };
  EXPECT_EQ(expected("out/secret.db"), expected("out/nothing.db"));
  EXPECT_EQ(expected("out.db"), expected("dangling-out"));
}

TEST_F(Root, SeesWhatIsThereWhenItIsAsked) {
  EXPECT_FALSE(root().exists(root().confine("later.db")));
  std::ofstream(inside() / "later.db") << "data";
  EXPECT_TRUE(root().exists(root().confine("later.db")));
  fs::remove(inside() / "later.db");
  link("/dev/null", "later.db");
  EXPECT_THROW(root().confine("later.db"), ConfinementError);
}

TEST_F(Root, ListsNoFileOnWhichLocksAreTried) {
  for (const char* const name :
       {"listed.db", ".korvane-locks-0123456789abcdef", ".korvane-locks-"}) {
    std::ofstream(inside() / name) << std::string("SQLite format 3\0", 16);
  }
  std::vector<std::string> names;
  for (const ProjectFile& file : root().list()) names.push_back(file.name);
  EXPECT_EQ(names, (std::vector<std::string>{".korvane-locks-", "listed.db"}));
}

TEST_F(Root, RemovesAnEmptyFileThatNobodyHasOpen) {
  std::ofstream(inside() / "empty.db");
  std::ofstream(inside() / "full.db") << "x";
  for (const char* const name : {"empty.db", "full.db", "missing.db"}) root().remove_if_empty(name);
  EXPECT_FALSE(root().exists("empty.db"));
  EXPECT_TRUE(root().exists("full.db"));
}

TEST_F(Root, KeepsAnEmptyFileThatAnotherHasOpen) {
  std::ofstream(inside() / "empty.db");
  const std::ifstream another(inside() / "empty.db");
  root().remove_if_empty("empty.db");
  EXPECT_TRUE(root().exists("empty.db"));
}

TEST_F(Root, MayItselfBeReachedByALink) {
  const ProjectRoot linked(inside() / "self" / "link-to-folder");
  EXPECT_EQ(linked.confine("b.db"), "b.db");
  EXPECT_TRUE(linked.exists("b.db"));
  EXPECT_THROW(linked.confine("up-and-back.db"), ConfinementError);
}

TEST_F(Root, DoesNotConfineToAFolderWhoseNameBeginsAlike) {
  fs::create_directory(inside().parent_path() / "root-2");
  std::ofstream(inside().parent_path() / "root-2" / "a.db") << "data";
  link("../root-2", "sibling");
  EXPECT_THROW(root().confine("sibling/a.db"), ConfinementError);
}

TEST_F(Root, IsIndependentOfTheCurrentDirectory) {
  const fs::path before = fs::current_path();
  fs::current_path(inside() / "sub");
  const std::string confined = root().confine("a.db");
  const bool exists = root().exists(confined);
  fs::current_path(before);
  EXPECT_EQ(confined, "a.db");
  EXPECT_TRUE(exists);
}

TEST(NoRoot, IsNamed) {
  const test::TemporaryFolder folder;
  const std::string missing = folder.file("missing");
  EXPECT_THAT([&] { ProjectRoot{missing}; },
              ThrowsMessage<std::runtime_error>("project root " + missing + " is not a folder"));
  const std::string file = folder.file("file");
  std::ofstream(fs::path(file)) << "data";
  EXPECT_THAT([&] { ProjectRoot{file}; },
              ThrowsMessage<std::runtime_error>("project root " + file + " is not a folder"));
}

}  // namespace
}  // namespace korvane::host
