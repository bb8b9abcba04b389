// What one request may become in memory, on its way in, while it is worked on and on its way out.

#include <chrono>
#include <cstdint>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "contracts/cad/contracts.h"
#include "contracts/common/contracts.h"
#include "contracts/encoding/record_codec.h"
#include "tests/host/support/logged_server.h"
#include "tests/host/support/server_suite.h"
#include "tests/support/vector_json.h"

namespace korvane::test {
namespace {

using nlohmann::json;

constexpr std::uint64_t kMegabyte = std::uint64_t{1} << 20U;

host::ModelServerLimits with_records(std::uint64_t bytes) {
  host::ModelServerLimits limits;
  limits.record_bytes = bytes;
  return limits;
}

/// A batch of `count` records of which each takes one byte.
std::string batch_of_bytes(std::size_t count) {
  std::string bytes = "\x0B\x0A";
  for (std::size_t rest = count; rest != 0; rest >>= 7U) {
    bytes += static_cast<char>((rest & 0x7FU) | (rest >= 0x80 ? 0x80U : 0U));
  }
  return bytes + std::string(count + 1, '\0');
}

std::string as_text(const bond::blob& bytes) { return {bytes.content(), bytes.size()}; }

class RequestsInMemory : public ServerTest {
 protected:
  explicit RequestsInMemory(const host::ModelServerLimits& limits = with_records(16 * kMegabyte))
      : ServerTest(limits) {}

  double held(const std::string& kind) {
    return metric_now("korvane_held_bytes{for=\"" + kind + "\"}");
  }
  void expect_nothing_held() {
    wait_until([&] { return held("records") == 0 && held("bodies") == 0 && held("replies") == 0; });
  }
  const std::string& project() const { return project_; }

 private:
  std::string project_ = server().open("project.db");
};

TEST_F(RequestsInMemory, ThatBecomeTooMuchAreRefusedWhileTheyAreDecoded) {
  const auto begin = Clock::now();
  const HttpAnswer answer =
      client().call_binary(project(), "add_fabric", batch_of_bytes(12'000'000));
  EXPECT_EQ(answer.status, 413);
  EXPECT_EQ(answer.detail(), "the request becomes more than 16777216 bytes in memory");
  EXPECT_LT(Clock::now() - begin, 10s);
  expect_nothing_held();
  EXPECT_EQ(client().call(project(), "create_sheet").status, 200);
}

TEST_F(RequestsInMemory, ThatBecomeTooMuchAreRefusedAsJsonToo) {
  std::string body = R"({"items":[{})";
  while (body.size() < 3'000'000) body += ",{}";
  const HttpAnswer answer = client().send("POST", path_of(project(), "add_fabric"), body + "]}",
                                          {{"Content-Type", kJson}});
  EXPECT_EQ(answer.status, 413);
  EXPECT_EQ(answer.detail(), "the request becomes more than 16777216 bytes in memory");
  // Its tree alone.
  std::string nested = "[";
  while (nested.size() < 3'000'000) nested += "[],";
  EXPECT_EQ(
      client()
          .send("POST", path_of(project(), "add_fabric"), nested + "0]", {{"Content-Type", kJson}})
          .status,
      413);
  expect_nothing_held();
}

TEST_F(RequestsInMemory, ReadNoRecordsOfAFileThatBecomeTooMuch) {
  // Each takes one byte there, and becomes hundreds.
  PlainConnection(server().file("project.db"), PlainConnection::Mode::kWrite)
      .run(
          "with recursive n (i) as (select 1 union all select i + 1 from n where i < 200000) "
          "insert into barspacer (rev_id, raw) select 7, x'00' from n");
  const HttpAnswer answer =
      client().call(project(), "get_all_barspacers_for_revision", {{"id", 7}});
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.detail(), "a call may have 16777216 bytes of memory: it was stopped");
  expect_nothing_held();
}

TEST_F(RequestsInMemory, AreStoppedWhenTheirResultBecomesTooMuch) {
  std::string columns = "null";
  for (int i = 0; i < 400; ++i) columns += ", null";
  const HttpAnswer answer = client().call(
      project(), "query_table",
      sql_request("with recursive n (i) as (select 1 union all select i + 1 from n where i < 2000) "
                  "select " +
                  columns + " from n"));
  EXPECT_EQ(answer.status, 422);
  EXPECT_EQ(answer.detail(), "a call may have 16777216 bytes of memory: it was stopped");
  expect_nothing_held();
  EXPECT_EQ(client().call(project(), "list_sheets").status, 200);
}

TEST_F(RequestsInMemory, AreStoppedWhenSqliteTakesTooMuch) {
  std::string sql = "with a0 as (select 1 x)";
  for (int i = 1; i <= 24; ++i) {
    const std::string former = "a" + std::to_string(i - 1);
    sql += ", a" + std::to_string(i) + " as (select l.x from " + former + " l, " + former + " r)";
  }
  const HttpAnswer answer =
      client().call(project(), "query_table", sql_request(sql + " select count(*) from a24"));
  EXPECT_EQ(answer.status, 422);
  expect_nothing_held();
  EXPECT_EQ(client().call(project(), "create_sheet").status, 200);
}

class DefaultLimits : public RequestsInMemory {
 protected:
  DefaultLimits() : RequestsInMemory(host::ModelServerLimits{}) {}

