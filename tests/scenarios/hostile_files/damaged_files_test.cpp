// Bits that flipped, and bytes that are missing or too many.

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/scenarios/hostile_files/hostile_file.h"
#include "tests/support/store_test.h"

namespace korvane::test {
namespace {

/// The position of the page size in a file, two bytes.
constexpr std::size_t kPageSizeOffset = 16;
/// The first bytes of a page, which mostly are not content of cells.
constexpr std::size_t kPageHeaderSize = 48;

std::size_t page_size_of(const std::string& bytes) {
  const auto high = static_cast<unsigned char>(bytes.at(kPageSizeOffset));
  const auto low = static_cast<unsigned char>(bytes.at(kPageSizeOffset + 1));
  return static_cast<std::size_t>(high) << 8U | low;
}

TEST_F(HostileFile, WithAnyPageDamagedNeitherCrashesNorHangs) {
  const std::size_t page_size = page_size_of(grown_bytes());
  const std::size_t pages = grown_bytes().size() / page_size;
  run_rounds(4, [&](std::uint32_t seed) {
    run_ordeals([&](const Undergo& undergo) {
      for (std::size_t page = 0; page < pages; ++page) {
        for (const bool is_header : {false, true}) {
          const std::uint32_t order = seed + static_cast<std::uint32_t>(2 * page + is_header);
          std::seed_seq sequence{seed, static_cast<std::uint32_t>(page), is_header ? 1U : 0U};
          std::mt19937 random(sequence);
          std::string bytes = grown_bytes();
          const std::size_t start =
              page * page_size + (page == 0 && is_header ? below(random, 2) * kFileHeaderSize : 0);
          const std::size_t range = is_header ? kPageHeaderSize : page_size;
          for (std::size_t flips = 1 + below(random, 6); flips > 0; --flips) {
            damage(bytes, start + below(random, range), random);
          }
          put_bytes(file(), bytes);
          undergo("page " + std::to_string(page) + (is_header ? ", its header" : ""), order);
        }
      }
    });
  });
}

// The first page says where everything else is.
TEST_F(HostileFile, WithAnyByteOfItsHeaderChangedNeitherCrashesNorHangs) {
  run_rounds(2, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (std::size_t i = 0; i < kFileHeaderSize + kPageHeaderSize; ++i) {
        std::string bytes = grown_bytes();
        damage(bytes, i, random);
        put_bytes(file(), bytes);
        undergo("byte " + std::to_string(i), seed);
      }
    });
  });
}

TEST_F(HostileFile, CutAnywhereNeitherCrashesNorHangs) {
  const std::size_t page_size = page_size_of(grown_bytes());
  const std::size_t pages = grown_bytes().size() / page_size;
  run_rounds(1, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (std::size_t page = 0; page < pages; ++page) {
        for (const std::size_t more : {std::size_t{0}, 1 + below(random, page_size - 1)}) {
          const std::size_t size = page * page_size + more;
          put_bytes(file(), grown_bytes().substr(0, size));
          undergo("cut to " + std::to_string(size) + " bytes", seed);
        }
      }
    });
  });
}

TEST_F(HostileFile, LongerThanItSaysOrSayingThatItIsLongerNeitherCrashesNorHangs) {
  constexpr std::size_t kPageCountOffset = 28;
  const std::size_t page_size = page_size_of(grown_bytes());
  run_rounds(1, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (const std::size_t more : {std::size_t{1}, page_size / 2, page_size, 3 * page_size + 7}) {
        std::string bytes = grown_bytes();
        for (std::size_t i = 0; i < more; ++i) bytes += static_cast<char>(below(random, 256));
        put_bytes(file(), bytes);
        undergo(std::to_string(more) + " bytes behind the end", seed);
      }
      for (const std::size_t byte : {0U, 1U, 2U, 3U}) {
        for (const char value : {'\0', '\1', '\x7F', '\xFF'}) {
          std::string bytes = grown_bytes();
          bytes[kPageCountOffset + byte] = value;
          put_bytes(file(), bytes);
          undergo("page count, byte " + std::to_string(byte) + " set to " +
                      std::to_string(static_cast<unsigned char>(value)),
                  seed);
        }
      }
    });
  });
}

/// Those of the project's tables that have a column `raw`.
std::vector<std::string> tables_with_raw() {
  std::vector<std::string> tables = kTables;
  std::erase(tables, "end_treatment");
  return tables;
}

/// `digits` are the upper-case hexadecimal digits of a record; some are changed or cut off.
std::string damaged_raw(std::string digits, std::mt19937& random) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (std::size_t changes = 1 + below(random, 4); changes > 0 && !digits.empty(); --changes) {
    digits[below(random, digits.size())] = kDigits[below(random, 16)];
  }
  if (below(random, 4) == 0) digits.resize(below(random, digits.size() / 2 + 1) * 2);
  return digits;
}

TEST_F(HostileFile, WithDamagedRecordsNeitherCrashesNorHangs) {
  run_rounds(3, [&](std::uint32_t seed) {
    std::mt19937 random(seed);
    run_ordeals([&](const Undergo& undergo) {
      for (int i = 0; i < 50; ++i) {
        put_bytes(file(), valid_bytes());
        {
          PlainConnection connection(file(), PlainConnection::Mode::kWrite);
          connection.run("begin");
          for (const std::string& table : tables_with_raw()) {
            for (const Row& row : connection.rows("select rowid, raw from " + table)) {
              // In a list the first damaged record hides the ones after it.
              if (below(random, 3) == 0) continue;
              connection.run("update " + table + " set raw = x'" +
                             damaged_raw(row[1].value(), random) +
                             "' where rowid = " + row[0].value());
            }
          }
          connection.run("commit");
        }
        undergo("damaged records, copy " + std::to_string(i), seed + static_cast<unsigned>(i));
      }
    });
  });
}

}  // namespace
}  // namespace korvane::test
