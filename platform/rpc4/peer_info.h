#pragma once

#include <string>

namespace krv::rpc4 {

/// Who calls, as far as the transport knows. Empty for a call from within the process.
struct PeerInfo {
  std::string address;
};

}  // namespace krv::rpc4
