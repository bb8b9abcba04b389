#include "clients/cpp/remote_project.h"

#include <chrono>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <Poco/Net/ServerSocket.h>
#include <Poco/Net/StreamSocket.h>
#include <Poco/Timespan.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/plain_sqlite.h"
#include "tests/tools/korvane/served_folder.h"

namespace korvane::client {
namespace {

using test::ServedFolder;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::ThrowsMessage;
using IfMissing = RemoteProject::IfMissing;

SheetRef create_sheet(RemoteProject& project, const std::string& name) {
  Sheet sheet;
  sheet.name = name;
  SheetRef ref;
  project.create_sheet(sheet, ref);
  return ref;
}

std::vector<Sheet> sheets_of(RemoteProject& project) {
  Batch<Sheet> sheets;
  project.list_sheets({}, sheets);
  return sheets.items;
}

/// A server that answers a connection with each of its replies in turn, whatever the request is.
class ScriptedServer {
 public:
  explicit ScriptedServer(std::vector<std::string> replies)
      : socket_(Poco::Net::SocketAddress("127.0.0.1", 0)),
        thread_([this, replies = std::move(replies)] { answer(replies); }) {}
  ~ScriptedServer() { stop(); }

  std::string url() const { return "http://" + socket_.address().toString(); }

  /// The heads of the requests, when all replies have been taken.
  const std::vector<std::string>& requests() {
    stop();
    return requests_;
  }

 private:
  void answer(const std::vector<std::string>& replies) {
    const Poco::Timespan patience(20, 0);
    for (const std::string& reply : replies) {
      if (!socket_.poll(patience, Poco::Net::Socket::SELECT_READ)) return;
      Poco::Net::StreamSocket connection = socket_.acceptConnection();
      std::string request;
      std::vector<char> piece(1024);
      while (request.find("\r\n\r\n") == std::string::npos) {
        const int size = connection.receiveBytes(piece.data(), static_cast<int>(piece.size()));
        if (size <= 0) break;
        request.append(piece.data(), static_cast<std::size_t>(size));
      }
      requests_.push_back(request.substr(0, request.find("\r\n\r\n")));
      connection.sendBytes(reply.data(), static_cast<int>(reply.size()));
    }
  }

  void stop() {
    if (thread_.joinable()) thread_.join();
  }

