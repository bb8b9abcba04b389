#include "host/watch/metrics.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <prometheus/counter.h>
#include <prometheus/gauge.h>
#include <prometheus/histogram.h>
#include <prometheus/registry.h>
#include <prometheus/text_serializer.h>
#include <sys/resource.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

#include <sqlite3.h>

namespace korvane::host {

namespace {

prometheus::Gauge& gauge(prometheus::Registry& registry, const char* name, const char* help) {
  return prometheus::BuildGauge().Name(name).Help(help).Register(registry).Add({});
}

/// Upper bounds in seconds: from a read of one row to a wait for a locked file.
const prometheus::Histogram::BucketBoundaries kLatencies = {
    0.0005, 0.001, 0.0025, 0.005, 0.01, 0.025, 0.05, 0.1, 0.25, 0.5, 1, 2.5, 5, 10, 60};

/// What the system tells of this process, under the names that Prometheus's clients have for it
/// (https://prometheus.io/docs/instrumenting/writing_clientlibs/#process-metrics). From proc(5).
class ProcessMetrics {
 public:
  explicit ProcessMetrics(prometheus::Registry& registry)
      : cpu_seconds_(prometheus::BuildCounter()
                         .Name("process_cpu_seconds_total")
                         .Help("Time that the process has computed.")
                         .Register(registry)
                         .Add({})),
        resident_(gauge(registry, "process_resident_memory_bytes", "Memory in use.")),
        virtual_(gauge(registry, "process_virtual_memory_bytes", "Addresses in use.")),
        open_fds_(gauge(registry, "process_open_fds", "Descriptors in use.")),
        max_fds_(gauge(registry, "process_max_fds", "Descriptors that there may be.")),
        threads_(gauge(registry, "process_threads", "Threads.")) {
    gauge(registry, "process_start_time_seconds", "When it was started, since 1970.")
        .Set(std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch())
                 .count());
  }

  void read() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
      return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
    };
    cpu_seconds_.Increment(seconds(usage.ru_utime) + seconds(usage.ru_stime) -
                           cpu_seconds_.Value());
    std::ifstream pages("/proc/self/statm");
    double all = 0;
    double resident = 0;
    if (pages >> all >> resident) {
      const auto page = static_cast<double>(sysconf(_SC_PAGESIZE));
      virtual_.Set(all * page);
      resident_.Set(resident * page);
    }
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    max_fds_.Set(static_cast<double>(descriptors.rlim_cur));
    const auto count = [](const char* folder, std::error_code& failure) {
      double entries = 0;
      const std::filesystem::directory_iterator end;
      for (std::filesystem::directory_iterator i(folder, failure); !failure && i != end;
           i.increment(failure)) {
        ++entries;
      }
      return entries;
    };
    std::error_code failure;
    const double open = count("/proc/self/fd", failure);
    // Counting takes one itself.
    const bool is_full = failure == std::errc::too_many_files_open;
    if (is_full || !failure) open_fds_.Set(is_full ? max_fds_.Value() : open);
    const double threads = count("/proc/self/task", failure);
    if (!failure) threads_.Set(threads);
  }

 private:
  prometheus::Counter& cpu_seconds_;
  prometheus::Gauge& resident_;
  prometheus::Gauge& virtual_;
  prometheus::Gauge& open_fds_;
  prometheus::Gauge& max_fds_;
  prometheus::Gauge& threads_;
};

}  // namespace

/// Its counters are looked up once.
class Metrics::Requests {
 public:
  explicit Requests(std::string operation) : operation_(std::move(operation)) {}

  void count(Impl& all, int status, std::chrono::nanoseconds duration);

 private:
  const std::string operation_;
  std::mutex mutex_;
  std::vector<std::pair<int, prometheus::Counter*>> by_status_;
  prometheus::Histogram* latency_ = nullptr;
};

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
  prometheus::Gauge& oldest_call =
      gauge(registry, "korvane_oldest_call_seconds", "Age of the oldest call that waits or runs.");
  prometheus::Family<prometheus::Gauge>& held_bytes =
      prometheus::BuildGauge()
          .Name("korvane_held_bytes")
          .Help("Memory that is held, by what it is held for.")
          .Register(registry);
  prometheus::Counter& lost_log_lines = prometheus::BuildCounter()
                                            .Name("korvane_lost_log_lines_total")
                                            .Help("Lines of the log that were lost.")
                                            .Register(registry)
                                            .Add({});
  ProcessMetrics process{registry};
  /// Of what is a sum elsewhere, one takes the difference at a time.
  std::mutex counting;
  std::mutex finding;
  std::map<std::string, Requests, std::less<>> operations;

  Impl() {
    prometheus::BuildGauge()
        .Name("korvane_build_info")
        .Help("What was built.")
        .Register(registry)
        .Add({{"version", KORVANE_VERSION}, {"sqlite", sqlite3_libversion()}})
        .Set(1);
  }
};

Metrics::Metrics() : impl_(std::make_unique<Impl>()) {}
Metrics::~Metrics() = default;

void Metrics::Requests::count(Impl& all, int status, std::chrono::nanoseconds duration) {
  const std::lock_guard lock(mutex_);
  if (latency_ == nullptr) latency_ = &all.latency.Add({{"operation", operation_}}, kLatencies);
  auto counter = std::find_if(by_status_.begin(), by_status_.end(),
                              [&](const auto& one) { return one.first == status; });
  if (counter == by_status_.end()) {
    auto& added = all.requests.Add({{"operation", operation_}, {"status", std::to_string(status)}});
    counter = by_status_.insert(by_status_.end(), {status, &added});
  }
  counter->second->Increment();
  latency_->Observe(std::chrono::duration<double>(duration).count());
}

Metrics::Requests& Metrics::requests(std::string_view operation) {
  const std::lock_guard lock(impl_->finding);
  const auto found = impl_->operations.find(operation);
  if (found != impl_->operations.end()) return found->second;
  const std::string name(operation);
  return impl_->operations.try_emplace(name, name).first->second;
}

void Metrics::served(Requests& requests, int status, std::chrono::nanoseconds duration) {
  requests.count(*impl_, status, duration);
}

std::string Metrics::text(const Levels& levels) {
  impl_->queued_calls.Set(static_cast<double>(levels.queued_calls));
  impl_->open_projects.Set(static_cast<double>(levels.open_projects));
  impl_->connections.Set(static_cast<double>(levels.connections));
  impl_->oldest_call.Set(std::chrono::duration<double>(levels.oldest_call).count());
  for (const auto& [kind, bytes] : levels.held_bytes) {
    impl_->held_bytes.Add({{"for", kind}}).Set(static_cast<double>(bytes));
  }
  const std::lock_guard lock(impl_->counting);
  impl_->lost_log_lines.Increment(static_cast<double>(levels.lost_log_lines) -
                                  impl_->lost_log_lines.Value());
  impl_->process.read();
  return prometheus::TextSerializer().Serialize(impl_->registry.Collect());
}

}  // namespace korvane::host
