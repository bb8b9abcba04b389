#include "clients/cpp/remote_project.h"

#include <array>
#include <cstddef>
#include <istream>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <Poco/Exception.h>
#include <Poco/Net/Context.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/Net/HTTPSClientSession.h>
#include <Poco/Net/NetSSL.h>
#include <Poco/Timespan.h>
#include <Poco/URI.h>
#include <nlohmann/json.hpp>

#include "contracts/encoding/record_codec.h"
#include "platform/project_rpc/project_manager_service.h"
#include "platform/rpc4/http.h"

namespace korvane::client {

using Poco::Net::HTTPClientSession;
using Poco::Net::HTTPResponse;

namespace {

const Poco::Timespan kReplyTime(300, 0);

/// More than a server sends.
constexpr std::size_t kMostReplyBytes = std::size_t{512} << 20U;

[[noreturn]] void refuse_address(const std::string& url) {
  throw std::runtime_error("\"" + url + "\" is not the address of a server: expected " +
                           "http://HOST:PORT or https://HOST:PORT");
}

Poco::URI parse_address(const std::string& url) {
  try {
    return Poco::URI(url);
  } catch (const Poco::SyntaxException&) {
    refuse_address(url);
  }
}

std::unique_ptr<HTTPClientSession> make_session(const std::string& url) {
  const Poco::URI uri = parse_address(url);
  if (uri.getScheme() == "http") {
    return std::make_unique<HTTPClientSession>(uri.getHost(), uri.getPort());
  }
  if (uri.getScheme() != "https") refuse_address(url);
  Poco::Net::initializeSSL();
  Poco::Net::Context::Params parameters;
  parameters.verificationMode = Poco::Net::Context::VERIFY_RELAXED;
  parameters.loadDefaultCAs = true;
  return std::make_unique<Poco::Net::HTTPSClientSession>(
      uri.getHost(), uri.getPort(),
      new Poco::Net::Context(Poco::Net::Context::TLS_CLIENT_USE, parameters));
}

/// The text of a problem document, or the beginning of whatever else has come.
std::string detail_of(const std::string& body) {
  const auto problem = nlohmann::json::parse(body, nullptr, false);
  if (problem.is_object() && problem.contains("detail") && problem["detail"].is_string()) {
    return problem["detail"];
  }
  return body.substr(0, 200);
}

}  // namespace

class RemoteProject::Server {
 public:
  Server(std::string url, std::string token)
      : url_(std::move(url)), token_(std::move(token)), session_(make_session(url_)) {
    session_->setKeepAlive(true);
    session_->setTimeout(kReplyTime);
  }

  template <class Reply, class Request>
  Reply call(const std::string& path, const Request& request) {
    const bond::blob body = encoding::encode(request);
    const std::string reply = post(path, {body.content(), body.size()});
    return encoding::decode<Reply>(reply.data(), static_cast<std::uint32_t>(reply.size()));
  }

 private:
  std::string post(const std::string& path, std::string_view body) {
    try {
      Poco::Net::HTTPRequest head(Poco::Net::HTTPRequest::HTTP_POST, path,
                                  Poco::Net::HTTPMessage::HTTP_1_1);
      head.setContentType(std::string(krv::rpc4::kCompactBinaryMediaType));
      head.setContentLength64(static_cast<Poco::Int64>(body.size()));
      if (!token_.empty()) head.setCredentials("Bearer", token_);
      session_->sendRequest(head).write(body.data(), static_cast<std::streamsize>(body.size()));
      HTTPResponse response;
      std::istream& reply_body = session_->receiveResponse(response);
      if (response.getContentLength64() > static_cast<Poco::Int64>(kMostReplyBytes))
        refuse_length();
      std::string reply = read_all(reply_body);
      if (response.getStatus() == HTTPResponse::HTTP_OK) return reply;
      throw std::runtime_error(url_ + ": " + std::to_string(response.getStatus()) + " " +
                               detail_of(reply));
    } catch (const Poco::Exception& failure) {
      throw std::runtime_error("cannot reach " + url_ + ": " + failure.displayText());
    }
  }

  std::string read_all(std::istream& body) {
    std::string text;
    std::array<char, 64U << 10U> piece{};
    while (body.read(piece.data(), piece.size()).gcount() > 0) {
      text.append(piece.data(), static_cast<std::size_t>(body.gcount()));
      if (text.size() > kMostReplyBytes) refuse_length();
    }
    return text;
  }

  [[noreturn]] void refuse_length() {
    session_->reset();  // else the rest would be read to its end
    throw std::runtime_error(url_ + ": the reply is longer than " +
                             std::to_string(kMostReplyBytes) + " bytes");
  }

  std::string url_;
  std::string token_;
  std::unique_ptr<HTTPClientSession> session_;
};

RemoteProject::RemoteProject(const std::string& url, const std::string& token,
                             const std::string& filename, IfMissing if_missing)
    : Project_Service(filename), server_(std::make_unique<Server>(url, token)) {
  if (if_missing == IfMissing::fail) return;
  model::OpenProjectRequest request;
  request.filename = filename;
  server_->call<model::OpenProjectResponse>(
      krv::rpc4::operation_path(ProjectManager_Metadata::GlobalInstanceID, "open"), request);
}

RemoteProject::~RemoteProject() = default;

#define CALL_REMOTELY(name, Request, Reply, effect)                              \
  void RemoteProject::name(Request request, Reply& reply) {                      \
    reply = server_->call<Reply>(krv::rpc4::project_path(id(), #name), request); \
  }
KORVANE_PROJECT_OPERATIONS(CALL_REMOTELY)
#undef CALL_REMOTELY

}  // namespace korvane::client