  Poco::Net::ServerSocket socket_;
  std::vector<std::string> requests_;
  std::thread thread_;
};

std::string http_reply(const std::string& status, const std::string& body) {
  return "HTTP/1.1 " + status +
         "\r\nConnection: close\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" +
         body;
}

TEST(RemoteProject, KeepsWhatItsOperationsStore) {
  const ServedFolder server;
  RemoteProject project(server.url(), "", "a b/../tower.db", IfMissing::fail);
  EXPECT_EQ(project.id(), "a b/../tower.db");
  RemoteProject tower(server.url(), "", "tower 1.db", IfMissing::make);
  const SheetRef ref = create_sheet(tower, "S1");
  EXPECT_EQ(ref.id.value(), 1);
  RemoteProject again(server.url(), "", "tower 1.db", IfMissing::fail);
  ASSERT_EQ(sheets_of(again).size(), 1U);
  EXPECT_EQ(sheets_of(again)[0].name, "S1");
}

TEST(RemoteProject, IsMadeByTheConstructorOnlyIfAsked) {
  const ServedFolder server;
  const RemoteProject made(server.url(), "", "made.db", IfMissing::make);
  EXPECT_TRUE(std::filesystem::exists(server.file("made.db")));
  RemoteProject missing(server.url(), "", "missing.db", IfMissing::fail);
  EXPECT_THAT([&] { sheets_of(missing); },
              ThrowsMessage<std::runtime_error>(server.url() + ": 404 no project missing.db"));
  EXPECT_FALSE(std::filesystem::exists(server.file("missing.db")));
}

TEST(RemoteProject, CanBeUsedAfterARefusalThatLeftTheReplyUnchanged) {
  const ServedFolder server;
  RemoteProject project(server.url(), "", "tower.db", IfMissing::make);
  Sheet sheet;
  sheet.name = "as it was";
  SheetRef unknown;
  unknown.id = 7;
  EXPECT_THAT([&] { project.get_sheet(unknown, sheet); },
              ThrowsMessage<std::runtime_error>(StartsWith(server.url() + ": 404 ")));
  EXPECT_EQ(sheet.name, "as it was");
  create_sheet(project, "S1");
  EXPECT_EQ(sheets_of(project).size(), 1U);
}

TEST(RemoteProject, PostsCompactBinaryToThePathOfItsFileWithTheToken) {
  ScriptedServer server({http_reply("200 OK", std::string(1, '\0'))});
  RemoteProject project(server.url(), "krv_x", "a/tower 1.db", IfMissing::fail);
  EXPECT_THAT(sheets_of(project), IsEmpty());
  const std::string& head = server.requests().at(0);
  EXPECT_THAT(head, StartsWith("POST /v1/projects/a%2Ftower%201.db/list_sheets HTTP/1.1\r\n"));
  EXPECT_THAT(head, HasSubstr("Content-Type: application/x-bond-compact-binary"));
  EXPECT_THAT(head, HasSubstr("Authorization: Bearer krv_x"));
}

TEST(RemoteProject, WithoutATokenSendsNone) {
  ScriptedServer server({http_reply("200 OK", std::string(1, '\0'))});
  RemoteProject project(server.url(), "", "tower.db", IfMissing::fail);
  sheets_of(project);
  EXPECT_THAT(server.requests().at(0), testing::Not(HasSubstr("Authorization")));
}

TEST(RemoteProject, NamesTheDetailOfAProblemOrTheBeginningOfAnotherReply) {
  ScriptedServer server({http_reply("503 Busy", R"({"detail": "too many calls wait"})"),
                         http_reply("502 Bad Gateway", std::string(300, 'x')),
                         http_reply("500 Error", R"({"detail": 5})")});
  RemoteProject project(server.url(), "", "tower.db", IfMissing::fail);
  const auto read = [&] { sheets_of(project); };
  EXPECT_THAT(read, ThrowsMessage<std::runtime_error>(server.url() + ": 503 too many calls wait"));
  EXPECT_THAT(read,
              ThrowsMessage<std::runtime_error>(server.url() + ": 502 " + std::string(200, 'x')));
  EXPECT_THAT(read, ThrowsMessage<std::runtime_error>(server.url() + R"(: 500 {"detail": 5})"));
}

TEST(RemoteProject, ConnectsAnewAfterAConnectionThatBroke) {
  ScriptedServer server({"", http_reply("200 OK", std::string(1, '\0'))});
  RemoteProject project(server.url(), "", "tower.db", IfMissing::fail);
  EXPECT_THAT([&] { sheets_of(project); },
              ThrowsMessage<std::runtime_error>(StartsWith("cannot reach " + server.url() + ": ")));
  EXPECT_NO_THROW(sheets_of(project));
}

TEST(RemoteProject, RefusesAReplyThatIsNotARecord) {
  // A list of five records that ends before the first.
  ScriptedServer server({http_reply("200 OK", "\x0B\x0A\x05")});
  RemoteProject project(server.url(), "", "tower.db", IfMissing::fail);
  EXPECT_THROW(sheets_of(project), std::exception);
}

TEST(RemoteProject, RefusesAReplyOfMoreThan512MiBBeforeItHasCome) {
  ScriptedServer server({"HTTP/1.1 200 OK\r\nContent-Length: 536870913\r\n\r\n",
                         http_reply("200 OK", std::string(1, '\0'))});
  RemoteProject project(server.url(), "", "tower.db", IfMissing::fail);
  EXPECT_THAT([&] { sheets_of(project); },
              ThrowsMessage<std::runtime_error>(server.url() +
                                                ": the reply is longer than 536870912 bytes"));
  EXPECT_NO_THROW(sheets_of(project));
}

TEST(RemoteProject, RefusesWhatIsNotAnAddress) {
  for (const std::string url : {"ftp://127.0.0.1:1", "127.0.0.1:1", "server", "http://x:y", ""}) {
    EXPECT_THAT([&] { RemoteProject(url, "", "tower.db", IfMissing::fail); },
                ThrowsMessage<std::runtime_error>("\"" + url +
                                                  "\" is not the address of a server: expected "
                                                  "http://HOST:PORT or https://HOST:PORT"));
  }
}

/// The value of a field of the head of a request; empty without one.
std::string field_of(const std::string& head, const std::string& name) {
  const std::size_t found = head.find("\r\n" + name + ": ");
  if (found == std::string::npos) return {};
  const std::size_t begin = found + name.size() + 4;
  return head.substr(begin, head.find("\r\n", begin) - begin);
}

Options twice() {
  Options options;
  options.attempts = 2;
  return options;
}

const std::string kEmptyRecord(1, '\0');

TEST(RepeatingClient, SendsAWriteAgainUnderItsKeyWhenTheConnectionBreaks) {
  ScriptedServer server(
      {"", http_reply("200 OK", kEmptyRecord), http_reply("200 OK", kEmptyRecord)});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  create_sheet(project, "S1");
  create_sheet(project, "S1");
  const std::string key = field_of(server.requests().at(0), "Idempotency-Key");
  EXPECT_EQ(key.size(), 36U);
  EXPECT_EQ(field_of(server.requests().at(1), "Idempotency-Key"), key);
  EXPECT_NE(field_of(server.requests().at(2), "Idempotency-Key"), key);
}

/// The beginning of a reply that is longer.
const std::string kBrokenReply =
    "HTTP/1.1 200 OK\r\nContent-Length: 2000\r\nConnection: close\r\n\r\n" + kEmptyRecord;

TEST(RepeatingClient, SendsAWriteAgainUnderItsKeyWhenItsReplyBreaksOff) {
  ScriptedServer server({kBrokenReply, http_reply("200 OK", kEmptyRecord)});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  create_sheet(project, "S1");
  const std::string key = field_of(server.requests().at(0), "Idempotency-Key");
  ASSERT_EQ(server.requests().size(), 2U);
  EXPECT_EQ(field_of(server.requests().at(1), "Idempotency-Key"), key);
}

TEST(RepeatingClient, DoesNotTakeTheBeginningOfAReplyForAllOfIt) {
  ScriptedServer server({kBrokenReply, kBrokenReply, kBrokenReply});
  Connection connection(server.url(), twice());
  std::string text;
  const Request request{.method = "GET", .path = "/v1/projects/tower.db/export?format=ndjson"};
  EXPECT_THAT([&] { connection.send(request, [&](std::string_view piece) { text += piece; }); },
              ThrowsMessage<std::runtime_error>(HasSubstr("the reply broke off")));
  EXPECT_EQ(text, kEmptyRecord);
  EXPECT_THAT([&] { connection.send(request); },
              ThrowsMessage<std::runtime_error>(StartsWith("cannot reach " + server.url())));
}

const std::string kChunkedHead =
    "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nConnection: close\r\n\r\n";

/// The body that the server's reply has for the client, or how it fails.
std::string chunked_body(const std::string& chunks) {
  ScriptedServer server({kChunkedHead + chunks});
  Options once;
  once.attempts = 1;
  Connection connection(server.url(), once);
  std::string text;
  const Request request{.method = "GET", .path = "/v1/projects/tower.db/export?format=ndjson"};
  try {
    connection.send(request, [&](std::string_view piece) { text += piece; });
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return text;
}

TEST(ChunkedReply, IsNotTakenForWholeWhereverItBreaksOff) {
  const std::string whole = "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n";
  for (std::size_t length = 0; length < whole.size(); ++length) {
    EXPECT_THAT(chunked_body(whole.substr(0, length)), HasSubstr("the reply broke off")) << length;
  }
  EXPECT_EQ(chunked_body(whole), "abcde");
}

TEST(ChunkedReply, IsRefusedWhereItIsLongerThanItMayBe) {
  ScriptedServer server({kChunkedHead + "3\r\nabc\r\n3\r\ndef\r\n0\r\n\r\n"});
  Connection connection(server.url(), twice());
  EXPECT_THAT([&] { connection.send({.method = "GET", .path = "/", .most_reply_bytes = 5}); },
              ThrowsMessage<std::runtime_error>(HasSubstr("the reply is longer than 5 bytes")));
}

TEST(RepeatingClient, ReadsAgainWithoutAKey) {
  ScriptedServer server({"", http_reply("200 OK", kEmptyRecord)});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  EXPECT_THAT(sheets_of(project), IsEmpty());
  EXPECT_EQ(field_of(server.requests().at(1), "Idempotency-Key"), "");
}

TEST(RepeatingClient, SendsAQueryAgainOnlyWhenTheServerHasRefusedIt) {
  ScriptedServer server({http_reply("503 Busy", "{}"), ""});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  model::table::TABLE reply;
  EXPECT_THROW(project.query_table({}, reply), std::runtime_error);
  EXPECT_EQ(server.requests().size(), 2U);
  ScriptedServer breaking({"", http_reply("200 OK", kEmptyRecord)});
  RemoteProject broken(breaking.url(), "tower.db", twice(), IfMissing::fail);
  EXPECT_THROW(broken.query_table({}, reply), std::runtime_error);
  sheets_of(broken);
  EXPECT_EQ(breaking.requests().size(), 2U);
}

TEST(RepeatingClient, WaitsAsLongAsTheServerSaysButNoLongerThanItMay) {
  ScriptedServer server(
      {"HTTP/1.1 429 Too Many Requests\r\nRetry-After: 3600\r\n"
       "Content-Length: 0\r\nConnection: close\r\n\r\n",
       http_reply("200 OK", kEmptyRecord)});
  Options options = twice();
  options.longest_pause = std::chrono::milliseconds(300);
  RemoteProject project(server.url(), "tower.db", options, IfMissing::fail);
  const auto begin = std::chrono::steady_clock::now();
  sheets_of(project);
  EXPECT_GE(std::chrono::steady_clock::now() - begin, options.longest_pause);
}

TEST(RepeatingClient, GivesUpAfterItsAttemptsWithTheLastRefusal) {
  ScriptedServer server({http_reply("503 Busy", R"({"detail":"first"})"),
                         http_reply("503 Busy", R"({"detail":"second","type":"urn:x"})")});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  try {
    sheets_of(project);
    FAIL();
  } catch (const ServerError& error) {
    EXPECT_EQ(error.status, 503);
    EXPECT_EQ(error.type, "urn:x");
    EXPECT_EQ(error.detail, "second");
  }
}

std::string redirect(const std::string& status, const std::string& location) {
  return "HTTP/1.1 " + status + "\r\nLocation: " + location +
         "\r\nContent-Length: 0\r\nConnection: close\r\n\r\n";
}

std::string first_line(const std::string& head) { return head.substr(0, head.find("\r\n")); }

Options with_token() {
  Options options = twice();
  options.token = "krv_1";
  return options;
}

TEST(RedirectedClient, SendsAWriteElsewhereAsItIsWithKeyAndToken) {
  ScriptedServer server({redirect("307 Temporary Redirect", "/one"),
                         redirect("308 Permanent Redirect", "/two?x=1"),
                         http_reply("200 OK", kEmptyRecord)});
  RemoteProject project(server.url(), "tower.db", with_token(), IfMissing::fail);
  create_sheet(project, "S1");
  const auto& requests = server.requests();
  ASSERT_EQ(requests.size(), 3U);
  EXPECT_EQ(first_line(requests[1]), "POST /one HTTP/1.1");
  EXPECT_EQ(first_line(requests[2]), "POST /two?x=1 HTTP/1.1");
  const std::string key = field_of(requests[0], "Idempotency-Key");
  EXPECT_EQ(key.size(), 36U);
  EXPECT_EQ(field_of(requests[2], "Idempotency-Key"), key);
  EXPECT_EQ(field_of(requests[2], "Content-Length"), field_of(requests[0], "Content-Length"));
  EXPECT_EQ(field_of(requests[2], "Authorization"), "Bearer krv_1");
}

TEST(RedirectedClient, GivesItsTokenToNoOtherServer) {
  ScriptedServer other({http_reply("200 OK", kEmptyRecord)});
  ScriptedServer server(
      {http_reply("503 Busy", "{}"), redirect("307 Temporary Redirect", other.url() + "/there")});
  RemoteProject project(server.url(), "tower.db", with_token(), IfMissing::fail);
  create_sheet(project, "S1");
  ASSERT_EQ(server.requests().size(), 2U);
  EXPECT_EQ(field_of(server.requests().at(1), "Authorization"), "Bearer krv_1");
  EXPECT_EQ(first_line(other.requests().at(0)), "POST /there HTTP/1.1");
  EXPECT_EQ(field_of(other.requests().at(0), "Authorization"), "");
  EXPECT_EQ(field_of(other.requests().at(0), "Idempotency-Key"),
            field_of(server.requests().at(0), "Idempotency-Key"));
}

TEST(RedirectedClient, DoesNotMakeAReadOfAWriteButFollowsWithAGet) {
  ScriptedServer server({redirect("302 Found", "/two")});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  EXPECT_THROW(create_sheet(project, "S1"), ServerError);
  EXPECT_EQ(server.requests().size(), 1U);
  ScriptedServer reading({redirect("302 Found", "/two"), http_reply("200 OK", "text")});
  Connection connection(reading.url(), twice());
  EXPECT_EQ(connection.send({.method = "GET", .path = "/one"}), "text");
  EXPECT_EQ(first_line(reading.requests().at(1)), "GET /two HTTP/1.1");
}

TEST(RedirectedClient, FollowsNotForEver) {
  ScriptedServer server(std::vector(6, redirect("307 Temporary Redirect", "/again")));
  Connection connection(server.url(), twice());
  EXPECT_THROW(connection.send({.method = "GET", .path = "/one"}), ServerError);
  EXPECT_EQ(server.requests().size(), 6U);
}

TEST(RedirectedClient, StaysWhereItIsIfItIsToldSo) {
  ScriptedServer server({redirect("307 Temporary Redirect", "/two")});
  Options options = twice();
  options.follows_redirects = false;
  Connection connection(server.url(), options);
  try {
    connection.send({.method = "GET", .path = "/one"});
    ADD_FAILURE() << "it was followed";
  } catch (const ServerError& error) {
    EXPECT_EQ(error.status, 307);
  }
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST(RemoteProject, TakesNoMoreOfAReplyThanItIsToldTo) {
  ScriptedServer server({http_reply("200 OK", "12345")});
  Connection connection(server.url(), twice());
  try {
    connection.send({.method = "GET", .path = "/one", .most_reply_bytes = 4});
    ADD_FAILURE() << "it was taken";
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(error.what(), server.url() + ": the reply is longer than 4 bytes");
  }
}

TEST(RepeatingClient, DoesNotRepeatWhatIsRefusedForGood) {
  ScriptedServer server({http_reply("409 Conflict", "{}"), http_reply("200 OK", kEmptyRecord)});
  RemoteProject project(server.url(), "tower.db", twice(), IfMissing::fail);
  EXPECT_THROW(create_sheet(project, "S1"), ServerError);
  create_sheet(project, "S2");
  EXPECT_NE(field_of(server.requests().at(0), "Idempotency-Key"),
            field_of(server.requests().at(1), "Idempotency-Key"));
}

TEST(RemoteProject, SaysWhatKindOfErrorItWas) {
  const ServedFolder server;
  RemoteProject project(server.url(), "tower.db", Options{}, IfMissing::make);
  Sheet sheet;
  SheetRef ref;
  ref.id = 7;
  try {
    project.get_sheet(ref, sheet);
    FAIL();
  } catch (const ServerError& error) {
    EXPECT_EQ(error.status, 404);
    EXPECT_EQ(error.type, "urn:korvane:problem:not-found");
    EXPECT_EQ(error.detail, "failed to get_sheet");
    EXPECT_FALSE(error.request_id.empty());
  }
}

TEST(RemoteProject, TalksJsonWhereItIsTold) {
  const ServedFolder server;
  Options options;
  options.form = krv::rpc4::Representation::json;
  RemoteProject project(server.url(), "tower.db", options, IfMissing::make);
  create_sheet(project, "S1");
  EXPECT_EQ(sheets_of(project).at(0).name, "S1");
}

TEST(RemoteProject, ImportsAFileExportsItAndGivesItsLines) {
  const ServedFolder server;
  RemoteProject project(server.url(), "tower.db", Options{}, IfMissing::make);
  const std::string result = project.import_file(KORVANE_EXAMPLES "/guideline.abs");
  EXPECT_THAT(result, HasSubstr("\"revisions\""));
  std::string schedule;
  project.export_as("bvbs", [&](std::string_view piece) { schedule += piece; });
  EXPECT_THAT(schedule, StartsWith("BF2D@"));
  std::vector<std::string> marks;
  project.for_each_line("bars", 1, "mark,total_bars", [&](const RemoteProject::Line& line) {
    EXPECT_EQ(line.size(), 2U);
    marks.push_back(*line.at("mark").value_string);
  });
  EXPECT_EQ(marks.size(), 16U);
  EXPECT_THROW(project.import_file("/no/such/file"), std::runtime_error);
}

TEST(RemoteProject, LeavesNoLineOutWithoutAWordWhereOneIsDamaged) {
  const ServedFolder server;
  RemoteProject project(server.url(), "tower.db", Options{}, IfMissing::make);
  project.import_file(KORVANE_EXAMPLES "/guideline.abs");
  test::PlainConnection file(server.file("tower.db"), test::PlainConnection::Mode::kWrite);
  file.run("update rebar set raw = x'2905' where id = 5");
  int taken = 0;
  EXPECT_THAT(
      [&] {
        project.for_each_line("bars", 1, "mark", [&](const RemoteProject::Line&) { ++taken; });
      },
      ThrowsMessage<std::runtime_error>(
          StartsWith("the record of the bar with the id 5 (table rebar) is damaged: ")));
  EXPECT_EQ(taken, 15);
}

/// How reading the lines fails if the server's pages are these.
std::string failure_of_lines(const std::vector<std::string>& pages) {
  std::vector<std::string> replies;
  for (const std::string& page : pages) replies.push_back(http_reply("200 OK", page));
  ScriptedServer server(replies);
  RemoteProject project(server.url(), "tower.db", Options{}, IfMissing::fail);
  try {
    project.for_each_line("bars", 1, "", [](const RemoteProject::Line&) {});
  } catch (const std::runtime_error& failure) {
    return failure.what();
  }
  return "";
}

TEST(RemoteProject, RefusesLinesOfAReplyThatIsNoPage) {
  for (const std::string page :
       {"", "7", "{}", R"({"columns":[{"name":"mark"}],"rows":[[]],"damaged":[],"next":null})",
        R"({"columns":[],"rows":[],"damaged":[],"next":"x"})",
        R"({"columns":[],"rows":[],"damaged":[7],"next":null})"}) {
    EXPECT_THAT(failure_of_lines({page}), StartsWith("the reply is not a page of lines: ")) << page;
  }
}

TEST(RemoteProject, DoesNotGoOnWithPagesThatComeAgain) {
  const std::string page = R"({"columns":[],"rows":[],"damaged":[],"next":5})";
  EXPECT_EQ(failure_of_lines({page, page}),
            "the reply is not a page of lines: its next one is not after it");
}

}  // namespace
}  // namespace korvane::client
