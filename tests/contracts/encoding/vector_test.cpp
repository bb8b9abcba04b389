#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/contracts/encoding/records.h"

namespace {

using korvane::test::decode_bytes;
using korvane::test::encoded;
using korvane::test::from_hex;
using korvane::test::hex;
using korvane::test::Json;
using korvane::test::record_from_vector_json;
using korvane::test::StoredRecords;
using korvane::test::vector_text;

std::vector<Json> lines_of(const std::string& name) {
  const std::string path = std::string(KORVANE_TEST_DATA) + "/encoding/" + name;
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<Json> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(Json::parse(line));
  return lines;
}

const std::vector<Json>& golden() {
  static const std::vector<Json> lines = lines_of("golden.jsonl");
  return lines;
}

const std::vector<Json>& crafted() {
  static const std::vector<Json> lines = lines_of("decode.jsonl");
  return lines;
}

const std::vector<Json>& typical() {
  static const std::vector<Json> lines = lines_of("typical.jsonl");
  return lines;
}

std::string text(const Json& line, const char* key) { return line.at(key).get<std::string>(); }
std::string bytes_of(const Json& line) { return from_hex(text(line, "hex")); }

const Json& value_when_decoded(const Json& line) {
  return line.contains("json_decoded") ? line.at("json_decoded") : line.at("json");
}

/// Calls `visitor` with each line, for the record that the line is about.
template <class Visitor>
void for_each_line(const std::vector<Json>& lines, Visitor visitor) {
  for (const Json& line : lines) {
    SCOPED_TRACE(text(line, "name"));
    StoredRecords::visit(text(line, "struct"),
                         [&]<class T>() { visitor.template operator()<T>(line); });
  }
}

/// How decoding ends: the record as one line, or the type and text of what it raises.
template <class T>
std::string outcome(std::string_view bytes) {
  try {
    return vector_text(decode_bytes<T>(bytes));
  } catch (const bond::StreamException& exception) {
    return std::string("bond::StreamException ") + exception.what();
  } catch (const bond::CoreException& exception) {
    return std::string("bond::CoreException ") + exception.what();
  } catch (const std::overflow_error& exception) {
    return std::string("std::overflow_error ") + exception.what();
  }
}

/// Whether the text tells of a read that the bytes cannot satisfy, where it says it was.
bool tells_a_read_beyond(const std::string& what, std::size_t length) {
  unsigned requested = 0;
  unsigned offset = 0;
  unsigned told = 0;
  if (std::sscanf(what.c_str(),
                  "bond::StreamException Read out of bounds: %u bytes requested, offset: %u, "
                  "length: %u",
                  &requested, &offset, &told) != 3) {
    return false;
  }
  return told == length && offset <= length && requested > length - offset;
}

TEST(GoldenVectors, AreAllThere) { EXPECT_EQ(golden().size(), 1119U); }

TEST(GoldenVectors, EncodeToExactlyTheirBytes) {
  for_each_line(golden(), []<class T>(const Json& line) {
    EXPECT_EQ(encoded(record_from_vector_json<T>(line.at("json"))), hex(bytes_of(line)));
  });
}

TEST(GoldenVectors, DecodeToTheirValue) {
  for_each_line(golden(), []<class T>(const Json& line) {
    EXPECT_EQ(outcome<T>(bytes_of(line)), value_when_decoded(line).dump());
  });
}

TEST(GoldenVectors, ReadAsJsonAndBackLoseNothing) {
  for_each_line(golden(), []<class T>(const Json& line) {
    EXPECT_EQ(vector_text(record_from_vector_json<T>(line.at("json"))), line.at("json").dump());
  });
}

TEST(GoldenVectors, RaiseAStreamExceptionWhereverTheyAreCut) {
  for_each_line(golden(), []<class T>(const Json& line) {
    const std::string bytes = bytes_of(line);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      const std::string what = outcome<T>(std::string_view(bytes).substr(0, length));
      EXPECT_TRUE(tells_a_read_beyond(what, length)) << "cut at " << length << ": " << what;
    }
  });
}

TEST(CraftedVectors, AreAllThere) { EXPECT_EQ(crafted().size(), 417U); }

TEST(CraftedVectors, EndAsTheySay) {
  for_each_line(crafted(), []<class T>(const Json& line) {
    const std::string expected = text(line, "outcome") == "ok"
                                     ? line.at("json").dump()
                                     : text(line, "type") + " " + text(line, "what");
    EXPECT_EQ(outcome<T>(bytes_of(line)), expected);
  });
}

TEST(CraftedVectors, EncodeAgainToTheBytesOfTheirValue) {
  for_each_line(crafted(), []<class T>(const Json& line) {
    if (text(line, "outcome") != "ok") return;
    EXPECT_EQ(encoded(decode_bytes<T>(bytes_of(line))), hex(from_hex(text(line, "reencoded"))));
  });
}

TEST(CraftedVectors, RaiseNothingButAStreamExceptionWhereverTheyAreCut) {
  for_each_line(crafted(), []<class T>(const Json& line) {
    const std::string bytes = bytes_of(line);
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      const std::string what = outcome<T>(std::string_view(bytes).substr(0, length));
      EXPECT_TRUE(what.front() == '{' || tells_a_read_beyond(what, length))
          << "cut at " << length << ": " << what;
    }
  });
}

TEST(TypicalRecords, EncodeToExactlyTheirBytesAndBack) {
  EXPECT_EQ(typical().size(), 3U);
  for_each_line(typical(), []<class T>(const Json& line) {
    EXPECT_EQ(encoded(record_from_vector_json<T>(line.at("json"))), hex(bytes_of(line)));
    EXPECT_EQ(outcome<T>(bytes_of(line)), line.at("json").dump());
  });
}

}  // namespace
