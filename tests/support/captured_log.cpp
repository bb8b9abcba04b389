#include "tests/support/captured_log.h"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/expressions.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/sync_frontend.hpp>
#include <boost/make_shared.hpp>

#include "platform/log/log.h"

namespace korvane::test {

class CapturedLogBackend
    : public boost::log::sinks::basic_sink_backend<boost::log::sinks::synchronized_feeding> {
 public:
  void consume(const boost::log::record_view& record) {
    const auto text = boost::log::extract<std::wstring>("Message", record);
    const auto severity = boost::log::extract<krv::log::severity_level>("Severity", record);
    lines.push_back({severity ? static_cast<int>(severity.get()) : -1, text ? text.get() : L""});
  }

  LogLines lines;
};

void PrintTo(const LogLine& line, std::ostream* stream) {
  *stream << "[" << line.severity << "] " << krv::log::narrow(line.text);
}

struct CapturedLog::Impl {
  boost::shared_ptr<CapturedLogBackend> backend = boost::make_shared<CapturedLogBackend>();
  boost::shared_ptr<boost::log::sinks::synchronous_sink<CapturedLogBackend>> sink =
      boost::make_shared<boost::log::sinks::synchronous_sink<CapturedLogBackend>>(backend);
};

CapturedLog::CapturedLog() : impl_(std::make_unique<Impl>()) {
  boost::log::core::get()->add_sink(impl_->sink);
}

CapturedLog::~CapturedLog() { boost::log::core::get()->remove_sink(impl_->sink); }

const LogLines& CapturedLog::lines() const { return impl_->backend->lines; }

std::vector<std::wstring> CapturedLog::texts(int severity) const {
  std::vector<std::wstring> texts;
  for (const LogLine& line : lines()) {
    if (line.severity == severity) texts.push_back(line.text);
  }
  return texts;
}

void CapturedLog::clear() { impl_->backend->lines.clear(); }

}  // namespace korvane::test
