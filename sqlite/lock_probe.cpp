#include "sqlite/lock_probe.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <functional>
#include <iterator>
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
/// How long `count` tries.
constexpr std::chrono::seconds kPatience{10};

bool is_busy(const DatabaseError& failure) { return (failure.code() & 0xFF) == SQLITE_BUSY; }

}  // namespace

struct LockProbe::Order {
  std::string_view name;
  std::function<std::string(LockProbe&)> run;
};

std::string LockProbe::run(const std::string& order) {
  const auto sql = [](const char* text) {
    return [text](LockProbe& probe) {
      probe.database_->run(text);
      return std::string(kDone);
    };
  };
  static const std::array orders = {
      Order{"make",
            [](LockProbe& probe) {
              Database(probe.file_, Database::Access::make).run(kMake);
              return std::string(kDone);
            }},
      Order{"open",
            [](LockProbe& probe) {
              probe.open();
              return std::string(kDone);
            }},
      Order{"close",
            [](LockProbe& probe) {
              probe.database_.reset();
              return std::string(kDone);
            }},
      Order{"begin", sql("begin immediate")},
      Order{"exclusive", sql("begin exclusive")},
      Order{"read",
            [](LockProbe& probe) {
              probe.database_->run("begin");
              try {
                return probe.value();
              } catch (const DatabaseError&) {
                probe.database_->run("rollback");
                throw;
              }
            }},
      Order{"commit", sql("commit")},
      Order{"rollback", sql("rollback")},
      Order{"value", [](LockProbe& probe) { return probe.value(); }},
      Order{"add", sql(kAdd)},
      Order{"count", [](LockProbe& probe) { return probe.count(); }},
      Order{"spill",
            [](LockProbe& probe) {
              probe.database_->run("pragma cache_size = 5; begin immediate");
              probe.database_->run(kAdd);
              probe.database_->run(kGrow);
              return std::string(kDone);
            }},
      Order{"grow", sql(kGrow)},
      Order{"shrink", sql("delete from probe where id > 1; vacuum")},
      Order{"state", [](LockProbe& probe) { return probe.state(); }},
      Order{"journal",
            [](LockProbe& probe) {
              return std::string(fs::exists(probe.file_ + "-journal") ? "there" : "none");
            }},
  };
  const auto* const found = std::find_if(orders.begin(), orders.end(),
                                         [&](const Order& known) { return known.name == order; });
  if (found == orders.end()) throw std::invalid_argument("nothing is done at \"" + order + "\"");
  try {
    if (!database_ && order != "make" && order != "close" && order != "journal") open();
    return found->run(*this);
  } catch (const DatabaseError& failure) {
    if (is_busy(failure)) return kBusy;
    return std::string("failed: ") + failure.what();
  } catch (const std::exception& failure) {
    return std::string("failed: ") + failure.what();
  }
}

void LockProbe::open() {
  database_.reset();
  database_ = std::make_unique<Database>(file_, Database::Access::write);
  sqlite3_busy_timeout(database_->handle(), 0);
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
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (int counted = 0; counted < kCounted;) {
    try {
      database_->run("begin immediate");
      database_->run(kAdd);
    } catch (const DatabaseError& failure) {
      if (!is_busy(failure)) throw;
      if (std::chrono::steady_clock::now() > end) return kBusy;
      sqlite3_sleep(1);
      continue;
    }
    while (true) {
      try {
        database_->run("commit");
        break;
      } catch (const DatabaseError& failure) {
        if (!is_busy(failure) || std::chrono::steady_clock::now() > end) throw;
        sqlite3_sleep(1);
      }
    }
    ++counted;
  }
  return kDone;
}

}  // namespace korvane::sqlite
