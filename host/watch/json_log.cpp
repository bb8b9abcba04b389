#include "host/watch/json_log.h"

#include <mutex>
#include <string_view>
#include <utility>
#include <vector>

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/make_shared.hpp>
#include <nlohmann/json.hpp>

#include "host/text/shortened.h"

namespace korvane::host {

using krv::log::severity_level;
using Json = nlohmann::ordered_json;

namespace {

/// A character has a byte at least; one more shows that there is more.
constexpr std::size_t kMostCharacters = kShortBytes + 1;

thread_local CollectedLines* collected_lines = nullptr;

severity_level severity_of(const boost::log::attribute_value_set& values) {
  const auto severity = boost::log::extract<severity_level>("Severity", values);
  return severity ? severity.get() : krv::log::trace;
}

class JsonBackend;

/// The sinks that there are, and what they leave out. For lines that do not go by way of Boost.Log,
/// which would want their text at once.
struct Sinks {
  struct One {
    severity_level minimum;
    boost::shared_ptr<JsonBackend> backend;
  };

  std::mutex mutex;
  std::vector<One> all;
};

Sinks& sinks() {
  // Never destroyed: whatever is destroyed after main may log still.
  static auto* const instance = new Sinks;
  return *instance;
}

/// The message of a line, cut where it is too long.
std::string message_of(std::wstring_view text) {
  return shortened(krv::log::narrow(text.substr(0, kMostCharacters)));
}

void collect(severity_level severity, std::wstring_view text) {
  if (collected_lines->lines.size() < kMostCollectedLines) {
    collected_lines->lines.push_back({severity, message_of(text)});
  } else {
    ++collected_lines->left_out;
  }
}

class JsonBackend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::concurrent_feeding> {
 public:
  explicit JsonBackend(LogWriter::Output output) : writer_(std::move(output), &loss_line) {}

  void consume(const boost::log::record_view& record) {
    const severity_level severity = severity_of(record.attribute_values());
    const auto text = boost::log::extract<std::wstring>("Message", record);
    const std::wstring_view message = text ? std::wstring_view(text.get()) : std::wstring_view();
    if (severity == krv::log::request) return writer_.write(krv::log::narrow(message));
    if (collected_lines != nullptr) return collect(severity, message);
    writer_.write(Json{{"time", log_time()},
                       {"severity", static_cast<int>(severity)},
                       {"message", message_of(message)}}
                      .dump());
  }

  void write(const std::shared_ptr<const LateLine>& line) { writer_.write(line); }
  void flush_lines(std::chrono::milliseconds patience) { writer_.flush(patience); }

 private:
  static std::string loss_line(std::uint64_t lines) {
    return Json{
        {"time", log_time()}, {"message", "lines of the log were lost"}, {"lost_lines", lines}}
        .dump();
  }

  LogWriter writer_;
};

}  // namespace

LineCollector::LineCollector(CollectedLines& lines) { collected_lines = &lines; }

LineCollector::~LineCollector() { collected_lines = nullptr; }

struct JsonLogSink::Impl {
  using Sink = boost::log::sinks::unlocked_sink<JsonBackend>;
  boost::shared_ptr<JsonBackend> backend;
  boost::shared_ptr<Sink> sink;
};

JsonLogSink::JsonLogSink(severity_level minimum, LogWriter::Output output)
    : impl_(std::make_unique<Impl>()) {
  impl_->backend = boost::make_shared<JsonBackend>(std::move(output));
  impl_->sink = boost::make_shared<Impl::Sink>(impl_->backend);
  impl_->sink->set_filter([minimum](const boost::log::attribute_value_set& values) {
    return severity_of(values) >= minimum;
  });
  boost::log::core::get()->add_sink(impl_->sink);
  const std::lock_guard lock(sinks().mutex);
  sinks().all.push_back({minimum, impl_->backend});
}

JsonLogSink::~JsonLogSink() {
  boost::log::core::get()->remove_sink(impl_->sink);
  const std::lock_guard lock(sinks().mutex);
  std::erase_if(sinks().all, [&](const Sinks::One& one) { return one.backend == impl_->backend; });
}

void JsonLogSink::flush(std::chrono::milliseconds patience) {
  impl_->backend->flush_lines(patience);
}

void log_object(const std::string& object) {
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::request) << krv::log::widen(object);
}

void log_late(const std::shared_ptr<const LateLine>& line) {
  if (!boost::log::core::get()->get_logging_enabled()) return;
  {
    const std::lock_guard lock(sinks().mutex);
    for (const Sinks::One& one : sinks().all) {
      if (one.minimum <= krv::log::request) one.backend->write(line);
    }
    if (!sinks().all.empty()) return;
  }
  log_object(line->text());  // the program has sinks of its own
}

void log_event(const std::string& message) {
  log_object(Json{{"time", log_time()}, {"message", message}}.dump());
}

std::string log_time(std::chrono::system_clock::time_point time) {
  const auto since = std::chrono::duration_cast<std::chrono::microseconds>(time.time_since_epoch());
  return Poco::DateTimeFormatter::format(Poco::Timestamp(since.count()),
                                         Poco::DateTimeFormat::ISO8601_FRAC_FORMAT);
}

}  // namespace korvane::host
