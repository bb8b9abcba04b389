#include "host/access/tokens.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/temporary_folder.h"

namespace korvane::host {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
using testing::ThrowsMessage;

const Scopes kAll = {Scope::read, Scope::write, Scope::sql, Scope::copy};

/// The SHA-256 of "abc", from the standard that defines it.
const std::string kDigestOfAbc = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";

class TokensInAFile : public testing::Test {
 protected:
  const fs::path& path() const { return path_; }
  TokenFile& file() { return file_; }
  Tokens tokens() const { return Tokens::load(path_); }

  std::string bytes() const {
    std::ostringstream bytes;
    bytes << std::ifstream(path_).rdbuf();
    return bytes.str();
  }
  void write(const std::string& text) const { std::ofstream(path_) << text; }

  mode_t mode() const {
    struct stat status {};
    EXPECT_EQ(::stat(path_.c_str(), &status), 0);
    return status.st_mode & 07777U;
  }
  void set_mode(mode_t mode) const { ASSERT_EQ(::chmod(path_.c_str(), mode), 0); }

  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const TokenEntry& entry : file_.list()) names.push_back(entry.client.name);
    return names;
  }
  std::vector<std::string> folder_entries() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(path_.parent_path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

 private:
  test::TemporaryFolder folder_;
  fs::path path_ = folder_.path() / "tokens.json";
  TokenFile file_{path_};
};

using TokenFileTest = TokensInAFile;
using TokensTest = TokensInAFile;

TEST_F(TokensTest, FindWhomATokenWasGivenTo) {
  const std::string reader = file().add("reader", {Scope::read});
  const std::string writer = file().add("writer", {Scope::read, Scope::write});
  const std::string reporter = file().add("reporter", {Scope::sql});
  const Tokens tokens = this->tokens();
  EXPECT_EQ(tokens.find(reader), (Client{"reader", {Scope::read}}));
  EXPECT_EQ(tokens.find(writer), (Client{"writer", {Scope::read, Scope::write}}));
  EXPECT_EQ(tokens.find(reporter), (Client{"reporter", {Scope::sql}}));
}

TEST_F(TokensTest, DoNotKnowATokenThatOneCharacterIsChangedOf) {
  const std::string token = file().add("client", kAll);
  const Tokens tokens = this->tokens();
  for (std::size_t i = 0; i < token.size(); ++i) {
    std::string changed = token;
    changed[i] = changed[i] == 'A' ? 'B' : 'A';
    EXPECT_EQ(tokens.find(changed), std::nullopt) << changed;
  }
}

TEST_F(TokensTest, DoNotKnowWhatIsNoToken) {
  const std::string token = file().add("client", kAll);
  const Tokens tokens = this->tokens();
  for (const std::string& bearer : std::vector<std::string>{
           "", "krv_", "client", token + " ", " " + token, token + token,
           token.substr(0, token.size() - 1), token.substr(4), std::string(100'000, 'a'),
           token + std::string(1, '\0'), "Bearer " + token}) {
    EXPECT_EQ(tokens.find(bearer), std::nullopt) << bearer.substr(0, 100);
  }
}

TEST_F(TokensTest, DoNotTakeTheDigestForTheToken) {
  file().add("client", kAll);
  const auto json = nlohmann::json::parse(bytes());
  EXPECT_EQ(tokens().find(json["tokens"][0]["sha256"].get<std::string>()), std::nullopt);
}

TEST_F(TokensTest, CompareByTheSha256OfWhatTheyAreGiven) {
  write(R"({"tokens": [{"name": "a", "sha256": ")" + kDigestOfAbc +
        R"(", "scopes": ["read"], "created": "2024-05-31"}]})");
  EXPECT_EQ(tokens().find("abc"), (Client{"a", {Scope::read}}));
  EXPECT_EQ(tokens().find("abd"), std::nullopt);
}

TEST_F(TokensTest, CompareEveryCharacterOfTheSha256) {
  for (std::size_t i = 0; i < kDigestOfAbc.size(); ++i) {
    std::string digest = kDigestOfAbc;
    digest[i] = digest[i] == '0' ? '1' : '0';
    write(R"({"tokens": [{"name": "a", "sha256": ")" + digest +
          R"(", "scopes": ["read"], "created": "2024-05-31"}]})");
    EXPECT_EQ(tokens().find("abc"), std::nullopt) << digest;
  }
}

