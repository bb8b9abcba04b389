#include <algorithm>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>

#include "bond/describe.h"
#include "contracts/cad/contracts.describe.h"
#include "contracts/encoding/json.h"
#include "contracts/encoding/record_codec.h"
#include "model/tables/tables.h"
#include "sqlite/extension/change_mark.h"
#include "sqlite/extension/record_values.h"
#include "sqlite/extension/stored_contract.h"

namespace korvane::sqlite::extension {

using namespace model::cad;

namespace {

const std::vector<TextblockRow>* rows_of(const bond::nullable<Textblock>& textblock) {
  return textblock.hasvalue() ? &textblock->items.rows : nullptr;
}

/// One value of the mark that a record bears; NULL without a mark.
template <class T>
auto mark_value(Marked marked, void (*set)(const ChangeMark&, SqlResult&)) {
  return [marked, set](const T& record, SqlResult& result) {
    const std::optional<ChangeMark> mark = mark_in(record.properties, marked);
    mark ? set(*mark, result) : result.set_null();
  };
}

void set_step(const ChangeMark& mark, SqlResult& result) { result.set(mark.step); }
void set_changed(const ChangeMark& mark, SqlResult& result) { result.set(mark.changed_revision); }
void set_made(const ChangeMark& mark, SqlResult& result) { result.set(mark.made_uids); }

}  // namespace

template <>
RecordValues<Material> values_of() {
  return RecordValues<Material>().field("name", &Material::identity, &Material_Identity::name);
}

template <>
RecordValues<Sheet> values_of() {
  return RecordValues<Sheet>()
      .field("name", &Sheet::name)
      .field("comment", &Sheet::comment)
      .json("properties", [](const Sheet& sheet) { return &sheet.properties; })
      .hidden("change_step", mark_value<Sheet>(Marked::sheet, set_step))
      .hidden("made_uids", mark_value<Sheet>(Marked::sheet, set_made));
}

template <>
RecordValues<Revision> values_of() {
  return RecordValues<Revision>()
      .field("name", &Revision::name)
      .json("properties", [](const Revision& revision) { return &revision.properties; })
      .hidden("change_step", mark_value<Revision>(Marked::revision, set_step))
      .hidden("changed_revision", mark_value<Revision>(Marked::revision, set_changed));
}

template <>
RecordValues<BarSpacer> values_of() {
  return RecordValues<BarSpacer>()
      .field("diff_state", &BarSpacer::diff_state)
      .json("properties", [](const BarSpacer& spacer) { return &spacer.properties; });
}

template <>
RecordValues<Rebar> values_of() {
  return RecordValues<Rebar>()
      .json("legs", [](const Rebar& bar) { return &bar.geometry.objects; })
      .json("vertices", [](const Rebar& bar) { return &bar.geometry.polyline; })
      .field("out_of_plane_bend_diameter", &Rebar::out_of_plane_bend_diameter)
      .fields("start_hook_", &Rebar::start_hook)
      .fields("end_hook_", &Rebar::end_hook)
      .fields("start_treatment_", &Rebar::end_treatment_start)
      .fields("end_treatment_", &Rebar::end_treatment_end)
      .field("custom_text", &Rebar::custom_text)
      .field("diff_state", &Rebar::diff_state)
      .json("textblock", [](const Rebar& bar) { return rows_of(bar.textblock); })
      .json("properties", [](const Rebar& bar) { return &bar.properties; });
}

template <>
RecordValues<FabricType> values_of() {
  return RecordValues<FabricType>()
      // The column turns a text that reads as a number into one.
      .field("fabric_type_description", &FabricType::description)
      .fields("list_fabric_", &FabricType::list_fabric);
}

template <>
RecordValues<Fabric> values_of() {
  return RecordValues<Fabric>()
      .field("type_name", &Fabric::type_name)
      .field("multiplier", &Fabric::multiplier)
      .json("legs",
            [](const Fabric& fabric) {
              return fabric.geometry.hasvalue() ? &fabric.geometry->objects : nullptr;
            })
      .json("vertices",
            [](const Fabric& fabric) {
              return fabric.geometry.hasvalue() ? &fabric.geometry->polyline : nullptr;
            })
      .field("diff_state", &Fabric::diff_state)
      .json("textblock", [](const Fabric& fabric) { return rows_of(fabric.textblock); })
      .json("properties", [](const Fabric& fabric) { return &fabric.properties; });
}

template <>
RecordValues<MountingPart> values_of() {
  return RecordValues<MountingPart>().field("diff_state", &MountingPart::diff_state);
}

namespace {

template <class T>
class StoredContractOf : public StoredContract {
 public:
  StoredContractOf() : values_(values_of<T>()) {
    constexpr std::string_view kName = bond::Describe<T>::qualified_name;
    set_name(kName, bond::plain_name(kName));
  }

  std::vector<std::string> value_names() const override {
    std::vector<std::string> names;
    for (const auto& value : values_.all()) names.push_back(value.name);
    return names;
  }

  std::vector<std::string> column_names() const override {
    std::vector<std::string> names;
    for (const auto& value : values_.all()) {
      if (value.is_column) names.push_back(value.name);
    }
    return names;
  }

  std::string json(std::string_view raw) const override {
    T record{};
    decode(raw, record);
    return encoding::to_json(record);
  }

  void value(std::size_t index, std::string_view raw, SqlResult& result) override {
    if (!is_decoded_ || raw != bytes_) {
      is_decoded_ = false;
      bytes_ = raw;
      record_ = T{};
      decode(raw, record_);
      is_decoded_ = true;
    }
    values_.all()[index].read(record_, result);
  }

 private:
  void decode(std::string_view raw, T& record) const {
    const auto refuse = [this](const std::exception& why) {
      throw DamagedRecord("raw is not a " + std::string(name()) + ": " + why.what());
    };
    try {
      encoding::decode_into(raw.data(), static_cast<std::uint32_t>(raw.size()), record);
    } catch (const bond::StreamException& why) {
      refuse(why);
    } catch (const bond::CoreException& why) {
      refuse(why);
    } catch (const std::overflow_error& why) {
      refuse(why);
    }
  }

  RecordValues<T> values_;
  std::string bytes_;
  T record_;
  bool is_decoded_ = false;
};

}  // namespace

std::vector<std::unique_ptr<StoredContract>> stored_contracts() {
  std::vector<std::unique_ptr<StoredContract>> contracts;
  model::tables::for_each_table([&]<class T>(const model::tables::Table<T>& table) {
    const auto& columns = table.columns();
    const bool has_raw = std::any_of(columns.begin(), columns.end(),
                                     [](const auto& column) { return column.name == "raw"; });
    if (has_raw) contracts.push_back(std::make_unique<StoredContractOf<T>>());
  });
  return contracts;
}

std::vector<std::string> column_names_of(std::string_view contract) {
  for (const auto& each : stored_contracts()) {
    if (each->name() == contract) return each->column_names();
  }
  return {};
}

}  // namespace korvane::sqlite::extension
