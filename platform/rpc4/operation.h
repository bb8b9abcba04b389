#pragma once

#include <memory>
#include <new>
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

/// There was no memory for the record of a request. Nothing of the call was done.
class NoMemoryForRequest : public std::bad_alloc {};

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

/// A record as JSON, decoded once and written as often as asked.
class JsonText {
 public:
  JsonText() = default;
  JsonText(const JsonText&) = delete;
  JsonText& operator=(const JsonText&) = delete;
  virtual ~JsonText() = default;

  /// Hands the text to `sink` in pieces. Throws korvane::encoding::JsonError, behind pieces that
  /// were handed over, for what JSON cannot say.
  virtual void write(const korvane::encoding::JsonSink& sink) const = 0;
};

/// The contract of a request or reply.
struct Contract {
  /// Qualified: "korvane.model.cad.RevisionRef", "korvane.Batch<korvane.model.cad.Rebar>".
  std::string_view name;
  /// One record from JSON to Compact Binary. Throws korvane::encoding::JsonError.
  bond::blob (*from_json)(std::string_view text);
  /// The way back. `bytes` may go when it returns. Throws what decoding throws.
  std::unique_ptr<JsonText> (*json_text)(const bond::blob& bytes);
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
  /// and encodes the reply. `service` points to the skeleton. Throws RequestError,
  /// NoMemoryForRequest, and what the operation throws. One call at a time to each service.
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
