#include "sqlite/lock_check.h"

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

#include "sqlite/lock_probe.h"

namespace korvane::sqlite {

namespace {

constexpr std::array kRules = {
    LockRule{"file_is_seen", "one process reads the file that the other has made",
             "the processes do not have the same folder, or one learns late of the other's files"},
    LockRule{"writer_keeps_writers_out", "while one writes, the other cannot begin to write",
             "two servers would write to a project at once and destroy it"},
    LockRule{"exclusive_keeps_readers_out", "while one changes the file, the other cannot read it",
             "readers would see half of a change"},
    LockRule{"reader_holds_up_commit", "a commit waits until the other has read",
             "a file would change under those who read it"},
    LockRule{"released_lock_is_free", "a lock that was given back can be had by the other",
             "calls would wait for nobody"},
    LockRule{"commit_is_read_anew", "a connection made after a commit reads it",
             "reads after an acknowledged write would miss it"},
    LockRule{"commit_is_read_by_open_connection",
             "a connection that has read before reads what the other commits after",
             "reads would be stale, and writes on top of them would destroy the project"},
    LockRule{"growth_is_seen", "the other sees a file that grew, whole",
             "lines that were added would be missing or torn"},
    LockRule{"truncation_is_seen", "the other sees a file that was cut off, whole",
             "a compacted project would be taken for a damaged one"},
    LockRule{"no_count_is_lost", "of additions that both make at a time none is lost",
             "acknowledged writes would be lost"},
    LockRule{"broken_write_is_taken_back",
             "the write of a killed process is taken back by the other, from its journal",
             "after a crash the other server would read half of a write"},
    LockRule{"locks_of_killed_are_free", "the locks of a killed process can be had by the other",
             "a project would stay locked after a crash"},
};

/// Why a rule does not hold.
class Broken : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

void require(LockPeer& peer, const std::string& order, const std::string& expected,
             const std::string& otherwise) {
  const std::string got = peer.ask(order);
  if (got == expected) return;
  throw Broken(otherwise + " (" + peer.name() + ": \"" + order + "\" gave \"" + got + "\", not \"" +
               expected + "\")");
}

/// For what may take the file system a moment.
void require_soon(LockPeer& peer, const std::string& order, const std::string& otherwise) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (std::chrono::steady_clock::now() < end) {
    if (peer.ask(order) == LockProbe::kDone) return;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  require(peer, order, LockProbe::kDone, otherwise);
}

void require_done(LockPeer& peer, const std::string& order) {
  require(peer, order, LockProbe::kDone, "what should go does not");
}

std::int64_t value_of(LockPeer& peer) {
  const std::string got = peer.ask("value");
  constexpr std::size_t kMostDigits = 18;  // the other side may say anything
  if (got.empty() || got.size() > kMostDigits || got.find_first_not_of("0123456789") != got.npos) {
    throw Broken("the value cannot be read (" + peer.name() + ": \"" + got + "\")");
  }
  return std::stoll(got);
}

class LockCheck {
 public:
  explicit LockCheck(const LockPeers& peers)
      : own_(peers.own), other_(peers.other), peers_(peers) {}

  std::vector<LockResult> run() {
    using Try = void (LockCheck::*)();
    constexpr std::array<Try, kRules.size()> kTries = {
        &LockCheck::file_is_seen, &LockCheck::writers,      &LockCheck::exclusive,
        &LockCheck::reader,       &LockCheck::released,     &LockCheck::read_anew,
        &LockCheck::read_by_open, &LockCheck::growth,       &LockCheck::truncation,
        &LockCheck::counts,       &LockCheck::broken_write, &LockCheck::killed_locks,
    };
    std::vector<LockResult> results;
    for (std::size_t i = 0; i < kRules.size(); ++i) {
      LockResult result{&kRules.at(i), true, std::string(kRules.at(i).holds)};
      try {
        if (i != 0) begin_anew();
        (this->*kTries.at(i))();
      } catch (const std::exception& failure) {
        result.holds = false;
        result.text = std::string(failure.what()) + ": " + std::string(kRules.at(i).else_means);
      }
      results.push_back(std::move(result));
      if (i == 0 && !results.back().holds) break;
    }
    return results;
  }

 private:
  /// Whatever an earlier rule has left.
  void begin_anew() {
    for (LockPeer* const peer : {&own_, &other_}) require_done(*peer, "close");
    for (LockPeer* const peer : {&own_, &other_}) require_done(*peer, "open");
  }

  template <class Use>
  void both_ways(Use use) {
    use(own_, other_);
    use(other_, own_);
  }

  void file_is_seen() {
    require(own_, "make", LockProbe::kDone, "the file cannot be made");
    require(other_, "value", "0", "the file that was made is not seen");
    require(own_, "value", "0", "the file that was made is not seen");
  }

