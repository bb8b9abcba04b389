#include "sqlite/lock_probe.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace korvane::sqlite {

namespace {

namespace fs = std::filesystem;

constexpr const char* kMake =
    "create table probe(id integer primary key, value integer, filling blob);"
    "insert into probe values(1, 0, null)";
constexpr const char* kGrow =
    "with recursive n(i) as (select 1 union all select i + 1 from n where i < 256)"
    "insert into probe(value, filling) select 0, randomblob(4096) from n";
constexpr const char* kAdd = "update probe set value = value + 1 where id = 1";
/// How long `count` tries, and SQLite computes for any order: the file may be anybody's.
constexpr std::chrono::seconds kPatience{10};
/// No check lets the file grow that far.
constexpr std::uintmax_t kMostBytes = std::uintmax_t{16} << 20U;
constexpr int kStepsBetweenLooks = 10'000;

bool is_busy(const DatabaseError& failure) { return (failure.code() & 0xFF) == SQLITE_BUSY; }

}  // namespace

struct LockProbe::Order {
  std::string_view name;
  /// All that it does; null where `run` does it.
  const char* sql = nullptr;
  std::string (LockProbe::*run)() = nullptr;
  bool needs_file = true;
};

const LockProbe::Order* LockProbe::find(std::string_view name) {
  static constexpr std::array kOrders = {
      Order{"make", nullptr, &LockProbe::make, false},
      Order{"open", nullptr, &LockProbe::open, false},
      Order{"close", nullptr, &LockProbe::close, false},
      Order{"journal", nullptr, &LockProbe::journal, false},
      Order{"begin", "begin immediate"},
      Order{"exclusive", "begin exclusive"},
      Order{"read", nullptr, &LockProbe::read},
      Order{"commit", "commit"},
      Order{"rollback", "rollback"},
      Order{"value", nullptr, &LockProbe::value},
      Order{"add", kAdd},
      Order{"count", nullptr, &LockProbe::count},
      Order{"spill", nullptr, &LockProbe::spill},
      Order{"grow", kGrow},
      Order{"shrink", "delete from probe where id > 1; vacuum"},
      Order{"state", nullptr, &LockProbe::state},
  };
  const auto* const found = std::find_if(kOrders.begin(), kOrders.end(),
                                         [&](const Order& known) { return known.name == name; });
  return found == kOrders.end() ? nullptr : found;
}

std::string LockProbe::run(const std::string& name) {
  const Order* const order = find(name);
  if (order == nullptr) throw std::invalid_argument("nothing is done at \"" + name + "\"");
  end_ = std::chrono::steady_clock::now() + kPatience;
  try {
    if (!database_ && order->needs_file) open();
    if (order->sql == kGrow) require_room();
    if (order->sql == nullptr) return (this->*order->run)();
    database_->run(order->sql);
    return kDone;
  } catch (const DatabaseError& failure) {
    if (is_busy(failure)) return kBusy;
    return std::string("failed: ") + failure.what();
  } catch (const std::exception& failure) {
    return std::string("failed: ") + failure.what();
  }
}

std::string LockProbe::make() {
  Database(file_, Database::Access::make).run(kMake);
  return kDone;
}

std::string LockProbe::close() {
  database_.reset();
  return kDone;
}

std::string LockProbe::journal() { return fs::exists(file_ + "-journal") ? "there" : "none"; }

std::string LockProbe::read() {
  database_->run("begin");
  try {
    return value();
  } catch (const DatabaseError&) {
    database_->run("rollback");
    throw;
  }
}

/// With few pages in memory, SQLite writes the others to the file before the commit.
std::string LockProbe::spill() {
  require_room();
  database_->run("pragma cache_size = 5; begin immediate");
  database_->run(kAdd);
  database_->run(kGrow);
  return kDone;
}

std::string LockProbe::open() {
  database_.reset();
  database_ = std::make_unique<Database>(file_, Database::Access::write);
  sqlite3_busy_timeout(database_->handle(), 0);
  database_->distrust();
  const auto is_late = [](void* probe) {
    return std::chrono::steady_clock::now() > static_cast<LockProbe*>(probe)->end_ ? 1 : 0;
  };
  sqlite3_progress_handler(database_->handle(), kStepsBetweenLooks, is_late, this);
  return kDone;
}

void LockProbe::require_room() const {
  std::error_code failure;
  if (fs::file_size(file_, failure) > kMostBytes && !failure) {
    throw std::runtime_error("the file is larger than " + std::to_string(kMostBytes) + " bytes");
  }
}

std::string LockProbe::value() {
  Statement select(*database_, "select value from probe where id = 1");
  if (!select.next()) return "failed: the row is not there";
  return std::to_string(select.integer(0));
}

std::string LockProbe::state() {
  database_->run("begin");
  std::string text;
  const auto add = [&](const char* sql, const char* unit) {
    Statement select(*database_, sql);
    select.next();
    text += select.text(0);
    text += unit;
  };
  try {
    add("select count(*) from probe", " rows, ");
    add("pragma page_count", " pages, ");
    std::error_code failure;
    text += std::to_string(fs::file_size(file_, failure)) + " bytes, ";
    add("pragma quick_check(1)", "");
  } catch (const DatabaseError&) {
    database_->run("rollback");
    throw;
  }
  database_->run("commit");
  return text;
}

std::string LockProbe::count() {
  for (int counted = 0; counted < kCounted;) {
    try {
      database_->run("begin immediate");
      database_->run(kAdd);
    } catch (const DatabaseError& failure) {
      if (!is_busy(failure)) throw;
      if (std::chrono::steady_clock::now() > end_) return kBusy;
      sqlite3_sleep(1);
      continue;
    }
    while (true) {
      try {
        database_->run("commit");
        break;
      } catch (const DatabaseError& failure) {
        if (!is_busy(failure) || std::chrono::steady_clock::now() > end_) throw;
        sqlite3_sleep(1);
      }
    }
    ++counted;
  }
  return kDone;
}

}  // namespace korvane::sqlite
