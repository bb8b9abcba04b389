#include "sqlite/extension/views.h"

#include <algorithm>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <string_view>

#include "model/tables/tables.h"
#include "sqlite/extension/change_mark.h"
#include "sqlite/extension/stored_contract.h"

namespace korvane::sqlite::extension {

using namespace model::cad;

namespace {

std::string identifier(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name) {
    quoted += c;
    if (c == '"') quoted += c;
  }
  return quoted + "\"";
}

/// A value of a record whose bytes are the column `raw` of `table`.
std::string value(const std::string& name, const std::string& table) {
  return "korvane_value('" + name + "', " + table + ".raw)";
}

/// The columns of a view.
class Select {
 public:
  Select& add(const std::string& expression, const std::string& name) {
    text_ += (text_.empty() ? "SELECT " : ",\n  ") + expression + " AS " + name;
    return *this;
  }

  /// The columns of a table, but those that are named and `raw`.
  template <class T>
  Select& table(const std::string& alias, std::initializer_list<std::string_view> without,
                const std::string& prefix = "") {
    const auto table = model::tables::table_of<T>();
    for (const auto& column : table.columns()) {
      const bool is_left_out = column.name == "raw" || std::find(without.begin(), without.end(),
                                                                 column.name) != without.end();
      if (is_left_out) continue;
      // The store's own queries give no column that is declared a truth value.
      const bool is_truth_value = column.type.starts_with("BOOLEAN");
      add(alias + "." + column.name + (is_truth_value ? " + 0" : ""), prefix + column.name);
    }
    return *this;
  }

  /// The other values of a record.
  Select& values(const std::string& contract, const std::string& alias) {
    const std::string prefix = contract + ".";
    for (const std::string& name : column_names_of(contract)) {
      add(value(prefix + name, alias), name);
    }
    return *this;
  }

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

/// The views of one project.
class Views {
 public:
  Views(const std::string& schema, const std::string& prefix)
      : schema_(identifier(schema) + "."), prefix_(prefix), changes_(name("unfinished_changes")) {
    add("unfinished_changes", unfinished_changes());
    add("revisions", revisions());
    add("sheets", sheets());
    add("bars", bars());
    add("fabrics", fabrics());
    add("bar_spacers", bar_spacers());
    add("mounting_parts", mounting_parts());
  }

  std::vector<View> take() { return std::move(views_); }

 private:
  std::string name(const std::string& view) const { return identifier(prefix_ + view); }

  void add(const std::string& view, const std::string& select) {
    views_.push_back(
        {prefix_ + view, "CREATE TEMP VIEW IF NOT EXISTS " + name(view) + " AS\n" + select});
  }

  /// The database looks for the bytes of the property, so that other records are not decoded.
  std::string unfinished_changes() const {
    std::string hex;
    for (const char* c = kChangeProperty; *c != '\0'; ++c) {
      constexpr std::string_view kDigits = "0123456789ABCDEF";
      hex += kDigits[static_cast<unsigned char>(*c) >> 4U];
      hex += kDigits[static_cast<unsigned char>(*c) & 0xFU];
    }
    const auto part = [&](const std::string& table, const std::string& columns,
                          const std::string& step) {
      return "SELECT " + step + " AS step, " + columns + "\nFROM " + schema_ + table +
             " x WHERE instr(x.raw, x'" + hex + "') AND " + step + " IS NOT NULL";
    };
    return part("revision",
                "x.id AS stage_rev_id, " + value("Revision.changed_revision", "x") +
                    " AS rev_id, NULL AS sheet_id, NULL AS made_uids",
                value("Revision.change_step", "x")) +
           "\nUNION ALL\n" +
           part("sheet", "NULL, NULL, x.id, " + value("Sheet.made_uids", "x"),
                value("Sheet.change_step", "x"));
  }

  /// The ids of what an unfinished import has made in `table` so far.
  std::string made(const std::string& table) const {
    return "SELECT y.id FROM " + changes_ + " u CROSS JOIN " + schema_ + table +
           " y WHERE instr(u.made_uids, char(10) || y.uid || char(10))";
  }

  /// Of the revision `r`, that it is shown.
  std::string is_shown() const {
    return "r.id NOT IN (SELECT stage_rev_id FROM " + changes_ +
           " WHERE stage_rev_id IS NOT NULL"
           "\n    UNION ALL SELECT rev_id FROM " +
           changes_ + " WHERE step = 'removing'\n    UNION ALL " + made("revision") + ")";
  }

