#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "contracts/cad/rebar.h"

namespace korvane::bench {

/// A bar as a schedule has it, 576 bytes encoded.
model::cad::Rebar typical_bar();

template <class Work>
double seconds_of(Work work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// Scenarios and what each is compared with. The ratios of their medians are printed last.
using Ratios = std::vector<std::pair<std::string, std::string>>;

/// Called when the program is loaded. Returns true, so that a constant can be made of it.
bool compare(const Ratios& ratios);

}  // namespace korvane::bench
