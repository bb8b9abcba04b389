#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "host/http/server.h"
#include "host/memory/memory_pool.h"
#include "host/service/server_state.h"
#include "host/service/target.h"

namespace korvane::host {

class Answer;

/// One request, from its header to its line in the log.
class Exchange : public HttpExchange {
 public:
  /// Both must outlive it.
  Exchange(ServerState& server, const HttpRequest& request);
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange() override;

  void admit() override;
  const std::string& client() const override;
  void hold_body(std::uint64_t bytes) override;
  HttpReply answer(const std::string& body) override;
  void complete(HttpReply& reply) override;
  void served(const HttpReply& reply, std::chrono::nanoseconds duration, bool is_sent) override;

 private:
  const Client& known_client() const;
  void admit_page(const PageFile& file);
  void refuse_beyond_limit() const;

  ServerState& server_;
  const HttpRequest& request_;
  const Target target_;
  const std::string id_;
  /// What the request counts as.
  std::string metric_ = "other";
  /// From the time on that the client is known.
  std::optional<Visit> visit_;
  /// From the time on that it is admitted.
  std::unique_ptr<Answer> answer_;
  /// While its body is there.
  std::optional<MemoryPool::Holding> body_;
  std::size_t body_bytes_ = 0;
};

/// Logs and counts a connection that is answered before there was a request.
void note_refusal(ServerState& server, const std::string& peer, const HttpReply& reply);

/// Adds what every reply tells: the run of the server.
void add_run(const ServerState& server, HttpReply& reply);

}  // namespace korvane::host
