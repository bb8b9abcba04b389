#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "clients/cpp/connection.h"
#include "contracts/common/variant.h"
#include "platform/project_rpc/project_service.h"

namespace korvane::client {

// The operations below name the contracts without their namespace.
using namespace model::cad;

/// A project on a server, found by its file's name, so that it outlives a restart of the server.
///
///     RemoteProject project("http://127.0.0.1:8420", "tower.db", {.token = token},
///                           RemoteProject::IfMissing::fail);
///     Batch<Sheet> sheets;
///     project.list_sheets({}, sheets);
///
/// Every operation of Project_Service is one POST over a connection that is kept open, in the form
/// that the options say. It returns when the reply has come. What is sent again, and when, the
/// options say as well; after a failure to reach the server an operation that writes may or may not
/// have been done.
///
/// The constructor and every operation throw what Connection::send throws, ServerError for what the
/// server refuses, and what decoding throws for a reply that is not a record of its contract. `reply`
/// is then unchanged, and the object can be used further.
///
/// Owns its connection. Used by one thread at a time; different objects by different threads.
class RemoteProject final : public Project_Service {
 public:
  /// What becomes of a file that is missing on the server.
  enum class IfMissing {
    fail,  ///< nothing: the operations fail with "404 no project <filename>"
    make,  ///< it is made by the constructor
  };

  /// The project in `filename`, a path in the folder of the server at `url` (see Connection).
  /// `id()` is `filename`. Sends a request only with `IfMissing::make`.
  RemoteProject(const std::string& url, const std::string& filename, Options options,
                IfMissing if_missing);
  /// One that sends nothing twice.
  RemoteProject(const std::string& url, const std::string& token, const std::string& filename,
                IfMissing if_missing);
  ~RemoteProject();

  KORVANE_PROJECT_OPERATIONS(KORVANE_OVERRIDE_OPERATION)

  /// Has the server store the schedule in the file `path`: BVBS records, or a project in JSON. All of
  /// it or, where the options let it be sent once only, what of it was done before a limit stopped
  /// it. `parameters` are those of the server's route ("sheet", "replace", "dry_run"). Returns what
  /// was stored, as JSON.
  std::string import_file(const std::string& path,
                          const std::map<std::string, std::string>& parameters = {});
  /// Hands the schedule over in pieces: `format` is "bvbs", "csv", "xlsx", "json" or "ndjson".
  void export_as(const std::string& format, const BodySink& sink,
                 const std::map<std::string, std::string>& parameters = {});

  /// The lines of one kind ("bars", "fabrics", "bar_spacers", "mounting_parts") of a revision, page
  /// by page: however many there are, some thousand are held at a time. `take(line)` gets each line's
  /// fields by their names; an empty Variant is no value. `fields` are the columns, separated by
  /// commas; empty for all. A line that the server cannot read ends it, after the others of its
  /// page, with std::runtime_error "the record of the bar with the id 5 (table rebar) is damaged:
  /// <reason>"; the server's route `lines` has those after it. Throws std::runtime_error "the reply
  /// is not a page of lines: <reason>" for a reply of another kind.
  using Line = std::map<std::string, Variant>;
  void for_each_line(const std::string& kind, std::int32_t revision_id, const std::string& fields,
                     const std::function<void(const Line& line)>& take);

 private:
  template <class Reply, class RequestRecord>
  Reply call(const std::string& path, const RequestRecord& request, Repeating repeating);
  std::string route(const std::string& name,
                    const std::map<std::string, std::string>& parameters) const;

  Connection connection_;
};

}  // namespace korvane::client
