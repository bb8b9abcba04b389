#include "tests/scenarios/other_programs/other_program.h"

#include <array>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/plain_sqlite.h"

namespace korvane::test {

namespace {

constexpr char kDone = 'y';
constexpr char kFailed = 'n';

bool read_all(int from, void* to, std::size_t size) {
  auto* bytes = static_cast<char*>(to);
  while (size > 0) {
    const ssize_t count = read(from, bytes, size);
    if (count <= 0) return false;
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

/// Reads texts, each after its length: first the file's name, then SQL.
[[noreturn]] void be_the_other_program(int from, int to) {
  std::unique_ptr<PlainConnection> connection;
  for (;;) {
    std::uint32_t size = 0;
    if (!read_all(from, &size, sizeof size)) std::_Exit(EXIT_SUCCESS);
    std::string text(size, '\0');
    if (!read_all(from, text.data(), size)) std::_Exit(EXIT_FAILURE);
    char answer = kDone;
    try {
      if (connection) {
        connection->run(text);
      } else {
        connection = std::make_unique<PlainConnection>(text, PlainConnection::Mode::kWrite);
      }
    } catch (const std::exception& failure) {
      std::fprintf(stderr, "the other program: %s\n", failure.what());
      answer = kFailed;
    }
    if (write(to, &answer, 1) != 1) std::_Exit(EXIT_FAILURE);
  }
}

}  // namespace

std::string sql_that_takes(Lock lock) {
  switch (lock) {
    case Lock::kRead:
      return "begin; select count(*) from sqlite_master";
    case Lock::kWrite:
      return "begin immediate";
    default:
      return "begin exclusive";
  }
}

OtherProgram::OtherProgram() {
  std::array<int, 2> there{};
  std::array<int, 2> back{};
  if (pipe(there.data()) != 0 || pipe(back.data()) != 0) throw std::runtime_error("no pipe");
  std::fflush(nullptr);
  process_ = fork();
  if (process_ < 0) throw std::runtime_error("cannot fork");
  if (process_ == 0) {
    close(there[1]);
    close(back[0]);
    be_the_other_program(there[0], back[1]);
  }
  close(there[0]);
  close(back[1]);
  to_ = there[1];
  from_ = back[0];
}

OtherProgram::~OtherProgram() {
  kill();
  close(to_);
  close(from_);
}

void OtherProgram::open(const std::string& file) { run(file); }

void OtherProgram::run(const std::string& sql) {
  send(sql);
  expect_done();
}

void OtherProgram::kill() {
  if (process_ == 0) return;
  ::kill(process_, SIGKILL);
  waitpid(process_, nullptr, 0);
  process_ = 0;
}

void OtherProgram::send(const std::string& text) const {
  const auto size = static_cast<std::uint32_t>(text.size());
  if (write(to_, &size, sizeof size) != sizeof size ||
      write(to_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    throw std::runtime_error("the other program has gone");
  }
}

void OtherProgram::expect_done() {
  char answer = kFailed;
  if (!read_all(from_, &answer, 1) || answer != kDone) {
    throw std::runtime_error("the other program has failed");
  }
}

}  // namespace korvane::test
