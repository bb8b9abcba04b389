#pragma once

#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

#include "bond/blob.h"
#include "contracts/encoding/json.h"
#include "platform/rpc4/peer_info.h"

namespace krv::rpc4 {

/// The bytes of a request that are no record of its contract; the text is what decoding said.
class RequestError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a call of an operation may do to what the service keeps. A host decides by it who may call,
/// and how.
enum class Effect {
  /// Changes nothing.
  reads,
  writes,
  /// Opens the file that the request names, and makes it if it is not there. The request is a
  /// korvane::model::OpenProjectRequest.
  opens,
  /// Runs what the client wrote, which may do either.
  queries,
};

/// The contract of a request or reply.
struct Contract {
  /// Qualified: "korvane.model.cad.RevisionRef", "korvane.Batch<korvane.model.cad.Rebar>".
  std::string_view name;
  /// One record from JSON to Compact Binary and back. Throw korvane::encoding::JsonError, and the
  /// way back what decoding throws.
  bond::blob (*from_json)(std::string_view text);
  std::string (*to_json)(const bond::blob& bytes);
  /// Adds the contract's JSON Schema and those that it uses; returns the name of its own.
  std::string (*add_schema)(korvane::encoding::JsonSchemas& schemas);
};

/// One operation of a service, by name.
struct Operation {
  std::string_view name;
  Effect effect;
  Contract request;
  Contract reply;
  /// Decodes the request from Compact Binary, delivers it to the service that `service` points to
  /// and encodes the reply. `service` points to the skeleton. Throws RequestError, and what the
  /// operation throws. One call at a time to each service.
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
