#include "host/metrics.h"

#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>

namespace korvane::host {

namespace {

prometheus::Gauge& gauge(prometheus::Registry& registry, const char* name, const char* help) {
  return prometheus::BuildGauge().Name(name).Help(help).Register(registry).Add({});
}

/// Upper bounds in seconds: from a read of one row to a wait for a locked file.
const prometheus::Histogram::BucketBoundaries kLatencies = {
    0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 60};

}  // namespace

struct Metrics::Impl {
  prometheus::Registry registry;
  prometheus::Family<prometheus::Counter>& requests =
      prometheus::BuildCounter()
          .Name("korvane_requests_total")
          .Help("Requests that were answered, by operation and status.")
          .Register(registry);
  prometheus::Family<prometheus::Histogram>& latency =
      prometheus::BuildHistogram()
          .Name("korvane_request_seconds")
          .Help("From a request's first byte to its reply's last, by operation.")
          .Register(registry);
  prometheus::Gauge& queued_calls =
      gauge(registry, "korvane_queued_calls", "Calls that wait or run.");
  prometheus::Gauge& open_projects =
      gauge(registry, "korvane_open_projects", "Projects that are open.");
  prometheus::Gauge& connections =
      gauge(registry, "korvane_connections", "Connections of clients.");
};

Metrics::Metrics() : impl_(std::make_unique<Impl>()) {}
Metrics::~Metrics() = default;

void Metrics::served(const std::string& operation, int status, std::chrono::nanoseconds duration) {
  impl_->requests.Add({{"operation", operation}, {"status", std::to_string(status)}}).Increment();
  impl_->latency.Add({{"operation", operation}}, kLatencies)
      .Observe(std::chrono::duration<double>(duration).count());
}

std::string Metrics::text(const Levels& levels) {
  impl_->queued_calls.Set(static_cast<double>(levels.queued_calls));
  impl_->open_projects.Set(static_cast<double>(levels.open_projects));
  impl_->connections.Set(static_cast<double>(levels.connections));
  return prometheus::TextSerializer().Serialize(impl_->registry.Collect());
}

}  // namespace korvane::host
