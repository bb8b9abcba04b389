#include <chrono>
#include <csignal>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unistd.h>

#include "host/plugins/failure_text.h"
#include "host/watch/json_log.h"
#include "tools/korvane/commands.h"
#include "tools/korvane/copy_folder.h"
#include "tools/korvane/copy_server.h"
#include "tools/korvane/replication.h"
#include "tools/korvane/seconds.h"
#include "tools/korvane/service_manager.h"
#include "tools/korvane/standard_output.h"
#include "tools/korvane/terminal_text.h"

namespace korvane::tools {

namespace {

struct ReplicateOptions {
  ReplicationOptions replication;
  /// A folder, or the address of a server.
  std::string to;
  std::string token;
  std::string authorities;
  double every = 1;
  std::optional<std::string> metrics;
  bool is_once = false;
};

/// SIGTERM and SIGINT, blocked in every thread: they are asked for.
class StopSignals {
 public:
  StopSignals() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGTERM);
    sigaddset(&signals_, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    // A file that may not grow any more makes its write fail.
    std::signal(SIGXFSZ, SIG_IGN);
  }

  /// Whether one has come, at the latest after that time.
  bool wait(std::chrono::nanoseconds time) {
    if (has_come_) return true;
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const timespec most{seconds.count(), (time - seconds).count()};
    has_come_ = sigtimedwait(&signals_, nullptr, &most) > 0;
    return has_come_;
  }

 private:
  sigset_t signals_{};
  bool has_come_ = false;
};

/// Gives the file its new content at once, so that whoever collects it reads no half of it.
void write_metrics(const std::string& file, const std::string& text) {
  const std::string part = file + ".part";
  std::ofstream output(part, std::ios::trunc);
  output << text;
  output.close();
  std::error_code failure;
  // Whoever collects it is another user.
  std::filesystem::permissions(part, std::filesystem::perms(0644), failure);
  if (output) std::filesystem::rename(part, file, failure);
  if (!output || failure) throw std::runtime_error("cannot write \"" + file + "\"");
}

std::unique_ptr<CopyPlace> place_of(const ReplicateOptions& options) {
  const bool is_server = options.to.starts_with("http://") || options.to.starts_with("https://");
  if (is_server) {
    return std::make_unique<CopyServer>(options.to, options.token, options.authorities);
  }
  return std::make_unique<CopyFolder>(options.replication.from, options.to);
}

std::string metrics_of(const ReplicateOptions& options, const Replication& replication) {
  return metrics_text("to", {{options.to, replication.report()}});
}

int run_once(const ReplicateOptions& options) {
  ReplicationOptions how = options.replication;
  how.tell = [](const std::string& line) { std::cerr << "korvane: " << printable(line) << '\n'; };
  Replication replication(how, place_of(options));
  const auto write = [&] {
    if (options.metrics) write_metrics(*options.metrics, metrics_of(options, replication));
  };
  try {
    replication.run_round();
  } catch (const PlaceIsGone&) {
    write();
    throw;
  }
  write();
  const CopyReport report = replication.report();
  const CopyCounts& counts = report.counts;
  std::cout << report.written << " copies written; " << counts.current << " of "
            << counts.current + counts.behind + counts.failing + counts.written_elsewhere
            << " projects are copied\n";
  require_output();
  return replication.is_whole() ? kDone : kFailed;
}

/// One round after another until a signal comes.
class Service {
 public:
  Service(const ReplicateOptions& options, StopSignals& signals)
      : options_(options), signals_(signals), replication_(with_log(options), place_of(options)) {}

  void run() {
    manager_.ready("copies " + options_.replication.from + " to " + options_.to);
    host::log_event("copies " + options_.replication.from + " to " + options_.to);
    const std::chrono::duration<double> every(options_.every);
    do {
      tell_failure(told_of_rounds_, [&] { replication_.run_round(); });
      if (options_.metrics) {
        tell_failure(told_of_metrics_,
                     [&] { write_metrics(*options_.metrics, metrics_of(options_, replication_)); });
      }
    } while (!signals_.wait(std::chrono::duration_cast<std::chrono::nanoseconds>(every)));
    manager_.stopping(std::chrono::seconds(1));
    host::log_event("stopping");
  }

 private:
  static ReplicationOptions with_log(const ReplicateOptions& options) {
    ReplicationOptions how = options.replication;
    how.tell = [](const std::string& line) { host::log_event(line); };
    return how;
  }

  /// Of one failure after another of the same text, the first is told.
  template <class Work>
  static void tell_failure(std::string& told, Work work) {
    try {
      work();
      told.clear();
    } catch (const std::exception& failure) {
      const std::string text = host::failure_text(failure);
      if (text != told) host::log_event(text);
      told = text;
    }
  }

  const ReplicateOptions& options_;
  StopSignals& signals_;
  ServiceManager manager_;
  Replication replication_;
  std::string told_of_rounds_;
  std::string told_of_metrics_;
};

int run_replicate(ReplicateOptions& options) {
  StopSignals signals;
  options.replication.is_stopped = [&] { return signals.wait(std::chrono::nanoseconds(0)); };
  if (options.is_once) return run_once(options);
  host::JsonLogSink log(krv::log::request, host::output_to(STDERR_FILENO));
  Service(options, signals).run();
  return kDone;
}

}  // namespace

Command add_replicate(CLI::App& program) {
  const auto options = std::make_shared<ReplicateOptions>();
  CLI::App* const command = program.add_subcommand(
      "replicate", "Keep copies of all projects of a folder that can be read at any time");
  command->add_option("--from", options->replication.from, "The folder of the projects")
      ->required();
  command
      ->add_option("--to", options->to,
                   "The folder that gets the copies, or the address of a server that takes them "
                   "(serve --accept-copies), such as https://standby:8420")
      ->required();
  command->add_option("--token", options->token, "Bearer token for that server, of the scope copy")
      ->envname("KORVANE_TOKEN");
  command->add_option("--authorities", options->authorities,
                      "File of certificates, PEM, that are trusted besides the system's");
  command
      ->add_option("--every", options->every, "Pause between two looks at all projects, in seconds")
      ->check(CLI::PositiveNumber)
      ->check(usual_seconds())
      ->capture_default_str();
  command->add_option("--metrics", options->metrics,
                      "File that gets metrics for Prometheus after each look");
  command->add_flag("--delete", options->replication.is_removing,
                    "Remove the copy of a project that is gone; else it is kept");
  command->add_flag("--once", options->is_once, "Look once, and end");
  command->footer(
      "Each copy is checked before it takes the place of the one before, in one transaction: who "
      "has it open reads the old state or the new one. A copy that somebody else has written to is "
      "left as it is. Beside each copy lies a note, \".NAME.copy\", by which that is known.\n\n"
      "To a server only what it lacks of a state is sent; the state is copied into the folder for "
      "temporary files (TMPDIR) first.\n\n"
      "Runs until SIGTERM. With --once it ends with 0 if all projects are copied, else with 1.\n\n"
      "Examples:\n"
      "  korvane replicate --from /var/lib/korvane/projects --to /mnt/standby/projects\n"
      "  korvane replicate --from projects --to copies --once\n"
      "  KORVANE_TOKEN=krv_… korvane replicate --from projects --to https://standby:8420");
  return {command, [options](const CommonOptions&) { return run_replicate(*options); }};
}

}  // namespace korvane::tools
