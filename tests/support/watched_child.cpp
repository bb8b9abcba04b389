#include "tests/support/watched_child.h"

#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

namespace korvane::test {

namespace {

using std::chrono_literals::operator""ms;

/// In memory that both processes share.
struct Report {
  using Text = std::array<char, 2000>;

  std::atomic<std::uint64_t> marks = 0;
  Text mark{};
  Text exception{};

  static void set(Text& text, const char* value) {
    std::strncpy(text.data(), value, text.size() - 1);
  }
};

class SharedReport {
 public:
  SharedReport()
      : memory_(mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS,
                     -1, 0)) {
    if (memory_ == MAP_FAILED) throw std::runtime_error("no shared memory");
    report_ = new (memory_) Report;
  }
  SharedReport(const SharedReport&) = delete;
  SharedReport& operator=(const SharedReport&) = delete;
  ~SharedReport() { munmap(memory_, sizeof(Report)); }

  Report* operator->() const { return report_; }
  Report& operator*() const { return *report_; }

 private:
  void* memory_;
  Report* report_;
};

[[noreturn]] void be_the_child(Report& report, const std::function<void(const Mark&)>& work) {
  try {
    work([&](const std::string& what) {
      Report::set(report.mark, what.c_str());
      ++report.marks;
    });
  } catch (const std::exception& failure) {
    Report::set(report.exception, failure.what());
    std::exit(EXIT_FAILURE);
  } catch (...) {
    Report::set(report.exception, "of no known class");
    std::exit(EXIT_FAILURE);
  }
  std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

/// The child's status, or nothing when it made no progress and had to be killed.
int wait_for(pid_t child, const Report& report, std::chrono::seconds patience, bool& is_hanging) {
  std::uint64_t marks = report.marks;
  auto last_progress = std::chrono::steady_clock::now();
  for (;;) {
    int status = 0;
    if (waitpid(child, &status, is_hanging ? 0 : WNOHANG) == child) return status;
    const auto now = std::chrono::steady_clock::now();
    if (marks != report.marks) {
      marks = report.marks;
      last_progress = now;
    } else if (now - last_progress > patience) {
      is_hanging = true;
      kill(child, SIGKILL);
    }
    std::this_thread::sleep_for(2ms);
  }
}

}  // namespace

void run_watched(std::chrono::seconds patience, const std::function<void(const Mark&)>& work) {
  const SharedReport report;
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) throw std::runtime_error("cannot fork");
  if (child == 0) be_the_child(*report, work);
  bool is_hanging = false;
  const int status = wait_for(child, *report, patience, is_hanging);
  if (is_hanging) {
    ADD_FAILURE() << "hangs in: " << report->mark.data();
  } else if (WIFSIGNALED(status)) {
    ADD_FAILURE() << "killed by signal " << WTERMSIG(status) << " in: " << report->mark.data();
  } else if (WEXITSTATUS(status) != EXIT_SUCCESS) {
    ADD_FAILURE() << "exit code " << WEXITSTATUS(status) << " in: " << report->mark.data()
                  << "; exception: " << report->exception.data();
  }
}

}  // namespace korvane::test
