#include "host/json_log.h"

#include <ostream>
#include <utility>

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Timestamp.h>
#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>
#include <nlohmann/json.hpp>

namespace korvane::host {

using krv::log::severity_level;

namespace {

thread_local std::vector<LogLine>* collected_lines = nullptr;

severity_level severity_of(const boost::log::attribute_value_set& values) {
  const auto severity = boost::log::extract<severity_level>("Severity", values);
  return severity ? severity.get() : krv::log::trace;
}

class JsonBackend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
 public:
  explicit JsonBackend(std::ostream& output) : output_(output) {}

  void consume(const boost::log::record_view& record) {
    const severity_level severity = severity_of(record.attribute_values());
    const auto text = boost::log::extract<std::wstring>("Message", record);
    std::string message = text ? krv::log::narrow(text.get()) : std::string();
    if (severity != krv::log::request) {
      if (collected_lines != nullptr) {
        collected_lines->push_back({severity, std::move(message)});
        return;
      }
      const nlohmann::ordered_json line = {
          {"time", log_time()}, {"severity", static_cast<int>(severity)}, {"message", message}};
      message = line.dump();
    }
    // Flushed as a whole, so that lines of other writers of the same stream do not come between.
    output_ << message + '\n' << std::flush;
  }

 private:
  std::ostream& output_;
};

}  // namespace

LineCollector::LineCollector(std::vector<LogLine>& lines) { collected_lines = &lines; }

LineCollector::~LineCollector() { collected_lines = nullptr; }

struct JsonLogSink::Impl {
  using Sink = boost::log::sinks::synchronous_sink<JsonBackend>;
  boost::shared_ptr<Sink> sink;
};

JsonLogSink::JsonLogSink(severity_level minimum, std::ostream& output)
    : impl_(std::make_unique<Impl>()) {
  impl_->sink = boost::make_shared<Impl::Sink>(boost::make_shared<JsonBackend>(output));
  impl_->sink->set_filter([minimum](const boost::log::attribute_value_set& values) {
    return severity_of(values) >= minimum;
  });
  boost::log::core::get()->add_sink(impl_->sink);
}

JsonLogSink::~JsonLogSink() { boost::log::core::get()->remove_sink(impl_->sink); }

void log_object(const std::string& object) {
  BOOST_LOG_SEV(krv::log::get_global_log(), krv::log::request) << krv::log::widen(object);
}

void log_event(const std::string& message) {
  log_object(nlohmann::ordered_json{{"time", log_time()}, {"message", message}}.dump());
}

std::string log_time() {
  return Poco::DateTimeFormatter::format(Poco::Timestamp(),
                                         Poco::DateTimeFormat::ISO8601_FRAC_FORMAT);
}

}  // namespace korvane::host
