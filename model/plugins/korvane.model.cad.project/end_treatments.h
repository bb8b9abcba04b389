#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include <Poco/Data/Session.h>

#include "contracts/cad/end_treatment.h"

struct sqlite3;
struct sqlite3_stmt;

namespace korvane::model::cad {

/// The shared table `end_treatment`, for the time of one batch. Two treatments are one row exactly
/// when their `type`, `type_description`, `manufacturer`, `model`, `diameter` and `comment` are
/// equal by SQL `=`, across the whole project; other fields take no part.
///
/// Its three statements are parsed at most once, when first needed, and re-executed for each bar
/// end. They run on the session's own connection, inside its transaction.
class EndTreatments {
 public:
  explicit EndTreatments(Poco::Data::Session& session) : session_(session) {}
  EndTreatments(const EndTreatments&) = delete;
  EndTreatments& operator=(const EndTreatments&) = delete;

  /// The id of the row of `treatment`, which is inserted if there is none. Throws the data layer's
  /// exceptions; Poco::Data::ExtractException "value already extracted" if several rows match.
  std::int32_t find_or_insert(const EndTreatment& treatment);

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;

  void prepare();
  Statement prepare(const std::string& sql);
  void bind_six_values(sqlite3_stmt* statement, const EndTreatment& treatment);
  /// Steps `statement` to its end; true if it gave a row, whose first column is then in `value`.
  bool run(sqlite3_stmt* statement, std::int32_t& value);

  Poco::Data::Session& session_;
  sqlite3* connection_ = nullptr;
  Statement insert_;
  Statement max_;
  Statement find_;
};

}  // namespace korvane::model::cad
