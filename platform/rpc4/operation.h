#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "bond/blob.h"
#include "contracts/encoding/json.h"
#include "platform/rpc4/failure.h"
#include "platform/rpc4/peer_info.h"
#include "platform/rpc4/representation.h"

/// What a service says of itself, by which a host serves it without knowing it by name.
namespace krv::rpc4 {

/// What a call of an operation may do to what the service keeps. A host decides by it who may call,
/// and how.
enum class Effect {
  /// Changes nothing.
  reads,
  writes,
  /// Opens the file that the request names, and makes it if it is not there. The reply names the
  /// service that answers for it.
  opens,
  /// Runs what the client wrote, which may do either.
  queries,
};

/// The entry of a service's data that a record is about.
struct Subject {
  /// "revision", "material": a word of the service's own.
  std::string_view kind;
  /// By one of these or both it is known; by neither where it is yet to be made.
  std::optional<std::int32_t> id = std::nullopt;
  std::optional<std::string> uid = std::nullopt;
};

/// What an operation replied: one record of whichever contract.
class Reply {
 public:
  Reply() = default;
  Reply(const Reply&) = delete;
  Reply& operator=(const Reply&) = delete;
  virtual ~Reply() = default;

  /// The record as bare Compact Binary.
  virtual bond::blob encoded() const = 0;
  /// Hands the record as JSON to `sink`, in pieces, as often as asked. Throws
  /// korvane::encoding::JsonError, after pieces that were handed over, for what JSON cannot say.
  virtual void write_json(const korvane::encoding::JsonSink& sink) const = 0;

  /// Keeps the first `rows` of a table. Returns whether there were more: false for a reply that is
  /// not a table.
  virtual bool cut_rows(std::size_t rows) = 0;
  /// The id of the service that was opened; empty for a reply that names none.
  virtual std::string service_id() const = 0;
  /// What the record is about; nothing for what is about no entry, or several.
  virtual std::optional<Subject> subject() const = 0;
};

/// A request in the form in which it came. The bytes are not copied.
struct EncodedRequest {
  Representation form = Representation::compact_binary;
  std::string_view bytes;
};

/// One request on its way to a service. Its record is decoded once, when it is first needed, and
/// handed over as it is. Used by one thread at a time.
///
/// Whatever decodes throws RequestError for what is not a record of the contract, and
/// NoMemoryForRequest.
class Request {
 public:
  Request() = default;
  Request(const Request&) = delete;
  Request& operator=(const Request&) = delete;
  virtual ~Request() = default;

  /// Decodes the record unless that was done.
  virtual void decode() = 0;
  /// The file that the record names; empty for one that names none. Decodes. Valid until the
  /// request is delivered.
  virtual std::string_view file() = 0;
  /// The SQL that the record carries; empty for one that carries none. Decodes. Valid until the
  /// request is delivered.
  virtual std::string_view sql() = 0;
  /// The entry that the record is about; nothing for what is about none, or several. Decodes.
  virtual std::optional<Subject> subject() = 0;

  /// Decodes and gives the record to the service that `service` points to, a skeleton of the
  /// operation's definition. Throws what the operation throws. One call at a time to each service.
  /// The record is gone then: delivered again, it is decoded again, which a request that was made
  /// for a file cannot be.
  virtual std::unique_ptr<Reply> deliver(void* service, const PeerInfo& peer) = 0;
};

/// The contract of a request or reply.
struct Contract {
  /// Qualified: "korvane.model.cad.RevisionRef", "korvane.Batch<korvane.model.cad.Rebar>".
  std::string_view name;
  /// Whether a record of it is an entry, or what is known of one that may be missing: see Subject.
  bool is_entry;
  /// Adds the contract's JSON Schema and those that it uses; returns the name of its own.
  std::string (*add_schema)(korvane::encoding::JsonSchemas& schemas,
                            korvane::encoding::SchemaOf of);
  /// What the field of that name takes as bare text.
  korvane::encoding::FieldForm (*form_of_field)(std::string_view field);
};

/// One operation of a service, by name.
struct Operation {
  std::string_view name;
  Effect effect;
  Contract request;
  Contract reply;
  /// A request as it came; `source` must outlive it. Decodes nothing yet.
  std::unique_ptr<Request> (*make_request)(const EncodedRequest& source);
  /// A request that names a file and nothing else; null where requests name none.
  std::unique_ptr<Request> (*request_for_file)(std::string file);
  /// What it does, for people: in a few words, and in full.
  std::string_view summary = {};
  std::string_view text = {};

  /// The whole way of one call with Compact Binary on both sides. Throws what decoding and
  /// delivering throw.
  bond::blob call(void* service, const bond::blob& bytes, const PeerInfo& peer) const {
    const EncodedRequest source{Representation::compact_binary, {bytes.content(), bytes.size()}};
    return make_request(source)->deliver(service, peer)->encoded();
  }
};

/// What a skeleton says of itself: its name and its operations, in declared order.
struct ServiceDefinition {
  std::string_view name;
  std::span<const Operation> operations;
  /// The definition of the services that its operation of the effect `opens` opens; null where it
  /// has none.
  const ServiceDefinition& (*opened)() = nullptr;

  /// The operation of that name, or null.
  const Operation* find(std::string_view operation) const {
    for (const Operation& candidate : operations) {
      if (candidate.name == operation) return &candidate;
    }
    return nullptr;
  }

  /// The operation that opens files, or null.
  const Operation* find_opening() const {
    for (const Operation& candidate : operations) {
      if (candidate.effect == Effect::opens) return &candidate;
    }
    return nullptr;
  }
};

}  // namespace krv::rpc4