  /// A bar as offices send it.
  static model::cad::Rebar typical_bar() {
    std::ifstream lines(KORVANE_TEST_DATA "/encoding/typical.jsonl");
    for (std::string line; std::getline(lines, line);) {
      const json vector = json::parse(line);
      if (vector.at("struct") != "Rebar") continue;
      const std::string bytes = from_hex(vector.at("hex").get<std::string>());
      return encoding::decode<model::cad::Rebar>(bytes.data(),
                                                 static_cast<std::uint32_t>(bytes.size()));
    }
    throw std::runtime_error("no typical bar");
  }
};

#ifdef __SANITIZE_THREAD__
constexpr std::size_t kBars = 10'000;  // it would take minutes
#else
constexpr std::size_t kBars = 100'000;
#endif

TEST_F(DefaultLimits, LetABatchOfAHundredThousandTypicalBarsThroughAndBack) {
  client().call(project(), "create_material");
  client().call(project(), "create_sheet");
  client().call(project(), "create_revision", {{"sheet_id", 1}});
  Batch<model::cad::Rebar> batch;
  batch.items.assign(kBars, typical_bar());
  for (model::cad::Rebar& bar : batch.items) {
    bar.rev_id = 1;
    bar.material_id.set(1);
  }
  const std::string body = as_text(encoding::encode(batch));
  EXPECT_EQ(client().call_binary(project(), "add_rebar", body).status, 200);
  model::cad::RevisionRef ref;
  ref.id = 1;
  const HttpAnswer binary =
      client().call_binary(project(), "get_rebars", as_text(encoding::encode(ref)));
  EXPECT_EQ(binary.status, 200);
  EXPECT_TRUE(binary.body == body);
  const HttpAnswer as_json = client().call(project(), "get_rebars", {{"id", 1}});
  EXPECT_EQ(as_json.status, 200);
  EXPECT_EQ(std::to_string(as_json.body.size()), as_json.fields.at("content-length"));
  EXPECT_TRUE(as_json.body.starts_with(R"({"items":[{"id":)"));
  EXPECT_TRUE(as_json.body.ends_with("}]}\n"));
  expect_nothing_held();
}

class FewReplies : public RequestsInMemory {
 protected:
  FewReplies() : RequestsInMemory(limits()) { fill(); }

  static host::ModelServerLimits limits() {
    host::ModelServerLimits limits;
    limits.all_reply_bytes = 8 * kMegabyte;
    return limits;
  }
  /// Four sheets of a megabyte each.
  void fill() {
    for (int i = 0; i < 4; ++i) {
      client().call(project(), "create_sheet", {{"comment", std::string(kMegabyte, 'x')}});
    }
  }
  /// A client that asks for them all and reads nothing yet.
  RawConnection reader() {
    RawConnection connection = connect();
    connection.socket().setReceiveBufferSize(4096);
    connection.send(header("GET " + path_of(project(), "list_sheets"), "Connection: close\r\n"));
    return connection;
  }
};

TEST_F(FewReplies, AreHeldAtATimeAndCountUntilTheyAreReadOrTheirReaderHasGone) {
  RawConnection slow = reader();
  wait_until([&] { return held("replies") > 4 * kMegabyte; });
  const HttpAnswer refused = client().call(project(), "list_sheets");
  EXPECT_EQ(refused.status, 503);
  EXPECT_EQ(refused.detail(), "too many replies are held at a time");
  EXPECT_EQ(refused.fields.at("retry-after"), "1");
  EXPECT_EQ(client().call(project(), "get_project").status, 200);
  slow.reset();
  expect_nothing_held();
  EXPECT_EQ(client().call(project(), "list_sheets").status, 200);
  expect_nothing_held();
}

TEST_F(FewReplies, AreTheSameInPiecesAsInOne) {
  const HttpAnswer answer = client().call(project(), "list_sheets");
  const json sheets = answer.json().at("items");
  ASSERT_EQ(sheets.size(), 4U);
  for (const json& sheet : sheets) {
    EXPECT_TRUE(sheet.at("comment") == std::string(kMegabyte, 'x'));
  }
  EXPECT_EQ(std::to_string(answer.body.size()), answer.fields.at("content-length"));
}

TEST_F(FewReplies, ThatJsonCannotSayAreRefusedBeforeTheyBegin) {
  model::cad::Sheet sheet;
  sheet.name = std::string(200'000, 'x') + "\xFF";
  client().call_binary(project(), "create_sheet", as_text(encoding::encode(sheet)));
  const HttpAnswer answer = client().call(project(), "get_sheet", {{"id", 5}});
  EXPECT_EQ(answer.status, 406);
  EXPECT_EQ(answer.detail(),
            "name: text that is not UTF-8 cannot be written as JSON; ask for "
            "application/x-bond-compact-binary");
}

TEST(LogOfACall, HasItsFirstHundredLinesAndCountsTheRest) {
  LoggedServer log;
  HttpClient client = log.server().client();
  const std::string project = log.server().open("project.db");
  client.call(project, "query_table",
              sql_request("with recursive n (i) as (select 1 union all select i + 1 from n where "
                          "i < 5000) select null from n"));
  const auto requests = log.end_with_requests();
  EXPECT_EQ(requests.at(1).at("lines").size(), 100U);
  // Two lines of the query itself.
  EXPECT_EQ(requests.at(1).at("lines_left_out"), 5000 + 2 - 100);
}

TEST(LogOfACall, CutsALongText) {
  LoggedServer log;
  HttpClient client = log.server().client();
  const std::string project = log.server().open("project.db");
  client.call(
      project, "query_table",
      {{"kind", std::string(3990, 'x') + "\u20AC\u20AC\u20AC" + std::string(200'000, 'y')}});
  const auto requests = log.end_with_requests();
  const std::string message = requests.at(1).at("lines").at(0).at("message");
  EXPECT_LE(message.size(), 4096 + std::string("\u2026").size());
  EXPECT_TRUE(message.starts_with("unhandled query kind: xxx"));
  EXPECT_TRUE(message.ends_with("\u2026"));
}

}  // namespace
}  // namespace korvane::test
