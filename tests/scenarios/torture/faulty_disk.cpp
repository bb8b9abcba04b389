#include "tests/scenarios/torture/faulty_disk.h"

#include <utility>

namespace korvane::test {

void FaultyDisk::fail(const Fault& fault, int nth, Extent extent) {
  plans_.push_back({fault, nth, extent});
}

bool FaultyDisk::heal() {
  plans_.clear();
  return std::exchange(has_failed_, false);
}

int FaultyDisk::Plan::result(FileOperationKind kind) {
  if (has_begun && extent == Extent::kAll) return fault.error;
  if (left == 0 || kind != fault.kind) return SQLITE_OK;
  if (left > 1) {
    --left;
    return SQLITE_OK;
  }
  has_begun = true;
  if (extent == Extent::kOne) left = 0;
  return fault.error;
}

int FaultyDisk::before(const FileOperation& operation) {
  int result = SQLITE_OK;
  for (Plan& plan : plans_) {
    const int error = plan.result(operation.kind);
    if (result == SQLITE_OK) result = error;
  }
  if (result == SQLITE_OK) return SQLITE_OK;
  has_failed_ = true;
  if (operation.kind == FileOperationKind::kWrite) {
    operation.file->pMethods->xWrite(operation.file, operation.bytes, operation.size / 2,
                                     operation.offset);
  }
  return result;
}

}  // namespace korvane::test
