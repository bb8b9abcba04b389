#include "platform/log/log.h"

#include <algorithm>
#include <cstdint>
#include <iostream>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

namespace krv::log {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

bool is_scalar_value(char32_t code) { return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF); }

/// Takes one code point off the front of `text`; a byte that begins none is taken as U+FFFD.
char32_t take_code_point(std::string_view& text) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t lead = byte(0);
  std::size_t length = 1;
  char32_t code = lead;
  char32_t smallest = 0;
  if (lead >= 0xF0 && lead < 0xF8) {
    length = 4;
    code = lead & 0x07U;
    smallest = 0x10000;
  } else if (lead >= 0xE0 && lead < 0xF0) {
    length = 3;
    code = lead & 0x0FU;
    smallest = 0x800;
  } else if (lead >= 0xC0 && lead < 0xE0) {
    length = 2;
    code = lead & 0x1FU;
    smallest = 0x80;
  } else if (lead >= 0x80) {
    code = kReplacement;
  }
  bool well_formed = length <= text.size();
  for (std::size_t i = 1; well_formed && i < length; ++i) {
    well_formed = (byte(i) & 0xC0U) == 0x80;
    code = (code << 6) | (byte(i) & 0x3FU);
  }
  if (!well_formed || code < smallest || !is_scalar_value(code)) {
    length = 1;
    code = kReplacement;
  }
  text.remove_prefix(length);
  return code;
}

void append_utf8(std::string& text, char32_t code) {
  const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (code < 0x80) {
    append(code);
  } else if (code < 0x800) {
    append(0xC0 | (code >> 6));
    append(0x80 | (code & 0x3F));
  } else if (code < 0x10000) {
    append(0xE0 | (code >> 12));
    append(0x80 | ((code >> 6) & 0x3F));
    append(0x80 | (code & 0x3F));
  } else {
    append(0xF0 | (code >> 18));
    append(0x80 | ((code >> 12) & 0x3F));
    append(0x80 | ((code >> 6) & 0x3F));
    append(0x80 | (code & 0x3F));
  }
}

int severity_of(const boost::log::attribute_value_set& values) {
  const auto severity = boost::log::extract<severity_level>("Severity", values);
  return severity ? severity.get() : trace;
}

class StderrBackend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
 public:
  void consume(const boost::log::record_view& record) {
    const auto message = boost::log::extract<std::wstring>("Message", record);
    std::string line = "[";
    line += std::to_string(severity_of(record.attribute_values()));
    line += "] ";
    if (message) line += narrow(message.get());
    line += '\n';
    std::cerr << line;
  }
};

}  // namespace

Logger& get_global_log() {
  // Never destroyed: services that outlive main's statics still log on their way out.
  static auto* const logger = new Logger;
  return *logger;
}

std::wstring widen(std::string_view text) {
  static_assert(sizeof(wchar_t) == 4 || sizeof(wchar_t) == 2);
  // Most texts are of ASCII from end to end, and every line comes by here.
  const auto* const ascii_end = std::find_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  std::wstring wide(text.begin(), ascii_end);
  text.remove_prefix(wide.size());
  wide.reserve(wide.size() + text.size());
  while (!text.empty()) {
    char32_t code = take_code_point(text);
    if (sizeof(wchar_t) == 2 && code > 0xFFFF) {
      code -= 0x10000;
      wide += static_cast<wchar_t>(0xD800 | (code >> 10));
      code = 0xDC00 | (code & 0x3FF);
    }
    wide += static_cast<wchar_t>(code);
  }
  return wide;
}

std::string narrow(std::wstring_view text) {
  const auto* const ascii_end =
      std::find_if(text.begin(), text.end(), [](wchar_t c) { return c < 0 || c >= 0x80; });
  const auto ascii_size = static_cast<std::size_t>(ascii_end - text.begin());
  std::string utf8(ascii_size, '\0');
  std::transform(text.begin(), ascii_end, utf8.begin(),
                 [](wchar_t c) { return static_cast<char>(c); });
  utf8.reserve(text.size());
  for (std::size_t i = ascii_size; i < text.size(); ++i) {
    auto code = static_cast<char32_t>(text[i]);
    if (sizeof(wchar_t) == 2 && code >= 0xD800 && code <= 0xDBFF && i + 1 < text.size()) {
      const auto low = static_cast<char32_t>(text[i + 1]);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        ++i;
      }
    }
    append_utf8(utf8, is_scalar_value(code) ? code : kReplacement);
  }
  return utf8;
}

struct StderrSink::Impl {
  using Sink = boost::log::sinks::synchronous_sink<StderrBackend>;
  boost::shared_ptr<Sink> sink = boost::make_shared<Sink>();
};

StderrSink::StderrSink(severity_level minimum) : impl_(std::make_unique<Impl>()) {
  impl_->sink->set_filter([minimum](const boost::log::attribute_value_set& values) {
    return severity_of(values) >= minimum;
  });
  boost::log::core::get()->add_sink(impl_->sink);
}

StderrSink::~StderrSink() { boost::log::core::get()->remove_sink(impl_->sink); }

}  // namespace krv::log
