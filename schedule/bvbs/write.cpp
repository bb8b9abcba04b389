#include "schedule/bvbs/write.h"

#include <optional>
#include <utility>

#include "schedule/bvbs/draft.h"
#include "schedule/bvbs/source.h"
#include "schedule/bvbs/spelling.h"

namespace korvane::schedule::bvbs {

namespace {

using model::cad::BarSpacer;
using model::cad::Fabric;
using model::cad::Rebar;

using Remarks = std::vector<std::string>;

/// What `line`, which was just written, says to a reader or leaves out.
Remarks remarks_on(const std::string& line, const Rebar& bar) {
  Remarks remarks;
  if (bar.mark_prefix || bar.mark_suffix) {
    remarks.emplace_back("the prefix and suffix of its mark are left out");
  }
  if (bar.start_hook || bar.end_hook) {
    remarks.emplace_back("its hooks are left out, but for the legs that they make");
  }
  if (read_bar(parse_record(line, 0)).weight_was_total) {
    remarks.emplace_back(
        "the weight of one piece is nearer to what its diameter gives for all pieces, and may be "
        "taken as theirs");
  }
  return remarks;
}

Remarks remarks_on(const std::string& /*line*/, const Fabric& fabric) {
  Remarks remarks;
  if (fabric.mark_prefix || fabric.mark_suffix) {
    remarks.emplace_back("the prefix and suffix of its mark are left out");
  }
  if (fabric.geometry && !fabric.geometry->objects.empty() &&
      fabric.properties.count("bent_bars") == 0) {
    remarks.emplace_back("which of its bars are bent is not known");
  }
  return remarks;
}

Remarks remarks_on(const std::string& /*line*/, const BarSpacer& /*spacer*/) { return {}; }

template <class T>
WrittenLine write(const T& item, const Drawing& drawing) {
  const auto named = [&](const std::string& text) {
    return (item.mark.empty() ? "a line without a mark: " : "mark " + item.mark + ": ") + text;
  };
  WrittenLine written;
  try {
    const Draft draft = draft_of(item, drawing);
    std::optional<Source> source = read_source(item, kSourceProperty);
    if (!source) source = read_source(item, kRestProperty);
    if (source && states(*source, draft)) {
      written.line = std::move(source->line);
      return written;
    }
    written.line = spell(draft, source ? &*source : nullptr);
    for (const std::string& remark : remarks_on(written.line, item)) {
      written.remarks.push_back(named(remark));
    }
  } catch (const CannotSay& reason) {
    written.refusal = named(reason.what());
  }
  return written;
}

}  // namespace

WrittenLine write_bar(const Rebar& bar, const Drawing& drawing) { return write(bar, drawing); }

WrittenLine write_fabric(const Fabric& fabric, const Drawing& drawing) {
  return write(fabric, drawing);
}

WrittenLine write_bar_spacer(const BarSpacer& spacer, const Drawing& drawing) {
  return write(spacer, drawing);
}

}  // namespace korvane::schedule::bvbs
