#include "bench/wire/requests.h"

#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::bench::wire {

using namespace model::cad;
using host::Representation;

namespace {

/// As a path ends with it.
constexpr std::array kNames = {"",          "get_sheet",  "list_materials",
                               "add_rebar", "get_rebars", "clear_for_revision"};

template <class T>
std::string body_of(const T& request, Representation form) {
  if (form == Representation::json) return encoding::to_json(request);
  const bond::blob bytes = encoding::encode(request);
  return {bytes.content(), bytes.size()};
}

}  // namespace

Bodies bodies_of(const Rows& rows, Representation form) {
  Bodies bodies;
  bodies[index(Operation::get_sheet)] = body_of(rows.sheet, form);
  bodies[index(Operation::list_materials)] = body_of(ListMaterials(), form);
  bodies[index(Operation::add_rebar)] = body_of(rows.batch, form);
  bodies[index(Operation::get_rebars)] = body_of(rows.full, form);
  bodies[index(Operation::clear)] = body_of(rows.empty, form);
  return bodies;
}

HttpRequests http_requests(const std::string& path, const Bodies& bodies, Representation form) {
  HttpRequests requests;
  const std::string host = " HTTP/1.1\r\nHost: 127.0.0.1\r\n";
  for (std::size_t i = 0; i < kOperations; ++i) {
    const bool is_live = i == index(Operation::live);
    requests[i].body = &bodies[i];
    requests[i].head = is_live ? "GET /healthz/live" + host + "\r\n"
                               : "POST " + path + "/" + kNames[i] + host +
                                     "Content-Type: " + std::string(host::media_type(form)) +
                                     "\r\nContent-Length: " + std::to_string(bodies[i].size()) +
                                     "\r\n\r\n";
  }
  return requests;
}

}  // namespace korvane::bench::wire
