#pragma once

#include <map>
#include <optional>
#include <stdexcept>
#include <string>

#include "sqlite/copy_note.h"
#include "sqlite/standing_copy.h"
#include "tools/korvane/copy_report.h"

namespace korvane::tools {

/// The place of the copies cannot be reached at all: no project can be copied now.
class PlaceIsGone : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Where standing copies of projects are kept, each under its project's name. Whatever there is of a
/// place it throws PlaceIsGone for, beside what is said here. One thread at a time.
class CopyPlace {
 public:
  CopyPlace() = default;
  CopyPlace(const CopyPlace&) = delete;
  CopyPlace& operator=(const CopyPlace&) = delete;
  virtual ~CopyPlace() = default;

  /// Called before each round over all projects.
  virtual void begin_round() = 0;
  /// What is known of the copies that are there, by their names.
  virtual std::map<std::string, sqlite::CopyNote> notes() = 0;
  /// What is known of one.
  virtual std::optional<sqlite::CopyNote> note_of(const std::string& name) = 0;
  /// The copy's header, as far as that can be told without much ado; empty without a copy.
  virtual std::string header_of(const std::string& name) = 0;
  /// Whether there may be a copy.
  virtual bool has(const std::string& name) = 0;
  /// sqlite::update_copy, and throws what it throws.
  virtual sqlite::StandingCopy update(const std::string& project, const std::string& name,
                                      const sqlite::CopyOptions& options) = 0;
  /// sqlite::remove_copy, and throws what it throws.
  virtual void remove(const std::string& name, const sqlite::CopyOptions& options) = 0;
  /// Tells the place, which may have others to tell, how the copies are.
  virtual void report(const CopyReport& report) = 0;
};

}  // namespace korvane::tools
