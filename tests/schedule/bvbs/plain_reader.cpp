#include "tests/schedule/bvbs/plain_reader.h"

#include <cctype>
#include <cstdlib>
#include <numeric>
#include <stdexcept>

namespace korvane::test {

namespace {

using Tokens = std::vector<std::string>;

[[noreturn]] void fail(const std::string& what, const std::string& value) {
  throw std::runtime_error(what + ": \"" + value + "\"");
}

double number(const std::string& text) {
  char* end = nullptr;
  const double value = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || text.find_first_not_of("-0123456789.") != text.npos) {
    fail("not a number", text);
  }
  return value;
}

Tokens split(const std::string& text) {
  Tokens tokens;
  std::string token;
  for (const char c : text) {
    if (c == '@') {
      tokens.push_back(token);
      token.clear();
    } else {
      token += c;
    }
  }
  if (!token.empty()) fail("does not end in @", token);
  return tokens;
}

void verify_checksum(const std::string& line, std::size_t c) {
  const int sum = std::accumulate(line.begin(), line.begin() + static_cast<long>(c) + 1, 0,
                                  [](int so_far, char byte) { return so_far + (byte & 0xFF); });
  const std::string right = std::to_string(96 - sum % 32) + "@";
  if (line.substr(c + 1) != right) fail("the checksum is not " + right, line.substr(c));
}

void read_legs(PlainRecord& record, const Tokens& fields) {
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const std::string value = fields[i].substr(1);
    const char letter = fields[i][0];
    if (letter == 'l' || letter == 'r') {
      if (i + 1 == fields.size() || fields[i + 1][0] != 'w') fail("a leg without w", fields[i]);
      record.legs.push_back({letter == 'r', number(value), number(fields[i + 1].substr(1)), {}});
      ++i;
    } else if (letter == 'w') {
      if (record.legs.empty() || !record.legs.back().is_curved || record.legs.back().next_bend) {
        fail("a bend without a leg", fields[i]);
      }
      record.legs.back().next_bend = number(value);
    } else if (letter == 'n' && record.group == "BFWE") {
      if (i + 1 == fields.size() || fields[i + 1][0] != 'g') fail("turns without g", fields[i]);
      record.turns.emplace_back(number(value), number(fields[i + 1].substr(1)));
      ++i;
    } else {
      fail("not a field of geometry", fields[i]);
    }
  }
}

void read_offsets(PlainRecord& record, const Tokens& fields) {
  if (fields.size() % 3 != 0) fail("not x, y and z", fields.back());
  for (std::size_t i = 0; i < fields.size(); i += 3) {
    std::array<double, 3> offset;
    for (std::size_t k = 0; k < 3; ++k) {
      if (fields[i + k][0] != "xyz"[k]) fail("not x, y and z", fields[i + k]);
      offset[k] = number(fields[i + k].substr(1));
    }
    record.offsets.push_back(offset);
  }
}

void read_block(PlainRecord& record, char letter, Tokens fields) {
  for (const std::string& field : fields) {
    if (field.empty() || std::islower(static_cast<unsigned char>(field[0])) == 0) {
      fail("not a field", field);
    }
  }
  if (letter == 'H') {
    for (const std::string& field : fields) {
      if (!record.header.emplace(field[0], field.substr(1)).second) fail("twice", field);
      record.header_order += field[0];
    }
  } else if (letter == 'M') {
    for (const std::string& field : fields) record.treatments[field[0]] = field.substr(1);
  } else if (letter == 'G' && record.group == "BF3D") {
    read_offsets(record, fields);
  } else if (letter == 'G') {
    std::string& first = fields.at(0);
    if (record.group == "BFMA" && (first[0] == 'x' || first[0] == 'y')) {
      record.bent_bars = first[0];
      first.erase(0, 1);
    }
    read_legs(record, fields);
  } else {
    std::string block(1, letter);
    for (const std::string& field : fields) block += (block.size() == 1 ? "" : "@") + field;
    record.other_blocks.push_back(block);
  }
}

void refuse_as_a_machine(const PlainRecord& record) {
  const auto header = [&](char letter) {
    const auto found = record.header.find(letter);
    return found == record.header.end() ? std::string() : found->second;
  };
  const std::string& pieces = header('n');
  if (pieces.empty() || pieces.find_first_not_of("0123456789") != pieces.npos) {
    fail("not a number of pieces", pieces);
  }
  if (number(header('l')) <= 0) fail("not a length", header('l'));
  if (!header('s').empty()) number(header('s'));
  if (!header('e').empty()) number(header('e'));
  const bool is_bar = record.group == "BF2D" || record.group == "BF3D" || record.group == "BFWE";
  if (!is_bar) return;
  if (number(header('d')) <= 0) fail("not a diameter", header('d'));
  const bool has_positions = !record.other_blocks.empty() && record.other_blocks[0][0] == 'A';
  if (record.legs.empty() && record.offsets.empty() && !has_positions) {
    fail("no geometry", record.group);
  }
}

}  // namespace

PlainRecord read_plain(const std::string& line) {
  if (line.size() < 6 || line[4] != '@' || line[5] != 'H') fail("not a group and @H", line);
  const std::size_t last = line.rfind("@C");
  if (last == line.npos) fail("no checksum", line);
  verify_checksum(line, last + 1);

  PlainRecord record;
  record.group = line.substr(0, 4);
  std::string body = line.substr(5, last - 4);
  const std::size_t private_begin = body.find("@P");
  if (private_begin != body.npos) {
    record.private_text = body.substr(private_begin + 1);
    body.resize(private_begin + 1);
  }
  char letter = 0;
  Tokens fields;
  for (std::string token : split(body)) {
    if (!token.empty() && std::isupper(static_cast<unsigned char>(token[0])) != 0) {
      if (letter != 0) read_block(record, letter, fields);
      letter = token[0];
      fields.clear();
      token.erase(0, 1);
    }
    fields.push_back(token);
  }
  read_block(record, letter, fields);
  refuse_as_a_machine(record);
  return record;
}

bool has_whole_header(const PlainRecord& record) {
  static const std::map<std::string, std::string> wanted = {{"BF2D", "jriplnedgsv"},
                                                            {"BF3D", "jriplnedgsv"},
                                                            {"BFWE", "jriplnedgsv"},
                                                            {"BFMA", "jriplnegsmbv"},
                                                            {"BFAU", "jriplnemh"}};
  return record.header_order.starts_with(wanted.at(record.group));
}

std::vector<PlainRecord> read_plain_file(const std::string& text) {
  std::vector<PlainRecord> records;
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = text.find("\r\n", begin);
    if (end == text.npos) fail("a line without CR LF", text.substr(begin));
    const std::string line = text.substr(begin, end - begin);
    if (line.find_first_of("\r\n") != line.npos) fail("a broken line end", line);
    records.push_back(read_plain(line));
    begin = end + 2;
  }
  return records;
}

}  // namespace korvane::test
