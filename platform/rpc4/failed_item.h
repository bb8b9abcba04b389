#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace krv::rpc4 {

/// Which record of a request an operation could not store, told beside the exception that ends it.
struct FailedItem {
  /// Of a batch, the item's place, from 0; nothing for a request that is the record itself.
  std::optional<std::size_t> index;
  /// By what people know it; empty where it has none.
  std::string mark;
  /// The field that is at fault, by the name of its column; empty where nobody knows.
  std::string field;
  /// What is wrong with it: "there is no revision 99".
  std::string reason;
};

/// While it lives, services that this thread calls tell it of records that they could not store.
/// Finding out takes statements of its own, so that nobody does unless somebody wants to know. One
/// at a time on a thread.
class FailedItemListener {
 public:
  FailedItemListener();
  FailedItemListener(const FailedItemListener&) = delete;
  FailedItemListener& operator=(const FailedItemListener&) = delete;
  ~FailedItemListener();

  /// Whether the calling thread has one.
  static bool is_there();
  /// Keeps the item in place of an earlier one, or forgets that. For the service, where one is there.
  static void tell(std::optional<FailedItem> item);

  /// What was told last.
  const std::optional<FailedItem>& item() const { return item_; }

 private:
  std::optional<FailedItem> item_;
};

}  // namespace krv::rpc4
