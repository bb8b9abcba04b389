// Two processes that open one new name at the same time.

#include <array>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include <Poco/Data/SQLite/SQLiteException.h>
#include <gtest/gtest.h>

#include "model/plugins/korvane.model.cad.project/project.h"
#include "tests/support/plain_sqlite.h"
#include "tests/support/temporary_folder.h"

namespace korvane::test {
namespace {

using namespace model::cad;

constexpr int kRounds = 1000;
constexpr int kRowsOfEach = 5;

/// The progress of the two processes, in memory that they share with the test.
struct Board {
  std::atomic<int> round{0};
  struct Opener {
    std::atomic<int> rounds_done{0};
    std::atomic<int> acknowledged{0};
    std::atomic<bool> found_no_table{false};
  };
  std::array<Opener, 2> openers;
};

Board& make_board() {
  void* const memory =
      mmap(nullptr, sizeof(Board), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return *new (memory) Board;
}

std::string uid_of(int opener, int row) {
  return std::to_string(opener) + "-" + std::to_string(row);
}

std::string file_of(const TemporaryFolder& folder, int round) {
  return folder.file(std::to_string(round) + ".db");
}

void wait_for(const std::atomic<int>& number, int value) {
  while (number < value) std::this_thread::yield();
}

/// Opens the file of each round and stores rows, each counted once it is acknowledged.
[[noreturn]] void open_in_every_round(const TemporaryFolder& folder, Board& board, int opener) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  Board::Opener& own = board.openers.at(static_cast<std::size_t>(opener));
  for (int round = 1; round <= kRounds; ++round) {
    wait_for(board.round, round);
    try {
      Project_Service_Impl project(0, file_of(folder, round));
      for (int row = 0; row < kRowsOfEach; ++row) {
        Material material;
        material.uid = uid_of(opener, row);
        MaterialRef reply;
        project.create_material(material, reply);
        ++own.acknowledged;
      }
    } catch (const Poco::Data::SQLite::InvalidSQLStatementException&) {
      own.found_no_table = true;
    } catch (const std::exception& failure) {
      std::cerr << "opener " << opener << ": " << failure.what() << '\n';
      _exit(EXIT_FAILURE);
    }
    own.rounds_done = round;
  }
  wait_for(board.round, kRounds + 1);
  _exit(EXIT_SUCCESS);
}

TEST(OpeningOneNewNameAtOnce, LosesNothingThatWasAcknowledged) {
  const TemporaryFolder folder;
  Board& board = make_board();
  std::array<pid_t, 2> processes{};
  for (int opener = 0; opener < 2; ++opener) {
    const pid_t process = fork();
    ASSERT_GE(process, 0);
    if (process == 0) open_in_every_round(folder, board, opener);
    processes.at(static_cast<std::size_t>(opener)) = process;
  }
  int rounds_that_one_came_too_early_in = 0;
  for (int round = 1; round <= kRounds; ++round) {
    for (Board::Opener& opener : board.openers) {
      opener.acknowledged = 0;
      opener.found_no_table = false;
    }
    board.round = round;
    for (Board::Opener& opener : board.openers) {
      while (opener.rounds_done < round) {
        ASSERT_EQ(waitpid(-1, nullptr, WNOHANG), 0) << "an opener has ended in round " << round;
        std::this_thread::yield();
      }
    }
    for (int opener = 0; opener < 2; ++opener) {
      const Board::Opener& its = board.openers.at(static_cast<std::size_t>(opener));
      if (its.found_no_table) {
        ++rounds_that_one_came_too_early_in;
        EXPECT_EQ(its.acknowledged, 0) << "round " << round;
      }
      const Rows rows =
          plain_rows(file_of(folder, round), "select uid from material where uid like '" +
                                                 std::to_string(opener) + "-%' order by uid");
      Rows expected;
      for (int row = 0; row < its.acknowledged; ++row) expected.push_back({uid_of(opener, row)});
      ASSERT_EQ(rows, expected) << "round " << round;
    }
    std::filesystem::remove(file_of(folder, round));
  }
  board.round = kRounds + 1;
  for (const pid_t process : processes) {
    int status = 0;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0);
  }
  std::cout << "in " << rounds_that_one_came_too_early_in << " of " << kRounds
            << " rounds one found the other's file still empty\n";
}

}  // namespace
}  // namespace korvane::test