TEST_F(TokensTest, OfNoFileKnowNobody) {
  EXPECT_EQ(Tokens().find(""), std::nullopt);
  EXPECT_EQ(Tokens().find("krv_"), std::nullopt);
}

TEST_F(TokensTest, AreThoseOfTheTimeTheyWereLoaded) {
  const std::string first = file().add("first", kAll);
  const Tokens before = tokens();
  const std::string second = file().add("second", kAll);
  file().remove("first");
  EXPECT_NE(before.find(first), std::nullopt);
  EXPECT_EQ(before.find(second), std::nullopt);
  EXPECT_EQ(tokens().find(first), std::nullopt);
  EXPECT_NE(tokens().find(second), std::nullopt);
}

TEST_F(TokensTest, AreNotLoadedFromAMissingFile) {
  EXPECT_THAT([&] { tokens(); }, ThrowsMessage<std::runtime_error>("token file " + path().string() +
                                                                   ": is not there"));
}

TEST_F(TokensTest, ManyThreadsMayAskAtOnce) {
  const std::string token = file().add("client", kAll);
  const Tokens tokens = this->tokens();
  std::atomic<int> found = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < 1000; ++round) {
        if (tokens.find(token) && !tokens.find("krv_wrong")) ++found;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(found, 4000);
}

TEST_F(TokenFileTest, GivesTokensOfTheirOwnForm) {
  EXPECT_THAT(file().add("client", kAll), MatchesRegex("krv_[A-Za-z0-9_-]{43}"));
}

TEST_F(TokenFileTest, GivesEachTokenOnce) {
  std::set<std::string> tokens;
  for (int i = 0; i < 50; ++i) tokens.insert(file().add("client-" + std::to_string(i), kAll));
  EXPECT_EQ(tokens.size(), 50U);
}

TEST_F(TokenFileTest, KeepsNoToken) {
  const std::string token = file().add("client", kAll);
  EXPECT_THAT(bytes(), Not(HasSubstr(token)));
  EXPECT_THAT(bytes(), Not(HasSubstr(token.substr(4))));
  EXPECT_THAT(bytes(), Not(HasSubstr(token.substr(4, 12))));
}

TEST_F(TokenFileTest, IsReadableJson) {
  file().add("client", {Scope::sql, Scope::read});
  const auto json = nlohmann::json::parse(bytes());
  ASSERT_EQ(json["tokens"].size(), 1U);
  const auto& entry = json["tokens"][0];
  EXPECT_EQ(entry["name"], "client");
  EXPECT_EQ(entry["scopes"], (nlohmann::json{"read", "sql"}));
  EXPECT_THAT(entry["sha256"].get<std::string>(), MatchesRegex("[0-9a-f]{64}"));
  EXPECT_THAT(entry["created"].get<std::string>(), MatchesRegex("20[0-9]{2}-[01][0-9]-[0-3][0-9]"));
}

TEST_F(TokenFileTest, ListsWhatWasAddedInOrder) {
  file().add("b", {Scope::write});
  file().add("a", kAll);
  EXPECT_THAT(names(), ElementsAre("b", "a"));
  EXPECT_EQ(file().list().at(0).client, (Client{"b", {Scope::write}}));
  EXPECT_EQ(file().list().at(1).client, (Client{"a", kAll}));
}

TEST_F(TokenFileTest, ThatIsMissingHasNoTokens) {
  EXPECT_THAT(file().list(), IsEmpty());
  EXPECT_FALSE(fs::exists(path()));
}

TEST_F(TokenFileTest, RemovesATokenByItsName) {
  const std::string first = file().add("first", kAll);
  const std::string second = file().add("second", kAll);
  file().remove("first");
  EXPECT_THAT(names(), ElementsAre("second"));
  EXPECT_EQ(tokens().find(first), std::nullopt);
  EXPECT_NE(tokens().find(second), std::nullopt);
}

