#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/cad/contracts.describe.h"
#include "contracts/common/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "contracts/geometry/contracts.describe.h"
#include "platform/project_rpc/contracts.h"
#include "platform/project_rpc/open_project.describe.h"
#include "platform/project_rpc/table.describe.h"
#include "tests/support/filled_record.h"
#include "tests/support/random_record.h"

namespace {

using korvane::encoding::add_json_schema;
using korvane::encoding::from_json;
using korvane::encoding::JsonSchemas;
using korvane::encoding::to_json;

constexpr std::uint32_t kSeeds = 40;

/// One record of a contract, and what becomes of it.
struct Sample {
  std::string json;
  /// Read from the text, written to bytes, read from them and written again.
  std::string json_through_bytes;
  bool has_same_bytes = false;
};

template <class T>
Sample sample_of(const T& record) {
  Sample sample;
  sample.json = to_json(record);
  const T read = from_json<T>(sample.json);
  const bond::blob bytes = korvane::encoding::encode(read);
  sample.has_same_bytes = bytes == korvane::encoding::encode(record);
  sample.json_through_bytes = to_json(korvane::encoding::decode<T>(bytes));
  return sample;
}

/// A contract, whatever its type.
struct Contract {
  std::string name;
  std::function<Sample()> at_defaults;
  std::function<Sample()> filled;
  std::function<Sample(std::uint32_t seed)> random;
  /// Reads a text and writes what was read.
  std::function<std::string(const std::string&)> rewrite;
  std::function<std::string(JsonSchemas&)> add_schema;
};

template <class T>
Contract contract() {
  return {std::string(bond::type_name<T>()),
          [] { return sample_of(T{}); },
          [] { return sample_of(korvane::test::Filler().make<T>()); },
          [](std::uint32_t seed) { return sample_of(korvane::test::RandomFiller(seed).make<T>()); },
          [](const std::string& json) { return to_json(from_json<T>(json)); },
          add_json_schema<T>};
}

/// Every contract there is, the generic ones for each of their items.
const std::vector<Contract>& contracts() {
  static const std::vector<Contract> all = [] {
    std::vector<Contract> list;
#define ADD_COMMON(name) list.push_back(contract<korvane::name>());
#define ADD_GEOMETRY(name) list.push_back(contract<korvane::model::geometry::name>());
#define ADD_CAD(name) list.push_back(contract<korvane::model::cad::name>());
#define ADD_BATCH(name) list.push_back(contract<korvane::Batch<korvane::model::cad::name>>());
#define ADD_OPTIONAL_VALUE(name) \
  list.push_back(contract<korvane::OptionalValue<korvane::model::cad::name>>());
#define ADD_PROJECT_RPC(name) list.push_back(contract<korvane::model::name>());
    KORVANE_COMMON_CONTRACTS(ADD_COMMON)
    KORVANE_GEOMETRY_CONTRACTS(ADD_GEOMETRY)
    KORVANE_CAD_CONTRACTS(ADD_CAD)
    KORVANE_BATCH_ITEMS(ADD_BATCH)
    KORVANE_OPTIONAL_VALUES(ADD_OPTIONAL_VALUE)
    KORVANE_PROJECT_RPC_CONTRACTS(ADD_PROJECT_RPC)
#undef ADD_COMMON
#undef ADD_GEOMETRY
#undef ADD_CAD
#undef ADD_BATCH
#undef ADD_OPTIONAL_VALUE
#undef ADD_PROJECT_RPC
    return list;
  }();
  return all;
}

void expect_survival(const Sample& sample) {
  EXPECT_TRUE(sample.has_same_bytes) << sample.json;
  EXPECT_EQ(sample.json_through_bytes, sample.json);
}

TEST(JsonOfEveryContract, AtItsDefaultsSurvivesTheWayThroughBytes) {
  for (const Contract& each : contracts()) {
    SCOPED_TRACE(each.name);
    expect_survival(each.at_defaults());
  }
}

TEST(JsonOfEveryContract, WithEveryFieldSetSurvivesTheWayThroughBytes) {
  for (const Contract& each : contracts()) {
    SCOPED_TRACE(each.name);
    expect_survival(each.filled());
  }
}

TEST(JsonOfEveryContract, OfRandomContentSurvivesTheWayThroughBytes) {
  for (const Contract& each : contracts()) {
    for (std::uint32_t seed = 1; seed <= kSeeds; ++seed) {
      SCOPED_TRACE(each.name + ", seed " + std::to_string(seed));
      expect_survival(each.random(seed));
    }
  }
}

}  // namespace
