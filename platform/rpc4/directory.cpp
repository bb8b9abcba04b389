#include "platform/rpc4/directory.h"

#include <algorithm>
#include <cstdint>
#include <mutex>

namespace krv::rpc4 {

namespace {

struct Directory {
  std::mutex mutex;
  std::vector<LiveService> services;
  std::uint64_t last_serial = 0;
};

Directory& directory() {
  // Never destroyed: a service that outlives main's statics still leaves it.
  static auto* const instance = new Directory;
  return *instance;
}

}  // namespace

std::optional<LiveService> find_live_service(std::string_view id) {
  Directory& all = directory();
  const std::lock_guard lock(all.mutex);
  const auto newest = std::find_if(all.services.rbegin(), all.services.rend(),
                                   [&](const LiveService& live) { return live.id == id; });
  if (newest == all.services.rend()) return std::nullopt;
  return *newest;
}

std::vector<LiveService> live_services() {
  Directory& all = directory();
  const std::lock_guard lock(all.mutex);
  return all.services;
}

void detail::enter_directory(LiveService service) {
  Directory& all = directory();
  const std::lock_guard lock(all.mutex);
  service.serial = ++all.last_serial;
  all.services.push_back(std::move(service));
}

void detail::leave_directory(const void* service) noexcept {
  Directory& all = directory();
  const std::lock_guard lock(all.mutex);
  std::erase_if(all.services, [&](const LiveService& live) { return live.service == service; });
}

}  // namespace krv::rpc4