TEST_F(TokenFileTest, StaysWithoutTokensWhenTheLastIsRemoved) {
  const std::string token = file().add("only", kAll);
  file().remove("only");
  EXPECT_THAT(file().list(), IsEmpty());
  EXPECT_EQ(tokens().find(token), std::nullopt);
}

TEST_F(TokenFileTest, SaysWhenThereIsNoTokenToRemove) {
  file().add("first", kAll);
  const std::string before = bytes();
  EXPECT_THAT([&] { file().remove("second"); },
              ThrowsMessage<std::invalid_argument>("no token is named second"));
  EXPECT_EQ(bytes(), before);
}

TEST_F(TokenFileTest, ANameGivenAwayIsFreeAgainOnceRemoved) {
  const std::string first = file().add("client", kAll);
  file().remove("client");
  const std::string second = file().add("client", {Scope::read});
  EXPECT_EQ(tokens().find(first), std::nullopt);
  EXPECT_EQ(tokens().find(second), (Client{"client", {Scope::read}}));
}

TEST_F(TokenFileTest, RefusesANameThatIsThere) {
  file().add("client", kAll);
  const std::string before = bytes();
  EXPECT_THAT([&] { file().add("client", {Scope::read}); },
              ThrowsMessage<std::invalid_argument>("a token is named client already"));
  EXPECT_EQ(bytes(), before);
}

TEST_F(TokenFileTest, RefusesABadName) {
  for (const std::string& name : std::vector<std::string>{
           "", " ", "a b", "a/b", "ä", "a\n", std::string("a\0", 2), "a:b", std::string(65, 'a')}) {
    EXPECT_THAT([&] { file().add(name, kAll); },
                ThrowsMessage<std::invalid_argument>(
                    "a token's name is of 1 to 64 letters, digits, '.', '_' and '-'"))
        << name;
  }
  EXPECT_FALSE(fs::exists(path()));
}

TEST_F(TokenFileTest, TakesEveryCharacterThatANameMayHave) {
  const std::string name = "AZaz09._-";
  file().add(name, kAll);
  file().add(std::string(64, 'a'), kAll);
  EXPECT_THAT(names(), ElementsAre(name, std::string(64, 'a')));
}

TEST_F(TokenFileTest, RefusesATokenForNothing) {
  EXPECT_THAT([&] { file().add("client", {}); },
              ThrowsMessage<std::invalid_argument>("a token has one scope at least"));
}

TEST_F(TokenFileTest, IsForItsOwnerAlone) {
  const mode_t before = ::umask(0);
  file().add("client", kAll);
  ::umask(before);
  EXPECT_EQ(mode(), 0600U);
}

TEST_F(TokenFileTest, KeepsTheModeThatItWasGiven) {
  file().add("first", kAll);
  set_mode(0640);
  file().add("second", kAll);
  EXPECT_EQ(mode(), 0640U);
}

