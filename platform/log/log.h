#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/sources/severity_logger.hpp>

namespace krv::log {

/// The numeric severities of a line. Lifecycle and trace lines are 0, what is refused or skipped 2.
/// A server's line for one request is 1.
enum severity_level : int { trace = 0, request = 1, refused = 2 };

using Logger = boost::log::sources::wseverity_logger_mt<severity_level>;

/// The one logger of the process; every thread may write to it. With logging off, or with a filter
/// that refuses the severity, nothing that is streamed into a line is evaluated:
///
///     BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::trace) << widen(filename) << ": …";
///
/// The level reaches sinks as the attribute "Severity", the text as a wide "Message".
Logger& get_global_log();

/// UTF-8 to wide text, for what is streamed into a line: Boost.Log would convert narrow text with
/// the global locale and throw on what that cannot represent. Throws only std::bad_alloc: each byte
/// that is not part of well-formed UTF-8 becomes U+FFFD.
std::wstring widen(std::string_view text);

/// Wide text to UTF-8. What is not a Unicode scalar value becomes U+FFFD.
std::string narrow(std::wstring_view text);

/// Writes the process's lines to stderr while it lives, one per line: "[severity] text".
class StderrSink {
 public:
  /// Lines below `minimum` are not written, nor their pieces evaluated.
  explicit StderrSink(severity_level minimum);
  StderrSink(const StderrSink&) = delete;
  StderrSink& operator=(const StderrSink&) = delete;
  ~StderrSink();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace krv::log
