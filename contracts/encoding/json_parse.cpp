#include "contracts/encoding/json_parse.h"

#include <charconv>
#include <limits>
#include <rapidjson/reader.h>
#include <system_error>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "bond/compact_binary.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/json_text.h"
#include "contracts/encoding/place.h"
#include "contracts/encoding/utf8.h"

namespace korvane::encoding::detail {

namespace {

using Json = nlohmann::json;

[[noreturn]] void fail_malformed(std::string_view text, std::size_t position, std::string reason) {
  const std::string_view before =
      text.substr(0, std::min(text.size(), position == 0 ? 0 : position - 1));
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const std::size_t column = before.size() - (before.rfind('\n') + 1) + 1;
  fail_at("", "malformed JSON at line " + std::to_string(line) + ", column " +
                  std::to_string(column) + " (byte " + std::to_string(before.size() + 1) +
                  "): " + reason);
}

void require_depth(std::size_t depth) {
  if (depth > bond::kMaxDepth) {
    fail_at("", "nested deeper than " + std::to_string(bond::kMaxDepth) + " levels");
  }
}

/// The library's message without its number, the place, and the text that was read, which may be
/// long and not UTF-8.
std::string reason_of(std::string_view what) {
  constexpr std::string_view kIntroduction = "syntax error ";
  const std::size_t begin = what.find(kIntroduction);
  if (begin != std::string_view::npos) what.remove_prefix(begin + kIntroduction.size());
  return std::string(what.substr(0, what.find("; last read: ")));
}

/// Stands for a tree where only the text is checked.
using NoTree = rapidjson::BaseReaderHandler<>;

/// Reads a text into a tree, or says what is wrong with it and where.
template <class Tree>
class ExactReader : public nlohmann::json_sax<Json> {
 public:
  ExactReader(std::string_view text, Tree& tree) : text_(text), tree_(tree) {}

  bool read() { return Json::sax_parse(text_.begin(), text_.end(), this); }

  bool null() override { return count(tree_.Null()); }
  bool boolean(bool value) override { return count(tree_.Bool(value)); }
  bool number_integer(number_integer_t value) override {
    // The library calls this only for numbers with a minus, so that this zero is negative.
    return count(tree_.Double(value == 0 ? -0.0 : static_cast<double>(value)));
  }
  bool number_unsigned(number_unsigned_t value) override { return count(tree_.Uint64(value)); }
  bool number_float(number_float_t value, const string_t&) override {
    return count(tree_.Double(value));
  }
  bool string(string_t& value) override {
    return count(tree_.String(value.data(), length_of(value), true));
  }
  bool binary(binary_t&) override { return false; }

  bool start_object(std::size_t) override {
    return open({.is_array = false}) && tree_.StartObject();
  }
  bool key(string_t& key) override {
    open_.back().key = key;
    return tree_.Key(key.data(), length_of(key), true);
  }
  bool end_object() override { return count(tree_.EndObject(close())); }
  bool start_array(std::size_t) override { return open({.is_array = true}) && tree_.StartArray(); }
  bool end_array() override { return count(tree_.EndArray(close())); }

  bool parse_error(std::size_t position, const std::string& token,
                   const Json::exception& error) override {
    constexpr int kNumberOverflow = 406;
    if (error.id != kNumberOverflow) fail_malformed(text_, position, reason_of(error.what()));
    fail_at(path_of_next(),
            (token.size() > kLongestQuote ? token.substr(0, kLongestQuote) + "…" : token) +
                " is out of range: no number is beyond " +
                number_text(std::numeric_limits<double>::max()));
  }

 private:
  /// An object or array that is not closed yet.
  struct Open {
    bool is_array = false;
    std::string key = {};
    unsigned size = 0;
  };

  static unsigned length_of(const std::string& text) { return static_cast<unsigned>(text.size()); }

