#include "host/http/message.h"

#include <algorithm>
#include <ctime>

#include <Poco/DateTimeFormat.h>
#include <Poco/DateTimeFormatter.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/String.h>
#include <Poco/Timestamp.h>
#include <nlohmann/json.hpp>

#include "host/http/coding.h"
#include "host/text/shortened.h"
#include "platform/rpc4/http.h"

namespace korvane::host {

using Poco::Net::HTTPMessage;
using Poco::Net::HTTPResponse;

namespace {

/// The present time as HTTP tells it, which changes once a second.
const std::string& date_text() {
  thread_local std::time_t second = -1;
  thread_local std::string text;
  const std::time_t now = std::time(nullptr);
  if (now != second) {
    text = Poco::DateTimeFormatter::format(Poco::Timestamp::fromEpochTime(now),
                                           Poco::DateTimeFormat::HTTP_FORMAT);
    second = now;
  }
  return text;
}

/// Fields of a reply in their order. Refers to what it is given.
class Fields {
 public:
  /// In the place of a field of that name, or else last.
  void set(std::string_view name, std::string_view value) {
    const auto same = std::find_if(fields_.begin(), fields_.end(), [&](const auto& field) {
      return field.first.size() == name.size() && Poco::icompare(field.first, name) == 0;
    });
    same == fields_.end() ? void(fields_.emplace_back(name, value)) : void(same->second = value);
  }

  void write(std::string& text) const {
    for (const auto& [name, value] : fields_) {
      text += name;
      text += ": ";
      text += value;
      text += "\r\n";
    }
  }

 private:
  std::vector<std::pair<std::string_view, std::string_view>> fields_;
};

}  // namespace

std::string header_text(const HttpReply& reply, bool keeps_alive, BodyCoding coding) {
  constexpr std::size_t kRoom = 1024;  // a small body follows
  const std::string length = std::to_string(reply.body_bytes());
  Fields fields;
  fields.set("Date", date_text());
  fields.set(HTTPMessage::CONNECTION,
             keeps_alive ? HTTPMessage::CONNECTION_KEEP_ALIVE : HTTPMessage::CONNECTION_CLOSE);
  if (reply.status != kNotModified) {
    fields.set(HTTPMessage::CONTENT_TYPE, reply.content_type);
    if (coding == BodyCoding::none) {
      if (!reply.is_endless) fields.set(HTTPMessage::CONTENT_LENGTH, length);
    } else {
      fields.set(HTTPMessage::TRANSFER_ENCODING, HTTPMessage::CHUNKED_TRANSFER_ENCODING);
      fields.set("Content-Encoding", "gzip");
    }
  }
  fields.set("Cache-Control", "no-store");
  fields.set("X-Content-Type-Options", "nosniff");
  if (is_compressible(reply.content_type)) fields.set("Vary", "Accept-Encoding");
  for (const auto& [name, value] : reply.fields) fields.set(name, value);
  std::string text;
  text.reserve(kRoom);
  text += "HTTP/1.1 ";
  text += std::to_string(reply.status);
  text += ' ';
  text += HTTPResponse::getReasonForStatus(static_cast<HTTPResponse::HTTPStatus>(reply.status));
  text += "\r\n";
  fields.write(text);
  text += "\r\n";
  return text;
}

HttpFault::HttpFault(ProblemKind problem_kind, std::string_view detail,
                     std::vector<std::pair<std::string, std::string>> header_fields)
    : std::runtime_error(shortened(detail)), kind(problem_kind), fields(std::move(header_fields)) {}

HttpReply problem_reply(const HttpFault& fault) {
  nlohmann::ordered_json problem = {
      {"type", fault.kind.type()},
      {"title",
       HTTPResponse::getReasonForStatus(static_cast<HTTPResponse::HTTPStatus>(fault.status()))},
      {"status", fault.status()},
      {"detail", fault.what()},
  };
  if (fault.place) {
    nlohmann::ordered_json place = {{"pointer", fault.place->pointer},
                                    {"detail", fault.place->detail}};
    if (!fault.place->mark.empty()) place["mark"] = fault.place->mark;
    problem["errors"].push_back(std::move(place));
  }
  // What a client sent comes back in details, and need not be UTF-8.
  return {fault.status(), std::string(krv::rpc4::kProblemMediaType),
          problem.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n",
          fault.fields, fault.what()};
}

}  // namespace korvane::host
