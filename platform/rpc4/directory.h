#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "platform/rpc4/operation.h"
#include "platform/rpc4/transactional.h"

/// The directory of live services: one for the process, in which a host finds a service by its id.
///
/// Two live services may bear one id for a while; the newest answers, and removing one neither
/// hides nor frees another. The directory owns nothing: whoever finds a service calls it no longer
/// than it lives, which is the host's rule of no call beside `stop`. Every function may be called
/// from every thread.
namespace krv::rpc4 {

/// A service that is being answered for. `service` points to the skeleton that `definition` is of.
struct LiveService {
  std::string id;
  const ServiceDefinition* definition = nullptr;
  void* service = nullptr;
  /// No other service of this process has or had the same: ids and addresses come again.
  std::uint64_t serial = 0;
  /// The same service; null for one that has no transactions to offer.
  Transactional* transactional = nullptr;
};

/// The newest live service of that id.
std::optional<LiveService> find_live_service(std::string_view id);

/// All live services in the order in which they came to life.
std::vector<LiveService> live_services();

/// The newest live service of that id if its skeleton is `Skeleton`, else null.
template <class Skeleton>
Skeleton* find_service(std::string_view id) {
  const std::optional<LiveService> found = find_live_service(id);
  if (!found || found->definition != &Skeleton::definition()) return nullptr;
  return static_cast<Skeleton*>(found->service);
}

namespace detail {
void enter_directory(LiveService service);
void leave_directory(const void* service) noexcept;
}  // namespace detail

/// A service that the directory knows for as long as it is whole: it is entered when the
/// constructor of `Implementation` has finished and removed before its destructor begins, so that
/// no call can reach a half-made one. Construct services as `Live<Implementation>`.
template <class Implementation>
class Live final : public Implementation {
 public:
  template <class... Arguments>
  explicit Live(Arguments&&... arguments) : Implementation(std::forward<Arguments>(arguments)...) {
    detail::enter_directory(
        {this->id(), &Implementation::Skeleton::definition(), skeleton(), 0, transactional()});
  }
  Live(const Live&) = delete;
  Live& operator=(const Live&) = delete;
  ~Live() { detail::leave_directory(skeleton()); }

 private:
  Transactional* transactional() {
    if constexpr (std::is_base_of_v<Transactional, Implementation>) return this;
    return nullptr;
  }
  void* skeleton() { return static_cast<typename Implementation::Skeleton*>(this); }
};

}  // namespace krv::rpc4
