#pragma once

#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "host/access/project_root.h"
#include "platform/rpc4/directory.h"

namespace korvane::host {

/// The projects that the server has open, by file. Files are named as `ProjectRoot::confine`
/// returns them. Every function may be called from every thread but `open`.
class OpenProjects {
 public:
  /// Called with each file that has been opened and was not open, in the manager's turn: others
  /// wait for it.
  using Opened = std::function<void(const std::string& file)>;

  /// At most `most` are open at a time; `root` must outlive it. `opened` may be null.
  OpenProjects(const ProjectRoot& root, std::size_t most, Opened opened = nullptr)
      : root_(root), most_(most), opened_(std::move(opened)) {}

  std::size_t most() const { return most_; }
  std::size_t size() const;
  bool is_open(const std::string& file) const;
  /// The id of the open project's service.
  std::optional<std::string> service_of(const std::string& file) const;
  /// Whether `number` is the file that was opened by that name.
  bool is_of(const std::string& file, const FileNumber& number) const;
  /// The file of the open project that a service answers for.
  std::optional<std::string> file_of(const std::string& service_id) const;

  /// Has `manager` open the file through `operation`, its opening one, and returns the reply. When
  /// opening a new name fails, an empty file that it leaves is removed, unless another program may
  /// be at work on it. Throws HttpFault 503 when as many projects as may be are open, and what
  /// opening throws. In the manager's turn.
  std::unique_ptr<krv::rpc4::Reply> open(const krv::rpc4::LiveService& manager,
                                         const krv::rpc4::Operation& operation,
                                         const std::string& file, const krv::rpc4::PeerInfo& peer);

  /// They have been closed.
  void forget_all();

 private:
  struct Project {
    std::string service_id;
    /// None where it could not be told.
    std::optional<FileNumber> number;
  };

  const ProjectRoot& root_;
  const std::size_t most_;
  const Opened opened_;
  mutable std::mutex mutex_;
  /// By the file that each was opened for.
  std::map<std::string, Project> projects_;
};

}  // namespace korvane::host