  bool open(Open container) {
    require_depth(open_.size() + 1);
    open_.push_back(std::move(container));
    return true;
  }
  /// Returns the number of values that were in it.
  unsigned close() {
    const unsigned size = open_.back().size;
    open_.pop_back();
    return size;
  }
  /// A value is complete.
  bool count(bool is_added) {
    if (!open_.empty()) ++open_.back().size;
    return is_added;
  }

  /// The path of the value that comes next.
  std::string path_of_next() const {
    std::string path;
    for (const Open& container : open_) {
      if (container.is_array) {
        append_index(path, container.size);
      } else {
        append_key(path, container.key);
      }
    }
    return path;
  }

  std::string_view text_;
  Tree& tree_;
  /// From the outermost in.
  std::vector<Open> open_;
};

/// Passes to the tree what the fast library reads, and refuses what it would read differently.
template <class Tree>
class TreeHandler : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TreeHandler<Tree>> {
 public:
  explicit TreeHandler(Tree& tree) : tree_(tree) {}

  bool Null() { return tree_.Null(); }
  bool Bool(bool value) { return tree_.Bool(value); }
  /// Every number is a double, which holds all that a field can: an integer has 32 bits. The
  /// library's own reading of numbers is inexact, or shifts by more bits than there are.
  bool RawNumber(const char* text, unsigned size, bool) {
    double value = 0;
    const auto [end, error] = std::from_chars(text, text + size, value);
    return error == std::errc() && end == text + size && tree_.Double(value);
  }
  bool String(const char* text, unsigned size, bool is_copied) {
    return !has_surrogate({text, size}) && tree_.String(text, size, is_copied);
  }
  bool Key(const char* text, unsigned size, bool is_copied) {
    return !has_surrogate({text, size}) && tree_.Key(text, size, is_copied);
  }
  bool StartObject() {
    require_depth(++depth_);
    return tree_.StartObject();
  }
  bool EndObject(unsigned members) {
    --depth_;
    return tree_.EndObject(members);
  }
  bool StartArray() {
    require_depth(++depth_);
    return tree_.StartArray();
  }
  bool EndArray(unsigned elements) {
    --depth_;
    return tree_.EndArray(elements);
  }

 private:
  /// The library turns an escaped surrogate without its other half into three bytes that are not
  /// UTF-8.
  static bool has_surrogate(std::string_view text) {
    for (std::size_t at = 0; (at = text.find('\xED', at)) != std::string_view::npos; ++at) {
      if (static_cast<unsigned char>(text[at + 1]) >= 0xA0) return true;
    }
    return false;
  }

  Tree& tree_;
  std::size_t depth_ = 0;
};

template <class Tree>
bool parse_fast(std::string_view text, Tree& tree) {
  if (!is_utf8(text)) return false;
  rapidjson::MemoryStream stream(text.data(), text.size());
  TreeHandler<Tree> handler(tree);
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, JsonAllocator> reader;
  return !reader.template Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, handler).IsError();
}

void require_characters(std::string_view text) {
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    fail_at("", "the text is empty");
  }
  // The libraries take a NUL for the end of the text, and would ignore what follows it.
  if (const std::size_t nul = text.find('\0'); nul != std::string_view::npos) {
    fail_malformed(text, nul + 1, "a NUL character");
  }
}

}  // namespace

JsonDocument parse_json(std::string_view text) {
  require_characters(text);
  JsonDocument tree;
  bool is_read = false;
  auto read_fast = [&](JsonDocument& into) { return is_read = parse_fast(text, into); };
  tree.Populate(read_fast);
  if (is_read) return tree;
  // The fast library says little about what is wrong, and refuses some texts that are valid: those
  // with a byte order mark, or 0e999.
  JsonDocument exact;
  auto read_exactly = [&](JsonDocument& into) { return ExactReader(text, into).read(); };
  exact.Populate(read_exactly);
  return exact;
}

}  // namespace korvane::encoding::detail

namespace korvane::encoding {

void check_json(std::string_view text) {
  detail::require_characters(text);
  detail::NoTree no_tree;
  if (detail::parse_fast(text, no_tree)) return;
  detail::ExactReader(text, no_tree).read();
}

}  // namespace korvane::encoding
