#include "host/http/message.h"

#include <sstream>

#include <Poco/Net/HTTPResponse.h>
#include <Poco/Timestamp.h>
#include <nlohmann/json.hpp>

#include "host/http/coding.h"
#include "host/text/shortened.h"
#include "platform/rpc4/http.h"

namespace korvane::host {

using Poco::Net::HTTPMessage;
using Poco::Net::HTTPResponse;

std::string header_text(const HttpReply& reply, bool keeps_alive, BodyCoding coding) {
  HTTPResponse head(HTTPMessage::HTTP_1_1, static_cast<HTTPResponse::HTTPStatus>(reply.status));
  head.setDate(Poco::Timestamp());
  head.setKeepAlive(keeps_alive);
  if (reply.status != kNotModified) {
    head.setContentType(reply.content_type);
    if (coding == BodyCoding::none) {
      head.setContentLength64(static_cast<Poco::Int64>(reply.body_bytes()));
    } else {
      head.setChunkedTransferEncoding(true);
      head.set("Content-Encoding", "gzip");
    }
  }
  head.set("Cache-Control", "no-store");
  head.set("X-Content-Type-Options", "nosniff");
  if (is_compressible(reply.content_type)) head.set("Vary", "Accept-Encoding");
  for (const auto& [name, value] : reply.fields) head.set(name, value);
  std::ostringstream text;
  head.write(text);
  return text.str();
}

HttpFault::HttpFault(ErrorStatus error_status, std::string_view detail,
                     std::vector<std::pair<std::string, std::string>> header_fields)
    : std::runtime_error(shortened(detail)),
      status(error_status.code()),
      fields(std::move(header_fields)) {}

HttpReply problem_reply(const HttpFault& fault) {
  const nlohmann::ordered_json problem = {
      {"type", "about:blank"},
      {"title",
       HTTPResponse::getReasonForStatus(static_cast<HTTPResponse::HTTPStatus>(fault.status))},
      {"status", fault.status},
      {"detail", fault.what()},
  };
  // What a client sent comes back in details, and need not be UTF-8.
  return {fault.status, std::string(krv::rpc4::kProblemMediaType),
          problem.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n",
          fault.fields, fault.what()};
}

}  // namespace korvane::host