  std::string revisions() const {
    const std::string whole = " FROM " + changes_ + " WHERE step = 'whole'";
    return Select()
               .add("r.id", "id")
               .add("r.uid", "uid")
               .add("r.sheet_id", "sheet_id")
               .add(value("Sheet.name", "s"), "sheet")
               .values("Revision", "r")
               .add("CASE WHEN r.id IN (SELECT rev_id" + whole +
                        ")\n    THEN (SELECT max(stage_rev_id)" + whole +
                        " AND rev_id = r.id) ELSE r.id END",
                    "content_id")
               .text() +
           "\nFROM " + schema_ + "revision r\nLEFT JOIN " + schema_ +
           "sheet s ON s.id = r.sheet_id\nWHERE " + is_shown();
  }

  std::string sheets() const {
    return Select().add("s.id", "id").add("s.uid", "uid").values("Sheet", "s").text() + "\nFROM " +
           schema_ + "sheet s\nWHERE s.id NOT IN (SELECT sheet_id FROM " + changes_ +
           " WHERE sheet_id IS NOT NULL)\n  AND (s.id NOT IN (" + made("sheet") +
           ")\n    OR s.id IN (SELECT sheet_id FROM " + name("revisions") + "))";
  }

  /// The lines `t` of a table, each with the revision `r` whose content it is and its sheet `s`:
  /// that of another revision, if a change of that one was broken off when this was whole.
  std::string lines(const std::string& table, const std::string& joins) const {
    const std::string whole = " FROM " + changes_ + " WHERE step = 'whole'";
    return "\nFROM " + schema_ + table + " t\nJOIN " + schema_ +
           "revision c ON c.id = t.rev_id\nJOIN " + schema_ +
           "revision r ON r.id = CASE WHEN c.id IN (SELECT max(stage_rev_id)" + whole +
           " GROUP BY rev_id)\n    THEN " + value("Revision.changed_revision", "c") +
           " ELSE c.id END\nLEFT JOIN " + schema_ + "sheet s ON s.id = r.sheet_id" + joins +
           "\nWHERE c.id NOT IN (SELECT rev_id" + whole + ")\n  AND " + is_shown();
  }

  std::string join(const std::string& table, const std::string& alias,
                   const std::string& id) const {
    return "\nLEFT JOIN " + schema_ + table + " " + alias + " ON " + alias + ".id = " + id;
  }

  static Select names() {
    return Select()
        .add("t.id", "id")
        .add(value("Sheet.name", "s"), "sheet")
        .add(value("Revision.name", "r"), "revision");
  }

  /// The mark as it stands on the drawing.
  static std::string label(const std::string& submark = "") {
    return "coalesce(t.mark_prefix, '') || t.mark || coalesce(t.mark_suffix, '')" + submark;
  }

  std::string bars() const {
    return names()
               .add(label(" || coalesce('.' || t.submark, '')"), "label")
               .add(value("Material.name", "m"), "steel")
               .add("r.id", "rev_id")
               .add("r.sheet_id", "sheet_id")
               .table<Rebar>("t", {"id", "rev_id"})
               .values("Rebar", "t")
               .text() +
           lines("rebar", join("material", "m", "t.material_id"));
  }

  std::string fabrics() const {
    return names()
               .add(label(), "label")
               .add("f.type", "fabric_type")
               .add(value("Material.name", "m"), "steel")
               .add("r.id", "rev_id")
               .add("r.sheet_id", "sheet_id")
               .table<Fabric>("t", {"id", "rev_id"})
               .values("Fabric", "t")
               .table<FabricType>("f", {"id", "uid", "type", "description"}, "fabric_type_")
               .values("FabricType", "f")
               .text() +
           lines("fabric", join("fabric_type", "f", "t.fabric_type_id") +
                               join("material", "m", "f.material_id"));
  }

  std::string bar_spacers() const {
    return names()
               .add("r.id", "rev_id")
               .add("r.sheet_id", "sheet_id")
               .table<BarSpacer>("t", {"id", "rev_id", "sheet_id"})
               .values("BarSpacer", "t")
               .text() +
           lines("barspacer", "");
  }

  std::string mounting_parts() const {
    return names()
               .add(label(), "label")
               .add(value("Material.name", "m"), "material")
               .add("r.id", "rev_id")
               .add("r.sheet_id", "sheet_id")
               .table<MountingPart>("t", {"id", "rev_id"})
               .values("MountingPart", "t")
               .text() +
           lines("mountingpart", join("material", "m", "t.material_id"));
  }

  std::string schema_;
  std::string prefix_;
  std::string changes_;
  std::vector<View> views_;
};

}  // namespace

std::vector<View> views_of(const std::string& schema, const std::string& prefix) {
  return Views(schema, prefix).take();
}

std::vector<std::string> view_names() {
  std::vector<std::string> names;
  for (const View& view : views_of("main", "")) names.push_back(view.name);
  return names;
}

void make_views(sqlite3* database, const std::vector<View>& views) {
  for (const View& view : views) {
    if (sqlite3_exec(database, view.sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
      throw std::runtime_error("cannot make the view " + view.name + ": " +
                               sqlite3_errmsg(database));
    }
  }
}

}  // namespace korvane::sqlite::extension
