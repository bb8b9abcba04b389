#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/access/gate.h"
#include "host/http/server.h"
#include "host/memory/memory_pool.h"
#include "host/model_server.h"
#include "host/service/call.h"
#include "host/service/target.h"

namespace korvane::host {

/// One request, from its header to its line in the log.
class ModelServer::Exchange : public HttpExchange {
 public:
  Exchange(ModelServer& server, const HttpRequest& request);
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange() override;

  void admit() override;
  const std::string& client() const override { return client_.name; }
  void hold_body(std::uint64_t bytes) override;
  HttpReply answer(const std::string& body) override;
  void complete(HttpReply& reply) override;
  void served(const HttpReply& reply, std::chrono::nanoseconds duration, bool is_sent) override;

 private:
  using Answer = HttpReply (Exchange::*)(const std::string& body);

  void answer_get(const char* metric, Answer get);
  void admit_call(Callee callee, const std::string& operation);
  HttpReply live(const std::string& body);
  HttpReply ready(const std::string& body);
  HttpReply metrics(const std::string& body);
  HttpReply openapi(const std::string& body);
  HttpReply services(const std::string& body);
  HttpReply projects(const std::string& body);
  HttpReply made_in_turn(const char* queue, const std::function<std::string()>& make);
  HttpReply call(const std::string& body);

  ModelServer& server_;
  const HttpRequest& request_;
  const Target target_;
  const std::string id_;
  Client client_;
  bool is_counted_ = false;
  std::string metric_ = "other";
  Answer answer_ = nullptr;
  std::optional<Call> call_;
  std::optional<MemoryPool::Holding> body_;
  std::size_t body_bytes_ = 0;
};

}  // namespace korvane::host
