#include "tests/scenarios/hostile_files/ordeal.h"

#include <algorithm>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>

#include "tests/scenarios/torture/stored_state.h"

namespace korvane::test {

using model::cad::Project_Service_Impl;

namespace {

std::vector<std::string> readings_of(Project_Service_Impl& project) {
  static const std::vector<Call> readings = calls_that_write(false);
  std::vector<std::string> replies;
  for (const Call& reading : readings) replies.push_back(reading.run(project));
  return replies;
}

/// The calls in random order, those that clear the project last.
std::vector<Call> shuffled_calls(std::uint32_t seed) {
  std::vector<Call> calls = all_calls();
  const auto clearing = std::stable_partition(
      calls.begin(), calls.end(), [](const Call& call) { return call.operation != "clear"; });
  std::mt19937 random(seed);
  std::shuffle(calls.begin(), clearing, random);
  return calls;
}

}  // namespace

std::string bytes_of(const std::string& file) {
  std::ifstream stream(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

void put_bytes(const std::string& file, const std::string& bytes) {
  for (const char* const ending : {"", "-journal", "-wal", "-shm"}) {
    std::filesystem::remove_all(file + ending);
  }
  std::ofstream(file, std::ios::binary) << bytes;
}

Ordeal::Ordeal(const TemporaryFolder& folder) : sound_file_(folder.file("sound.db")) {
  std::filesystem::remove(sound_file_);
  sound_ = std::make_unique<Project_Service_Impl>(0, sound_file_);
  fill(*sound_);
  sound_replies_ = readings_of(*sound_);
}

void Ordeal::undergo(const std::string& file, std::uint32_t seed, const Mark& mark,
                     const std::string& name) {
  try {
    call_all(file, seed, mark, name);
  } catch (const std::exception&) {  // the opening
    ++failed_;
  }
  mark(name + ": the sound project");
  if (readings_of(*sound_) != sound_replies_) {
    throw std::logic_error("the sound project answers differently");
  }
}

void Ordeal::call_all(const std::string& file, std::uint32_t seed, const Mark& mark,
                      const std::string& name) {
  mark(name + ": opening");
  Project_Service_Impl project(1, file);
  for (const Call& call : shuffled_calls(seed)) {
    mark(name + ": " + call.name());
    const auto around = around_each_call ? around_each_call() : nullptr;
    try {
      call.run(project);
      ++answered_;
    } catch (const std::exception&) {
      ++failed_;
    }
  }
  mark(name + ": closing");
}

void Ordeal::expect_soundness() const {
  const StoredState before = stored_state(sound_file_);
  probe().run(*sound_);
  const StoredState after = stored_state(sound_file_);
  sql("delete from sheet where uid = 'probe'").run(*sound_);
  if (after == before || readings_of(*sound_) != sound_replies_) {
    throw std::logic_error("the sound project does not go on");
  }
}

}  // namespace korvane::test
