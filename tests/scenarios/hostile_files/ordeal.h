#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/scenarios/torture/project_calls.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/watched_child.h"

namespace korvane::test {

/// The bytes of a file.
std::string bytes_of(const std::string& file);

/// Makes `bytes` all of a file; no journal is left beside it.
void put_bytes(const std::string& file, const std::string& bytes);

/// Uses project files that nobody vouches for, with a sound project beside them in the process.
class Ordeal {
 public:
  /// Makes the sound project anew, filled, in `folder`.
  explicit Ordeal(const TemporaryFolder& folder);

  /// The file of the sound project.
  const std::string& sound_file() const { return sound_file_; }

  /// Opens `file` and calls all operations, those that clear it last, the others in the order of
  /// `seed`. Each may fail. Then the sound project is to answer as ever. Throws std::logic_error
  /// when it does not, and what is no std::exception.
  void undergo(const std::string& file, std::uint32_t seed, const Mark& mark,
               const std::string& name);

  /// Throws std::logic_error unless the sound project holds what it did, on the disk as well.
  void expect_soundness() const;

  /// How many calls were answered, and how many failed.
  int answered() const { return answered_; }
  int failed() const { return failed_; }

  /// Each call is made within what this returns, if it is set.
  std::function<std::shared_ptr<void>()> around_each_call;

 private:
  void call_all(const std::string& file, std::uint32_t seed, const Mark& mark,
                const std::string& name);

  std::string sound_file_;
  std::unique_ptr<model::cad::Project_Service_Impl> sound_;
  std::vector<std::string> sound_replies_;
  int answered_ = 0;
  int failed_ = 0;
};

}  // namespace korvane::test
