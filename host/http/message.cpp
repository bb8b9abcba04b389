#include "host/http/message.h"

#include <Poco/Net/HTTPResponse.h>
#include <nlohmann/json.hpp>

namespace korvane::host {

HttpReply problem_reply(const HttpFault& fault) {
  const nlohmann::ordered_json problem = {
      {"type", "about:blank"},
      {"title", Poco::Net::HTTPResponse::getReasonForStatus(
                    static_cast<Poco::Net::HTTPResponse::HTTPStatus>(fault.status))},
      {"status", fault.status},
      {"detail", fault.what()},
  };
  // What a client sent comes back in details, and need not be UTF-8.
  return {fault.status, "application/problem+json",
          problem.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n",
          fault.fields};
}

}  // namespace korvane::host
