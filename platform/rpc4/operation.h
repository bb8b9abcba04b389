#pragma once

#include <span>
#include <string_view>

#include "bond/blob.h"
#include "platform/rpc4/peer_info.h"

namespace krv::rpc4 {

/// One operation of a service, by name.
struct Operation {
  std::string_view name;
  /// Qualified names of the contracts: "korvane.model.cad.RevisionRef",
  /// "korvane.Batch<korvane.model.cad.Rebar>".
  std::string_view request;
  std::string_view reply;
  /// Decodes the request from Compact Binary, delivers it to the service that `service` points to
  /// and encodes the reply. `service` points to the skeleton. Throws what decoding or the operation
  /// throws. One call at a time to each service.
  bond::blob (*call)(void* service, const bond::blob& request, const PeerInfo& peer);
};

/// What a skeleton says of itself: its name and its operations, in declared order.
struct ServiceDefinition {
  std::string_view name;
  std::span<const Operation> operations;

  /// The operation of that name, or null.
  const Operation* find(std::string_view operation) const {
    for (const Operation& candidate : operations) {
      if (candidate.name == operation) return &candidate;
    }
    return nullptr;
  }
};

}  // namespace krv::rpc4
