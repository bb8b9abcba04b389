#include "host/access/statements.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstddef>
#include <string>

namespace korvane::host {

namespace {

bool is_word(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '$' ||
         static_cast<unsigned char>(c) >= 0x80;
}

/// The length of the variable that `sql` begins with, such as `$name`, `:a::b` and, with anything
/// but blanks in the parentheses, `@name('x)`.
std::size_t length_of_variable(std::string_view sql) {
  std::size_t length = 1;
  bool has_name = false;
  for (; length < sql.size(); ++length) {
    if (is_word(sql[length])) {
      has_name = true;
    } else if (sql.substr(length, 2) == "::") {
      ++length;
    } else {
      break;
    }
  }
  if (!has_name || length == sql.size() || sql[length] != '(') return length;
  return std::min(sql.find_first_of(") \t\n\v\f\r", length), sql.size() - 1) + 1;
}

/// Takes the next token off `sql`: a word in lower case, one character, or an empty text at the
/// end. Blanks and comments are skipped; a text or quoted name is one token, `'`.
std::string take_token(std::string_view& sql) {
  const auto skip_past = [&](std::string_view end, std::size_t from) {
    const std::size_t found = sql.find(end, from);
    sql.remove_prefix(found == sql.npos ? sql.size() : found + end.size());
  };
  for (;;) {
    if (sql.empty()) return {};
    if (std::isspace(static_cast<unsigned char>(sql.front())) != 0) {
      sql.remove_prefix(1);
    } else if (sql.starts_with("--")) {
      skip_past("\n", 2);
    } else if (sql.starts_with("/*")) {
      skip_past("*/", 2);
    } else {
      break;
    }
  }
  const char first = sql.front();
  if (first == '\'' || first == '"' || first == '`' || first == '[') {
    const char end = first == '[' ? ']' : first;
    // A doubled quote inside begins another text at once, which comes to the same.
    skip_past(std::string_view(&end, 1), 1);
    return "'";
  }
  std::size_t length = 1;
  if (std::string_view("$@#:").find(first) != std::string_view::npos) {
    length = length_of_variable(sql);
  } else if (is_word(first)) {
    while (length < sql.size() && is_word(sql[length])) ++length;
  }
  std::string token(sql.substr(0, length));
  std::transform(token.begin(), token.end(), token.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  sql.remove_prefix(length);
  return token;
}

/// Takes the rest of a statement that began with `token`, with its semicolon.
void skip_statement(std::string_view& sql, std::string token) {
  // explain [query plan] create [temp|temporary] trigger
  for (const std::string_view word : {"explain", "query", "plan", "create", "temp", "temporary"}) {
    if (token == word) token = take_token(sql);
  }
  const bool is_trigger = token == "trigger";
  bool is_after_end = false;
  bool is_after_semicolon = false;
  for (; !token.empty(); token = take_token(sql)) {
    if (token == ";" && (!is_trigger || is_after_end)) return;
    // The END of a trigger follows a semicolon; that of a CASE does not.
    is_after_end = token == "end" && is_after_semicolon;
    is_after_semicolon = token == ";";
  }
}

}  // namespace

bool has_several_statements(std::string_view sql) {
  std::string token;
  do {
    token = take_token(sql);
  } while (token == ";");
  skip_statement(sql, token);
  do {
    token = take_token(sql);
  } while (token == ";");
  return !token.empty();
}

}  // namespace korvane::host
