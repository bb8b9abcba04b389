#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "bond/describe.h"
#include "bond/kinds.h"
#include "schedule/table.h"
#include "schedule/value_text.h"

namespace korvane::schedule {

/// A field that two records differ in. No value where a record does not have it.
struct FieldDifference {
  /// "total_bars", "parameters_exact.a", "geometry.objects[2].length", "properties.layer".
  std::string field;
  Cell before;
  Cell after;

  bool operator==(const FieldDifference&) const = default;
};

/// Compares two records of one type field by field, after their description.
class DifferenceFinder {
 public:
  template <class T>
  void compare(const std::string& name, const T& before, const T& after) {
    path_ = name;
    visit(before, after);
  }

  /// What was found, in the order of the fields.
  std::vector<FieldDifference> take() { return std::move(differences_); }
  std::size_t count() const { return differences_.size(); }

 private:
  void visit(const auto& before, const auto& after) {
    if (!(before == after)) add(value_cell(before), value_cell(after));
  }
  /// A value that is not a number does not differ from another one.
  void visit(const double& before, const double& after) {
    if (before == after || (std::isnan(before) && std::isnan(after))) return;
    add(before, after);
  }
  /// One value to people, though it has five fields.
  void visit(const Variant& before, const Variant& after) {
    if (!(before == after)) add(variant_cell(before), variant_cell(after));
  }
  template <bond::Nullable T>
  void visit(const T& before, const T& after) {
    if (before.hasvalue() && after.hasvalue()) return visit(*before, *after);
    if (before.hasvalue() != after.hasvalue()) add(value_cell(before), value_cell(after));
  }
  template <bond::List T>
  void visit(const T& before, const T& after) {
    for (std::size_t i = 0; i < std::max(before.size(), after.size()); ++i) {
      at("[" + std::to_string(i) + "]", [&] {
        if (i < before.size() && i < after.size()) return visit(before[i], after[i]);
        i < before.size() ? add(value_cell(before[i]), {}) : add({}, value_cell(after[i]));
      });
    }
  }
  template <bond::Map T>
  void visit(const T& before, const T& after) {
    for (const auto& [key, value] : before) {
      const auto other = after.find(key);
      at("." + key, [&, &was = value] {
        other == after.end() ? add(value_cell(was), {}) : visit(was, other->second);
      });
    }
    for (const auto& [key, value] : after) {
      if (before.count(key) != 0) continue;
      at("." + key, [&, &is = value] { add({}, value_cell(is)); });
    }
  }
  template <bond::Record T>
  void visit(const T& before, const T& after) {
    bond::for_each_field<T>([&](const auto& field) {
      at((path_.empty() ? "" : ".") + std::string(field.name),
         [&] { visit(before.*field.member, after.*field.member); });
    });
  }

  /// Goes on one step down the path.
  template <class Go>
  void at(const std::string& step, Go go) {
    const std::size_t size = path_.size();
    path_ += step;
    go();
    path_.resize(size);
  }

  void add(Cell before, Cell after) {
    differences_.push_back({path_, std::move(before), std::move(after)});
  }

  std::string path_;
  std::vector<FieldDifference> differences_;
};

}  // namespace korvane::schedule
