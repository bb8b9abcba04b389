#pragma once

#include <stdexcept>

namespace krv::rpc4 {

/// A row of the service's data that no reply can hold: another program wrote it.
class UnusableRow : public std::out_of_range {
 public:
  using std::out_of_range::out_of_range;
};

}  // namespace krv::rpc4