TEST_F(TokenFileTest, KeepsItsOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  file().add("first", kAll);
  ASSERT_EQ(::chown(path().c_str(), 4711, 4712), 0);
  file().add("second", kAll);
  struct stat status {};
  ASSERT_EQ(::stat(path().c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 4711U);
  EXPECT_EQ(status.st_gid, 4712U);
}

TEST_F(TokenFileTest, IsRefusedWhenOthersMayWriteIt) {
  file().add("client", kAll);
  for (const mode_t mode : {0620U, 0602U, 0666U}) {
    set_mode(mode);
    const auto refused = ThrowsMessage<std::runtime_error>(
        "token file " + path().string() + ": group or others may write it; expected mode 0600");
    EXPECT_THAT([&] { tokens(); }, refused);
    EXPECT_THAT([&] { file().list(); }, refused);
    EXPECT_THAT([&] { file().add("other", kAll); }, refused);
  }
}

TEST_F(TokenFileTest, IsReadWhenOthersMayReadIt) {
  const std::string token = file().add("client", kAll);
  set_mode(0644);
  EXPECT_NE(tokens().find(token), std::nullopt);
}

TEST_F(TokenFileTest, LeavesNothingElseBehind) {
  file().add("first", kAll);
  file().add("second", kAll);
  file().remove("first");
  EXPECT_THAT(folder_entries(), ElementsAre("tokens.json"));
}

TEST_F(TokenFileTest, LeavesNothingBehindWhenItCannotBeReplaced) {
  fs::create_directory(path());
  EXPECT_THAT(
      [&] { file().add("client", kAll); },
      ThrowsMessage<std::runtime_error>("token file " + path().string() + ": not a regular file"));
  EXPECT_THAT(folder_entries(), ElementsAre("tokens.json"));
}

TEST_F(TokenFileTest, IsReplacedAndNotRewritten) {
  file().add("first", kAll);
  const fs::path old = path().string() + "-old";
  fs::create_hard_link(path(), old);
  const std::string before = bytes();
  file().add("second", kAll);
  std::ostringstream kept;
  kept << std::ifstream(old).rdbuf();
  EXPECT_EQ(kept.str(), before);
  EXPECT_NE(bytes(), before);
}

TEST_F(TokenFileTest, MayBeReachedByALink) {
  file().add("first", kAll);
  const fs::path link = path().string() + "-link";
  fs::create_symlink(path(), link);
  TokenFile(link).add("second", kAll);
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_THAT(names(), ElementsAre("first", "second"));
}

TEST_F(TokenFileTest, MayBeNamedRelativeToTheCurrentDirectory) {
  const fs::path before = fs::current_path();
  fs::current_path(path().parent_path());
  TokenFile("tokens.json").add("client", kAll);
  fs::current_path(before);
  EXPECT_THAT(names(), ElementsAre("client"));
}

TEST_F(TokenFileTest, InAMissingFolderIsNamed) {
  const fs::path missing = path().parent_path() / "missing" / "tokens.json";
  EXPECT_THAT([&] { TokenFile(missing).add("client", kAll); },
              ThrowsMessage<std::runtime_error>(
                  "token file " + missing.string() +
                  ": its folder cannot be opened: No such file or directory"));
}

TEST_F(TokenFileTest, LosesNothingWhenManyChangeItAtOnce) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 10;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      for (int round = 0; round < kRounds; ++round) {
        TokenFile(path()).add(std::to_string(i) + "-" + std::to_string(round), kAll);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(names().size(), static_cast<std::size_t>(kThreads * kRounds));
}

TEST_F(TokenFileTest, IsWholeForThoseWhoReadItWhileItChanges) {
  const std::string token = file().add("always", kAll);
  std::atomic<bool> done = false;
  std::vector<std::thread> readers;
  for (int i = 0; i < 2; ++i) {
    readers.emplace_back([&] {
      do {
        EXPECT_NE(tokens().find(token), std::nullopt);
      } while (!done);
    });
  }
  for (int i = 0; i < 50; ++i) {
    file().add("client", kAll);
    file().remove("client");
  }
  done = true;
  for (std::thread& reader : readers) reader.join();
}

struct Malformed {
  std::string test_name;
  std::string text;
  std::string fault;
};
void PrintTo(const Malformed& malformed, std::ostream* out) { *out << malformed.text; }

class MalformedTokenFile : public TokensInAFile, public testing::WithParamInterface<Malformed> {};

TEST_P(MalformedTokenFile, IsNamedWithItsFaultAndLeftAsItIs) {
  write(GetParam().text);
  const auto refused = ThrowsMessage<std::runtime_error>(
      StartsWith("token file " + path().string() + ": " + GetParam().fault));
  EXPECT_THAT([&] { tokens(); }, refused);
  EXPECT_THAT([&] { file().list(); }, refused);
  EXPECT_THAT([&] { file().add("client", kAll); }, refused);
  EXPECT_THAT([&] { file().remove("client"); }, refused);
  EXPECT_EQ(bytes(), GetParam().text);
}

/// A file of one good entry, which `entry` is laid over; a null takes a key away.
std::string with_entry(const nlohmann::json& entry) {
  nlohmann::json good = {
      {"name", "a"}, {"sha256", kDigestOfAbc}, {"scopes", {"read"}}, {"created", "2024-05-31"}};
  good.merge_patch(entry);
  return nlohmann::json{{"tokens", {good}}}.dump();
}

std::vector<Malformed> malformed_files() {
  const std::string good = with_entry(nlohmann::json::object());
  const std::string entry = good.substr(good.find('[') + 1, good.rfind(']') - good.find('[') - 1);
  const std::string no_digest = "token 1: \"sha256\" must be 64 digits of lower-case hexadecimal";
  return {
      {"Empty", "", "not JSON: "},
      {"NoJson", "name: a", "not JSON: "},
      {"Cut", good.substr(0, good.size() - 5), "not JSON: "},
      {"RubbishBehind", good + "}", "not JSON: "},
      {"NoUtf8", "{\"tokens\": [\"\xFF\"]}", "not JSON: "},
      {"List", "[]", "the file: not a JSON object"},
      {"Null", "null", "the file: not a JSON object"},
      {"NoTokens", "{}", "the file: no \"tokens\""},
      {"OtherKey", R"({"tokens": [], "more": 1})", "the file: unknown key \"more\""},
      {"TokensNoList", R"({"tokens": {}})", "the file: \"tokens\" is not a list"},
      {"EntryNoObject", R"({"tokens": [1]})", "token 1: not a JSON object"},
      {"NoName", with_entry({{"name", nullptr}}), "token 1: no \"name\""},
      {"NameNoText", with_entry({{"name", 1}}), "token 1: \"name\" is not text"},
      {"BadName", with_entry({{"name", "a b"}}), "token 1: bad \"name\""},
      {"EmptyName", with_entry({{"name", ""}}), "token 1: bad \"name\""},
      {"NameTwice", "{\"tokens\": [" + entry + ", " + entry + "]}",
       "token 2: the name a is given twice"},
      {"NoDigest", with_entry({{"sha256", nullptr}}), "token 1: no \"sha256\""},
      {"DigestNoText", with_entry({{"sha256", 1}}), "token 1: \"sha256\" is not text"},
      {"DigestShort", with_entry({{"sha256", kDigestOfAbc.substr(2)}}), no_digest},
      {"DigestLong", with_entry({{"sha256", kDigestOfAbc + "00"}}), no_digest},
      {"DigestNoHexadecimal", with_entry({{"sha256", std::string(64, 'g')}}), no_digest},
      {"NoScopes", with_entry({{"scopes", nullptr}}), "token 1: no \"scopes\""},
      {"ScopesNoList", with_entry({{"scopes", "read"}}),
       "token 1: \"scopes\" is not a list of scopes"},
      {"ScopesEmpty", with_entry({{"scopes", nlohmann::json::array()}}),
       "token 1: \"scopes\" is not a list of scopes"},
      {"ScopeUnknown", with_entry({{"scopes", {"read", "admin"}}}),
       "token 1: unknown scope \"admin\""},
      {"ScopeInCapitals", with_entry({{"scopes", {"READ"}}}), "token 1: unknown scope \"READ\""},
      {"ScopeNoText", with_entry({{"scopes", {1}}}), "token 1: unknown scope 1"},
      {"NoDay", with_entry({{"created", nullptr}}), "token 1: no \"created\""},
      {"DayNoText", with_entry({{"created", 1}}), "token 1: \"created\" is not text"},
      {"OtherKeyInEntry", with_entry({{"scope", "sql"}}), "token 1: unknown key \"scope\""},
  };
}

INSTANTIATE_TEST_SUITE_P(Table, MalformedTokenFile, testing::ValuesIn(malformed_files()),
                         [](const auto& entry) { return entry.param.test_name; });

TEST(ScopeNames, ReadBackAsTheirScopes) {
  for (const Scope scope : kAll) EXPECT_EQ(scope_of(scope_name(scope)), scope);
  EXPECT_EQ(scope_name(Scope::read), "read");
  EXPECT_EQ(scope_name(Scope::write), "write");
  EXPECT_EQ(scope_name(Scope::sql), "sql");
  EXPECT_EQ(scope_name(Scope::copy), "copy");
}

TEST(ScopeNames, AreTheOnlyOnes) {
  for (const char* name : {"", "Read", "read ", "all", "*"}) {
    EXPECT_EQ(scope_of(name), std::nullopt) << name;
  }
}

}  // namespace
}  // namespace korvane::host
