#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "bond/describe.h"
#include "bond/exception.h"
#include "contracts/encoding/field_form.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "platform/project_rpc/operation_texts.h"
#include "platform/project_rpc/record_roles.h"
#include "platform/rpc4/operation.h"

/// What the sources of the skeletons are made of.
namespace korvane::rpc {

[[noreturn]] inline void refuse_surplus(std::uint32_t bytes) {
  throw krv::rpc4::RequestError(
      std::to_string(bytes) + (bytes == 1 ? " byte follows" : " bytes follow") +
      " the request's record; expected bare Compact Binary version 1, without the header of "
      "Marshal, and nothing after it");
}

template <class T>
void decode_compact_binary(std::string_view bytes, T& record) {
  const auto size = static_cast<std::uint32_t>(bytes.size());
  const std::uint32_t length = encoding::decode_into(bytes.data(), size, record);
  if (length != size) refuse_surplus(size - length);
}

/// Reads the one record of a request into `record`, which is new.
template <class T>
void decode_request(const krv::rpc4::EncodedRequest& source, T& record) {
  try {
    if (source.form == krv::rpc4::Representation::json) {
      record = encoding::from_json<T>(source.bytes);
    } else {
      decode_compact_binary(source.bytes, record);
    }
  } catch (const encoding::JsonError& failure) {
    throw krv::rpc4::RequestError(failure.what());
  } catch (const bond::Exception& failure) {
    throw krv::rpc4::RequestError(failure.what());
  } catch (const std::overflow_error& failure) {
    throw krv::rpc4::RequestError(failure.what());
  } catch (const std::bad_alloc&) {
    throw krv::rpc4::NoMemoryForRequest();
  }
}

template <class T>
class RecordReply final : public krv::rpc4::Reply {
 public:
  T& record() { return record_; }

  bond::blob encoded() const override { return encoding::encode(record_); }
  void write_json(const encoding::JsonSink& sink) const override {
    encoding::write_json(record_, sink);
  }
  bool cut_rows([[maybe_unused]] std::size_t rows) override {
    if constexpr (requires(T & reply) { table_rows(reply); }) {
      auto& all = table_rows(record_);
      if (all.size() <= rows) return false;
      all.resize(rows);
      return true;
    } else {
      return false;
    }
  }
  std::string service_id() const override {
    if constexpr (requires(const T& reply) { opened_service_id(reply); }) {
      return opened_service_id(record_);
    } else {
      return {};
    }
  }
  std::optional<krv::rpc4::Subject> subject() const override { return subject_of(record_); }

 private:
  T record_{};
};

/// The record of a request, and where it came from.
template <class T>
class RecordRequest : public krv::rpc4::Request {
 public:
  explicit RecordRequest(const krv::rpc4::EncodedRequest& source) : source_(source) {}
  explicit RecordRequest(T record) : record_(std::move(record)) {}

  void decode() override {
    if (record_) return;
    try {
      decode_request(source_, record_.emplace());
    } catch (...) {
      record_.reset();
      throw;
    }
  }
  std::string_view file() override {
    if constexpr (requires(T & request) { named_file(request); }) {
      decode();
      return named_file(*record_);
    } else {
      return {};
    }
  }
  std::string_view sql() override {
    if constexpr (requires(const T& request) { carried_sql(request); }) {
      decode();
      return carried_sql(*record_);
    } else {
      return {};
    }
  }
  std::optional<krv::rpc4::Subject> subject() override {
    decode();
    return subject_of(*record_);
  }

 protected:
  T take() {
    decode();
    T record = std::move(*record_);
    record_.reset();
    return record;
  }

 private:
  const krv::rpc4::EncodedRequest source_;
  std::optional<T> record_;
};

/// `deliver` calls the three-argument overload.
template <class Service, class T, class ReplyRecord,
          void (Service::*Deliver)(T, ReplyRecord&, const krv::rpc4::PeerInfo&)>
class OperationRequest final : public RecordRequest<T> {
 public:
  using RecordRequest<T>::RecordRequest;

  std::unique_ptr<krv::rpc4::Reply> deliver(void* service,
                                            const krv::rpc4::PeerInfo& peer) override {
    auto reply = std::make_unique<RecordReply<ReplyRecord>>();
    (static_cast<Service*>(service)->*Deliver)(this->take(), reply->record(), peer);
    return reply;
  }
};

template <class T>
constexpr krv::rpc4::Contract contract() {
  return {bond::type_name<T>(), is_entry<T>, &encoding::add_json_schema<T>,
          &encoding::form_of_field<T>};
}

/// One entry of a skeleton's operation table.
template <class Service, class T, class ReplyRecord,
          void (Service::*Deliver)(T, ReplyRecord&, const krv::rpc4::PeerInfo&)>
constexpr krv::rpc4::Operation operation(const OperationText& text, krv::rpc4::Effect effect) {
  using TheRequest = OperationRequest<Service, T, ReplyRecord, Deliver>;
  krv::rpc4::Operation entry{
      text.name,
      effect,
      contract<T>(),
      contract<ReplyRecord>(),
      [](const krv::rpc4::EncodedRequest& source) -> std::unique_ptr<krv::rpc4::Request> {
        return std::make_unique<TheRequest>(source);
      },
      nullptr,
      text.summary,
      text.text};
  if constexpr (requires(T & request) { named_file(request); }) {
    entry.request_for_file = [](std::string file) -> std::unique_ptr<krv::rpc4::Request> {
      T request{};
      named_file(request) = std::move(file);
      return std::make_unique<TheRequest>(std::move(request));
    };
  }
  return entry;
}

}  // namespace korvane::rpc

#define KORVANE_DELIVER_OPERATION(name, Request, Reply, effect)                    \
  void Skeleton::name(Request request, Reply& reply, const krv::rpc4::PeerInfo&) { \
    name(std::move(request), reply);                                               \
  }

#define KORVANE_TABLE_ENTRY(name, Request, Reply, effect)                                  \
  rpc::operation<Skeleton, Request, Reply, &Skeleton::name>(rpc::text_of_operation(#name), \
                                                            krv::rpc4::Effect::effect),
