#include "platform/rpc4/failed_item.h"

#include <utility>

namespace krv::rpc4 {

namespace {

thread_local FailedItemListener* listener = nullptr;

}  // namespace

FailedItemListener::FailedItemListener() { listener = this; }

FailedItemListener::~FailedItemListener() { listener = nullptr; }

bool FailedItemListener::is_there() { return listener != nullptr; }

void FailedItemListener::tell(std::optional<FailedItem> item) {
  if (listener != nullptr) listener->item_ = std::move(item);
}

}  // namespace krv::rpc4
