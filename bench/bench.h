#pragma once

#include <chrono>
#include <ctime>
#include <filesystem>
#include <string>

/// What the scenarios share.
namespace korvane::bench {

/// A Rebar, Material or Sheet as schedules have them: the one of tests/data/encoding/typical.jsonl.
/// The bar has 576 bytes encoded.
template <class T>
T typical();

/// Processor time that the process takes for `work`, on all its threads. It is what the store and
/// its baselines are compared by: they wait for nothing, and other programs that run on the
/// machine change it little.
template <class Work>
double seconds_of(Work work) {
  const auto now = [] {
    std::timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
  };
  const double start = now();
  work();
  return now() - start;
}

/// Time on the wall, for what hands work to other threads and waits for them.
template <class Work>
double wall_seconds_of(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The process's own folder for project files; it goes when the program ends. It lies in memory
/// where the machine has a file system there, as the disk's waits are no part of what is compared.
/// TMPDIR, where it is set, says otherwise.
const std::filesystem::path& scratch_folder();

/// A name in the scratch folder that no file has. What bears it then is removed with the object.
class ScratchFile {
 public:
  ScratchFile();
  ScratchFile(const ScratchFile&) = delete;
  ScratchFile& operator=(const ScratchFile&) = delete;
  ~ScratchFile();

  const std::string& name() const { return name_; }

 private:
  std::string name_;
};

}  // namespace korvane::bench
