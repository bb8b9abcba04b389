// Any bytes, read as a document of a project: faults in UTF-8, or lines that can be read again and
// refer to what the document has. What is not faulty is written again as lines of JSON.

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>

#include "contracts/encoding/json.h"
#include "fuzz/promise.h"
#include "fuzz/utf8.h"
#include "schedule/document_index.h"
#include "schedule/project_document.h"

namespace {

namespace schedule = korvane::schedule;

using korvane::fuzz::promise;
using schedule::DocumentIndex;

/// Reads the lines of a revision, and counts them.
std::size_t read_again(std::string_view text, const DocumentIndex& index,
                       const DocumentIndex::Revision& revision) {
  std::set<std::int32_t> materials;
  for (const auto& material : index.materials) materials.insert(material.id);
  std::size_t count = 0;
  schedule::read_lines(text, index, revision, [&](schedule::Content&& lines) {
    count += lines.size();
    for (const auto& bar : lines.bars) {
      promise(materials.count(*bar.material_id) != 0, "a bar has a material");
      promise(!korvane::encoding::to_json(bar).empty(), "a bar can be written as JSON");
    }
    for (const auto& part : lines.mounting_parts) {
      promise(materials.count(part.material_id) != 0, "a mounting part has a material");
    }
  });
  return count;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const DocumentIndex index = schedule::index_document(text);
  for (const std::string& fault : index.faults) {
    promise(korvane::fuzz::is_utf8(fault), "the text of a fault is UTF-8");
  }
  if (!index.is_rest_usable) {
    promise(!index.faults.empty(), "what cannot be used has a fault");
    return 0;
  }
  std::size_t count = 0;
  for (const DocumentIndex::Sheet& sheet : index.sheets) {
    for (const DocumentIndex::Revision& revision : sheet.revisions) {
      count += read_again(text, index, revision);
    }
  }
  promise(count == index.size, "each line that is counted can be read");
  return 0;
}
