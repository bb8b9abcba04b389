#include "tools/korvane/copy_server.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "host/http/problem_kind.h"
#include "platform/rpc4/http.h"
#include "sqlite/copy_blocks.h"
#include "sqlite/project_state.h"
#include "sqlite/received_copy.h"
#include "tools/korvane/copy_orders.h"
#include "tools/korvane/work_folder.h"

namespace korvane::tools {

namespace {

constexpr std::chrono::minutes kTimeOfNotes(5);
constexpr const char* kWorkFolder = "korvane-replicate";
/// More than any answer to an order of one file has.
constexpr std::size_t kMostReplyBytes = std::size_t{2} << 20U;

/// How long an order is waited for that does not read a whole copy.
constexpr std::chrono::seconds kMostSilence(60);

client::Options options_with(const std::string& token, const std::string& authorities) {
  client::Options options;
  options.token = token;
  options.authorities = authorities;
  // What fails is tried again later anyway, and other projects wait.
  options.attempts = 2;
  options.longest_pause = std::chrono::seconds(1);
  // A state of a project is for the server that was named.
  options.follows_redirects = false;
  return options;
}

}  // namespace

CopyServer::CopyServer(const std::string& url, const std::string& token,
                       const std::string& authorities)
    : url_(url), connection_(url, options_with(token, authorities)) {
  WorkFolder::remove_left(kWorkFolder);
}

std::string CopyServer::order(const std::string& name,
                              const std::map<std::string, std::string>& parameters,
                              std::string_view body) {
  client::Request request;
  request.path = "/v1/copies" + (name.empty() ? "" : "/" + krv::rpc4::path_segment(name)) +
                 client::query_text(parameters);
  request.content_type = "application/octet-stream";
  request.body = body;
  if (!name.empty()) request.most_reply_bytes = kMostReplyBytes;
  const std::string& word = parameters.at("order");
  if (word != kBeginOrder && word != kFinishOrder) request.most_silence = kMostSilence;
  // A second time they would fail for what the first has done.
  if (word == kFinishOrder || word == kRemoveOrder) {
    request.repeating = client::Repeating::when_refused;
  }
  try {
    return connection_.send(request);
  } catch (const client::ServerError& refusal) {
    if (refusal.type == host::problem("written-elsewhere").type())
      throw sqlite::WrittenElsewhere(url_ + "/" + name);
    const bool is_busy = refusal.status == 503 && !refusal.type.empty() &&
                         refusal.type != host::problem("draining").type() &&
                         refusal.type != host::problem("stopping").type();
    const bool is_late = refusal.status == 504;
    // What the server has to say of its copies may be another thing now.
    if (is_late) asked_ = {};
    const bool is_of_file = refusal.status != 401 && refusal.status != 403 &&
                            (refusal.status < 502 || is_busy || is_late);
    const bool is_for_all = name.empty() || !is_of_file;
    if (is_for_all) throw PlaceIsGone(refusal.what());
    throw;
  } catch (const std::runtime_error& failure) {
    asked_ = {};
    throw PlaceIsGone(failure.what());
  }
}

void CopyServer::begin_round() {
  const bool is_known = asked_ != Clock::time_point() && Clock::now() - asked_ < kTimeOfNotes;
  if (is_known) return;
  notes_ = notes_of(order("", {{"order", kListOrder}}));
  asked_ = Clock::now();
}

std::optional<sqlite::CopyNote> CopyServer::note_of(const std::string& name) {
  const auto found = notes_.find(name);
  if (found == notes_.end()) return std::nullopt;
  return found->second;
}

std::string CopyServer::header_of(const std::string& name) {
  const auto found = notes_.find(name);
  return found == notes_.end() ? "" : found->second.header;
}

void CopyServer::send_missing(const std::string& name, const Transfer& transfer,
                              const std::string& file, const sqlite::BlockList& blocks,
                              const sqlite::CopyOptions& options) {
  const std::size_t most = kBlockBytesOfOrder / blocks.block_bytes;
  const std::size_t all = blocks.digests.size();
  std::size_t seen = 0;
  for (auto [first, count] : transfer.missing) {
    // Each once: no server keeps the sender busy for ever.
    if (first < seen || first > all || count > all - first) {
      throw std::runtime_error(url_ + " asks for blocks that there are not");
    }
    seen = first + count;
    while (count > 0) {
      options.progress(first, all);
      const std::size_t sent = std::min(count, most);
      order(name,
            {{"order", kBlocksOrder}, {"transfer", transfer.id}, {"first", std::to_string(first)}},
            sqlite::read_blocks(file, blocks, first, sent));
      first += sent;
      count -= sent;
    }
  }
}

sqlite::StandingCopy CopyServer::update(const std::string& project, const std::string& name,
                                        const sqlite::CopyOptions& options) {
  const WorkFolder work(kWorkFolder);
  // A project's name can be longer than that of a file beside others.
  sqlite::ProjectState state = sqlite::take_state(project, work.path() + "/state.db", options);
  const std::string& file = state.file->path();
  sqlite::AnnouncedState announced{sqlite::list_blocks(file), state.content, state.source,
                                   state.taken, state.permissions};
  const Transfer transfer =
      transfer_of(order(name, {{"order", kBeginOrder}}, announcement_text(announced)));
  send_missing(name, transfer, file, announced.blocks, options);
  sqlite::StandingCopy done =
      finished_of(order(name, {{"order", kFinishOrder}, {"transfer", transfer.id}}));
  done.bytes = state.bytes;
  done.source = state.source;
  done.taken = state.taken;
  done.findings = std::move(state.findings);
  sqlite::CopyNote& note = notes_[name];
  note.header = done.header;
  note.source = done.source;
  note.taken = done.taken;
  return done;
}

void CopyServer::remove(const std::string& name, const sqlite::CopyOptions&) {
  order(name, {{"order", kRemoveOrder}});
  notes_.erase(name);
}

void CopyServer::report(const CopyReport& report) {
  order("", {{"order", kReportOrder}}, report_text(report));
}

}  // namespace korvane::tools
