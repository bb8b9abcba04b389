#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "bond/describe.h"
#include "bond/exception.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "platform/rpc4/operation.h"

/// What the sources of the skeletons are made of.
namespace korvane::rpc {

template <class T>
class RecordAsJson : public krv::rpc4::JsonText {
 public:
  explicit RecordAsJson(const bond::blob& bytes) : record_(encoding::decode<T>(bytes)) {}

  void write(const encoding::JsonSink& sink) const override { encoding::write_json(record_, sink); }

 private:
  const T record_;
};

template <class T>
constexpr krv::rpc4::Contract contract() {
  return {bond::type_name<T>(),
          [](std::string_view text) { return encoding::encode(encoding::from_json<T>(text)); },
          [](const bond::blob& bytes) -> std::unique_ptr<krv::rpc4::JsonText> {
            return std::make_unique<RecordAsJson<T>>(bytes);
          },
          [](encoding::JsonSchemas& schemas) { return encoding::add_json_schema<T>(schemas); }};
}

[[noreturn]] inline void refuse_surplus(std::uint32_t bytes) {
  throw krv::rpc4::RequestError(
      std::to_string(bytes) + (bytes == 1 ? " byte follows" : " bytes follow") +
      " the request's record; expected bare Compact Binary version 1, without the header of "
      "Marshal, and nothing after it");
}

template <class Request>
Request decode_request(const bond::blob& bytes) {
  try {
    Request request{};
    const std::uint32_t length = encoding::decode_into(bytes.data(), bytes.size(), request);
    if (length != bytes.size()) refuse_surplus(bytes.size() - length);
    return request;
  } catch (const bond::Exception& failure) {
    throw krv::rpc4::RequestError(failure.what());
  } catch (const std::overflow_error& failure) {
    throw krv::rpc4::RequestError(failure.what());
  } catch (const std::bad_alloc&) {
    throw krv::rpc4::NoMemoryForRequest();
  }
}

/// One entry of a skeleton's operation table; `deliver` calls the three-argument overload.
template <class Service, class Request, class Reply,
          void (Service::*Deliver)(Request, Reply&, const krv::rpc4::PeerInfo&)>
constexpr krv::rpc4::Operation operation(std::string_view name, krv::rpc4::Effect effect) {
  return {name, effect, contract<Request>(), contract<Reply>(),
          [](void* service, const bond::blob& request, const krv::rpc4::PeerInfo& peer) {
            Reply reply{};
            (static_cast<Service*>(service)->*Deliver)(decode_request<Request>(request), reply,
                                                       peer);
            return encoding::encode(reply);
          }};
}

}  // namespace korvane::rpc

#define KORVANE_DELIVER_OPERATION(name, Request, Reply, effect)                    \
  void Skeleton::name(Request request, Reply& reply, const krv::rpc4::PeerInfo&) { \
    name(std::move(request), reply);                                               \
  }

#define KORVANE_TABLE_ENTRY(name, Request, Reply, effect) \
  rpc::operation<Skeleton, Request, Reply, &Skeleton::name>(#name, krv::rpc4::Effect::effect),
