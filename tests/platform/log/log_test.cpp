#include "platform/log/log.h"

#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

#include <boost/log/core.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/captured_log.h"

namespace korvane::test {

namespace {

using krv::log::get_global_log;
using krv::log::narrow;
using krv::log::refused;
using krv::log::StderrSink;
using krv::log::trace;
using krv::log::widen;

/// Takes what is written to std::cerr while it lives.
class CapturedStderr {
 public:
  CapturedStderr() : before_(std::cerr.rdbuf(text_.rdbuf())) {}
  CapturedStderr(const CapturedStderr&) = delete;
  CapturedStderr& operator=(const CapturedStderr&) = delete;
  ~CapturedStderr() { std::cerr.rdbuf(before_); }

  std::string text() const { return text_.str(); }

 private:
  std::ostringstream text_;
  std::streambuf* before_;
};

class LoggingOff {
 public:
  LoggingOff() { boost::log::core::get()->set_logging_enabled(false); }
  LoggingOff(const LoggingOff&) = delete;
  LoggingOff& operator=(const LoggingOff&) = delete;
  ~LoggingOff() { boost::log::core::get()->set_logging_enabled(true); }
};

void log_line(krv::log::severity_level severity, const std::wstring& text) {
  BOOST_LOG_SEV(get_global_log(), severity) << text;
}

TEST(GlobalLog, IsOneForTheProcess) { EXPECT_EQ(&get_global_log(), &get_global_log()); }

TEST(GlobalLog, ReachesSinksWithSeverityAndWideText) {
  CapturedLog log;
  log_line(trace, L"opened");
  log_line(refused, L"Stütze \x20AC");
  EXPECT_EQ(log.lines(), (LogLines{{0, L"opened"}, {2, L"Stütze \x20AC"}}));
}

TEST(GlobalLog, JoinsThePiecesOfALineAndAddsNothing) {
  CapturedLog log;
  BOOST_LOG_SEV(get_global_log(), trace) << widen("a.db") << L": exists=" << 1;
  EXPECT_EQ(log.lines(), (LogLines{{0, L"a.db: exists=1"}}));
}

TEST(GlobalLog, EvaluatesNothingWithLoggingOff) {
  CapturedLog log;
  int evaluated = 0;
  const auto piece = [&] { return ++evaluated; };
  {
    const LoggingOff off;
    BOOST_LOG_SEV(get_global_log(), refused) << piece();
  }
  EXPECT_EQ(evaluated, 0);
  EXPECT_TRUE(log.lines().empty());
}

TEST(GlobalLog, LogsAgainOnceLoggingIsBackOn) {
  CapturedLog log;
  { const LoggingOff off; }
  log_line(trace, L"back");
  EXPECT_EQ(log.lines(), (LogLines{{0, L"back"}}));
}

struct WideCase {
  std::string narrow;
  std::wstring wide;
};

const WideCase kWellFormed[] = {
    {"", L""},
    {"plain /text_9", L"plain /text_9"},
    {std::string("a\0b", 3), std::wstring(L"a\0b", 3)},
    {"\x7F", L"\x7F"},
    {"\xC2\x80", L"\x80"},
    {"\xC3\xBC", L"\xFC"},
    {"\xDF\xBF", L"\x7FF"},
    {"\xE0\xA0\x80", L"\x800"},
    {"\xE2\x82\xAC", L"\x20AC"},
    {"\xED\x9F\xBF", L"\xD7FF"},
    {"\xEE\x80\x80", L"\xE000"},
    {"\xEF\xBF\xBF", L"\xFFFF"},
    {"\xF0\x90\x80\x80", L"\U00010000"},
    {"\xF4\x8F\xBF\xBF", L"\U0010FFFF"},
};

TEST(Widen, TakesWellFormedTextAsItIs) {
  for (const WideCase& one : kWellFormed) EXPECT_EQ(widen(one.narrow), one.wide) << one.narrow;
}

TEST(Narrow, GivesUtf8) {
  for (const WideCase& one : kWellFormed) EXPECT_EQ(narrow(one.wide), one.narrow);
}

TEST(Widen, MakesOneReplacementOfEachByteThatIsNoPartOfWellFormedText) {
  const WideCase cases[] = {
      {"a\x80z", L"a\xFFFDz"},                                      // a lone continuation
      {"\xC3", L"\xFFFD"},                                          // cut short
      {"\xE2\x82", L"\xFFFD\xFFFD"},                                // cut short
      {"\xF0\x90\x80", L"\xFFFD\xFFFD\xFFFD"},                      // cut short
      {"\xE2\x82z", L"\xFFFD\xFFFDz"},                              // broken off by another
      {"\xC0\x80", L"\xFFFD\xFFFD"},                                // overlong
      {"\xE0\x9F\xBF", L"\xFFFD\xFFFD\xFFFD"},                      // overlong
      {"\xF0\x8F\xBF\xBF", L"\xFFFD\xFFFD\xFFFD\xFFFD"},            // overlong
      {"\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},                      // a surrogate
      {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},            // beyond the last code point
      {"\xF8\x88\x80\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD\xFFFD"},  // no lead byte
      {"\xFF\xFE", L"\xFFFD\xFFFD"},
  };
  for (const WideCase& one : cases) EXPECT_EQ(widen(one.narrow), one.wide);
}

TEST(Narrow, ReplacesWhatIsNoScalarValue) {
  EXPECT_EQ(narrow(std::wstring(1, static_cast<wchar_t>(0xD800))), "\xEF\xBF\xBD");
  EXPECT_EQ(narrow(std::wstring(1, static_cast<wchar_t>(0xDFFF))), "\xEF\xBF\xBD");
  EXPECT_EQ(narrow(std::wstring(1, static_cast<wchar_t>(0x110000))), "\xEF\xBF\xBD");
}

TEST(StderrSink, WritesSeverityAndTextOfEachLine) {
  const CapturedStderr output;
  const StderrSink sink(trace);
  log_line(trace, L"opened");
  log_line(refused, L"St\xFCtze");
  EXPECT_EQ(output.text(), "[0] opened\n[2] St\xC3\xBCtze\n");
}

TEST(StderrSink, LeavesOutLinesBelowItsMinimumAndEvaluatesNoneOfTheirPieces) {
  const CapturedStderr output;
  const StderrSink sink(refused);
  int evaluated = 0;
  BOOST_LOG_SEV(get_global_log(), trace) << ++evaluated;
  log_line(refused, L"refused");
  EXPECT_EQ(output.text(), "[2] refused\n");
  EXPECT_EQ(evaluated, 0);
}

TEST(StderrSink, WritesNothingAnyMoreOnceItHasGone) {
  const CapturedLog log;
  const CapturedStderr output;
  { const StderrSink sink(trace); }
  log_line(refused, L"late");
  EXPECT_EQ(output.text(), "");
}

}  // namespace

}  // namespace korvane::test
