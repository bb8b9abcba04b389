#include "bench/schedule_file.h"

#include <algorithm>
#include <map>
#include <memory>
#include <utility>

#include "sqlite/optimize.h"

namespace korvane::bench {

ScheduleFile& ScheduleFile::of(std::int64_t bars, Indexes indexes) {
  // The folder outlives what lies in it.
  scratch_folder();
  static std::map<std::pair<std::int64_t, Indexes>, std::unique_ptr<ScheduleFile>> files;
  auto& file = files[{bars, indexes}];
  if (!file) {
    file = std::make_unique<ScheduleFile>(bars);
    if (indexes == Indexes::added) sqlite::optimize_file(file->project().filename());
  }
  return *file;
}

ScheduleFile::ScheduleFile(std::int64_t bars) : small_(project_.add_revision()) {
  const RevisionRef others = project_.add_revision();
  const PlainInsert<Rebar> insert;
  const Connection connection(project_.filename());
  const auto add = [&](const RevisionRef& revision, std::int64_t count) {
    Rebar bar = Content<Rebar>::record(project_);
    bar.rev_id = revision.id.value();
    insert.add_copies(connection, bar, static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
  };
  add(small_, kSmall);
  add(large_revision(), kLarge);
  add(others, bars - kSmall - kLarge);
}

}  // namespace korvane::bench
