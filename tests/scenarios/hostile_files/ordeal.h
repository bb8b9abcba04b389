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

/// Makes the file hold exactly `bytes`, without a journal beside it.
void put_bytes(const std::string& file, const std::string& bytes);

/// Uses hostile project files, with a sound project open in the same process.
class Ordeal {
 public:
  /// Makes the sound project anew, filled, in `folder`.
  explicit Ordeal(const TemporaryFolder& folder);

  /// The file of the sound project.
  const std::string& sound_file() const { return sound_file_; }

  /// Opens `file` and calls all operations in a random order, those that clear it last. Each may
  /// fail. Throws std::logic_error when the sound project answers differently afterwards, and lets
  /// exceptions through that are not a std::exception.
  void undergo(const std::string& file, std::uint32_t seed, const Mark& mark,
               const std::string& name);

  /// Throws std::logic_error unless the sound project still reads and writes what it should.
  void expect_soundness() const;

  /// How many calls were answered, and how many failed.
  int answered() const { return answered_; }
  int failed() const { return failed_; }

  /// If set, called before each call; what it returns lives until the call ends.
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
