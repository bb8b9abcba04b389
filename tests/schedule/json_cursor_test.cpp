#include "schedule/json_cursor.h"

#include <string>
#include <string_view>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace korvane::schedule {
namespace {

using testing::ElementsAre;

std::vector<std::string> elements(std::string_view text) {
  std::vector<std::string> elements;
  JsonCursor cursor(text);
  cursor.enter();
  while (cursor.next_element()) elements.emplace_back(cursor.take());
  return elements;
}

TEST(JsonCursor, TakesEachElementAsItIsWritten) {
  EXPECT_THAT(
      elements(R"([1, -2.5e3 ,"a","",null , true,{"b":[2]},[ ],{}])"),
      ElementsAre("1", "-2.5e3", R"("a")", R"("")", "null", "true", R"({"b":[2]})", "[ ]", "{}"));
}

TEST(JsonCursor, TakesSignsInTextsForText) {
  EXPECT_THAT(elements(R"(["],\"{", {"}":"]\\"}, 3])"),
              ElementsAre(R"("],\"{")", R"({"}":"]\\"})", "3"));
}

TEST(JsonCursor, FindsNothingInWhatIsEmpty) { EXPECT_THAT(elements(" [ \n ] "), ElementsAre()); }

TEST(JsonCursor, GoesThroughMembersAndIntoSomeOfThem) {
  JsonCursor cursor(R"( { "a" : 1 ,"list":[ 2,{"c" :3}] ,
    "last":"x" } )");
  std::vector<std::string> seen;
  cursor.enter();
  for (std::string_view name; cursor.next_member(name);) {
    if (!cursor.is_array()) {
      seen.push_back(std::string(name) + "=" + std::string(cursor.take()));
      continue;
    }
    cursor.enter();
    while (cursor.next_element()) {
      seen.push_back(std::string(name) + ":" + std::string(cursor.take()));
    }
  }
  EXPECT_THAT(seen, ElementsAre("a=1", "list:2", R"(list:{"c" :3})", R"(last="x")"));
}

TEST(JsonCursor, BeginsAtAnyValue) {
  const std::string_view text = R"({"a":[1,{"b":2}]})";
  EXPECT_EQ(JsonCursor(text, text.find("{\"b")).take(), R"({"b":2})");
  EXPECT_EQ(JsonCursor("12").take(), "12");
}

}  // namespace
}  // namespace korvane::schedule
