#include "tools/korvane/served_locks.h"

#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "host/http/message.h"
#include "platform/app/lock_probe.h"

namespace korvane::tools {

using host::HttpFault;

std::string ServedLocks::run(const std::string& name, const std::string& order) {
  if (!krv::app::is_lock_probe(name)) {
    throw HttpFault(400, "expected a file " + std::string(krv::app::kLockProbe) + "… with " +
                             std::to_string(krv::app::kLockProbeDigits) + " digits");
  }
  close_idle();
  // Whoever checks has made it: this server makes none.
  if (order == "make") throw HttpFault(400, "files are not made here");
  std::error_code failure;
  if (std::filesystem::symlink_status(name, failure).type() !=
      std::filesystem::file_type::regular) {
    throw HttpFault(404, "the folder of this server has no file " + name);
  }
  const std::shared_ptr<Entry> entry = entry_of(name);
  const std::unique_lock in_use(entry->in_use, std::try_to_lock);
  if (!in_use) throw HttpFault(503, "another order for " + name + " is at work");
  entry->last_use = Clock::now();
  try {
    return entry->probe.run(order);
  } catch (const std::invalid_argument& unknown) {
    throw HttpFault(400, unknown.what());
  }
}

void ServedLocks::close_idle() {
  const std::lock_guard lock(mutex_);
  std::erase_if(entries_, [](const auto& each) {
    const std::unique_lock in_use(each.second->in_use, std::try_to_lock);
    return in_use && Clock::now() - each.second->last_use > kIdle;
  });
}

std::shared_ptr<ServedLocks::Entry> ServedLocks::entry_of(const std::string& name) {
  const std::lock_guard lock(mutex_);
  std::shared_ptr<Entry>& entry = entries_[name];
  if (!entry && entries_.size() > kMost) {
    entries_.erase(name);
    throw HttpFault(503, "the locks of " + std::to_string(kMost) + " files are being tried",
                    {{"Retry-After", "60"}});
  }
  if (!entry) entry = std::make_shared<Entry>(name);
  return entry;
}

}  // namespace korvane::tools