  void writers() {
    both_ways([](LockPeer& one, LockPeer& other) {
      require_done(one, "begin");
      require(other, "begin", LockProbe::kBusy, "both have the lock for writing");
      require_done(one, "add");
      require(other, "begin", LockProbe::kBusy, "both have the lock for writing");
      require_done(one, "commit");
    });
  }

  void exclusive() {
    both_ways([](LockPeer& one, LockPeer& other) {
      require_done(one, "exclusive");
      require(other, "value", LockProbe::kBusy, "the other reads what nobody may read now");
      require_done(one, "rollback");
    });
  }

  void reader() {
    both_ways([](LockPeer& one, LockPeer& other) {
      const std::string before = std::to_string(value_of(one));
      require(one, "read", before, "the value is another without a write");
      require_done(other, "begin");
      require_done(other, "add");
      require(other, "commit", LockProbe::kBusy, "the commit did not wait for a reader");
      require(one, "value", before, "the value changed under a reader");
      require_done(one, "commit");
      require_soon(other, "commit", "the reader has gone, and the commit still waits");
    });
  }

  void released() {
    both_ways([](LockPeer& one, LockPeer& other) {
      for (const char* const end : {"commit", "rollback"}) {
        require_done(one, "begin");
        require_done(one, "add");
        require_done(one, end);
        require_soon(other, "begin", "the lock was given back, and is not to be had");
        require_done(other, "rollback");
      }
    });
  }

  static void add(LockPeer& peer) {
    require_done(peer, "begin");
    require_done(peer, "add");
    require_done(peer, "commit");
  }

  void read_anew() {
    both_ways([](LockPeer& one, LockPeer& other) {
      const std::int64_t before = value_of(other);
      add(one);
      require_done(other, "open");
      require(other, "value", std::to_string(before + 1), "the commit is not read");
    });
  }

  /// Often, in a row: file systems that go by times of change miss what is quick.
  void read_by_open() {
    constexpr int kRounds = 8;
    std::int64_t value = value_of(own_);
    for (int round = 0; round < kRounds; ++round) {
      both_ways([&](LockPeer& one, LockPeer& other) {
        require(other, "value", std::to_string(value), "an older state of the file is read");
        add(one);
        ++value;
        require(other, "value", std::to_string(value), "an older state of the file is read");
      });
    }
  }

  void require_same_state() {
    require(other_, "state", own_.ask("state"), "the processes see different files");
  }

  void growth() {
    both_ways([&](LockPeer& one, LockPeer& other) {
      require_done(one, "grow");
      const std::string state = one.ask("state");
      if (!state.ends_with(" bytes, ok")) throw Broken("the file is not sound (" + state + ")");
      require(other, "state", state, "the processes see different files");
    });
  }

  void truncation() {
    both_ways([&](LockPeer& one, LockPeer& other) {
      require_done(one, "grow");
      require_same_state();
      require_done(one, "shrink");
      const std::string state = one.ask("state");
      if (!state.starts_with("1 rows, ")) throw Broken("the file was not cut off (" + state + ")");
      require(other, "state", state, "the processes see different files");
    });
  }

  void counts() {
    const std::int64_t before = value_of(own_);
    other_.send("count");
    const std::string own = own_.ask("count");
    const std::string others = other_.receive();
    for (const std::string& outcome : {own, others}) {
      if (outcome != LockProbe::kDone) throw Broken("the additions did not all go: " + outcome);
    }
    const std::string sum = std::to_string(before + 2 * std::int64_t{LockProbe::kCounted});
    both_ways([&](LockPeer& one, LockPeer&) { require(one, "value", sum, "additions were lost"); });
    require(own_, "state", other_.ask("state"), "the processes see different files");
  }

  void broken_write() {
    const std::string before = std::to_string(value_of(other_));
    std::unique_ptr<LockPeer> victim = peers_.start_victim();
    require_done(*victim, "spill");
    require(other_, "value", LockProbe::kBusy, "the other reads in the middle of a write");
    victim.reset();
    require(other_, "journal", "there", "the journal of the write is not seen");
    require(other_, "value", before, "half of a write is read");
    require(other_, "journal", "none", "the write was not taken back");
    require(own_, "value", before, "half of a write is read");
    require_same_state();
  }

  void killed_locks() {
    std::unique_ptr<LockPeer> victim = peers_.start_victim();
    require_done(*victim, "begin");
    require(other_, "begin", LockProbe::kBusy, "both have the lock for writing");
    victim.reset();
    require_soon(other_, "begin", "the lock of a killed process is not to be had");
    require_done(other_, "rollback");
  }

  LockPeer& own_;
  LockPeer& other_;
  const LockPeers& peers_;
};

}  // namespace

std::span<const LockRule> lock_rules() { return kRules; }

std::vector<LockResult> check_locks(const LockPeers& peers) { return LockCheck(peers).run(); }

}  // namespace korvane::sqlite
