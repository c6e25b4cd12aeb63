#include "kdi/planning/Standards.h"

#include <algorithm>
#include <memory>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "platform/planning/data.h"

namespace kdi::planning {
namespace {

constexpr std::int64_t kHighestRate = 1000000;

// One number for all speed grades, or one for each that differs.
void read_rate(JsonValue value, IoStandard& standard) {
  if (value.is_number()) {
    standard.rate_mbps.emplace(value.name(), static_cast<int>(value.integer(1, kHighestRate)));
    return;
  }
  int highest = 0;
  RatesByGrade& rates = standard.grade_rates[std::string(value.name())];
  for (const JsonValue rate : value.members()) {
    rates.emplace(rate.name(), static_cast<int>(rate.integer(1, kHighestRate)));
    highest = std::max(highest, rates.at(std::string(rate.name())));
  }
  if (rates.empty()) value.refuse("a rate for a speed grade at least");
  standard.rate_mbps.emplace(value.name(), highest);
}

IoStandard read_standard(JsonValue value) {
  value.allow_only({"name", "vcco_v", "vref_v", "differential", "controlled", "directions", "output_impedance",
                    "termination", "dc_bias", "rate_mbps"});
  IoStandard standard;
  standard.name = value.member("name").text();
  if (standard.name.empty()) value.member("name").refuse("a name");
  standard.vcco_v = data::volts(value.member("vcco_v"));
  if (const auto vref = value.find("vref_v")) standard.vref_v = data::volts(*vref);
  standard.differential = data::flag(value, "differential");
  standard.controlled = data::flag(value, "controlled");
  standard.directions = data::texts(value, "directions");
  if (standard.directions.empty()) standard.directions = {"in", "out", "inout"};
  standard.output_impedance = data::texts(value, "output_impedance");
  standard.termination = data::texts(value, "termination");
  standard.dc_bias = data::texts(value, "dc_bias");
  if (!standard.dc_bias.empty() && !standard.differential)
    value.member("dc_bias").refuse("none, but of a differential standard");
  for (const JsonValue rate : value.member("rate_mbps").members()) read_rate(rate, standard);
  return standard;
}

using Standards = std::map<std::string, IoStandard, std::less<>>;

Standards const& standards() {
  // Never destroyed: lent as plain pointers.
  static Standards const* const all = [] {
    auto read = std::make_unique<Standards>();
    for (std::string const& directory : data_directories("io"))
      for (std::string const& name : list_directory(directory, ".json")) {
        read_standards(JsonFile(directory + "/" + name), *read);
      }
    return read.release();
  }();
  return *all;
}

}  // namespace

void read_standards(JsonFile const& file, std::map<std::string, IoStandard, std::less<>>& all) {
  file.root().allow_only({"format", "source", "standards"});
  file.root().member("format").integer(1, 1);
  for (const JsonValue value : file.root().member("standards").items()) {
    IoStandard standard = read_standard(value);
    const std::string key = standard.name;
    all.emplace(key, std::move(standard));  // the first root that has it counts
  }
}

std::optional<int> IoStandard::rate(std::string_view bank_kind, std::string_view grade) const {
  const auto highest = rate_mbps.find(bank_kind);
  if (highest == rate_mbps.end()) return std::nullopt;
  const auto by_grade = grade_rates.find(bank_kind);
  if (grade.empty() || by_grade == grade_rates.end()) return highest->second;
  if (const auto at = by_grade->second.find(grade); at != by_grade->second.end()) return at->second;
  int slowest = highest->second;
  for (auto const& [named, rate_there] : by_grade->second) slowest = std::min(slowest, rate_there);
  return slowest;
}

IoStandard const* find_standard(std::string_view name) {
  Standards const& all = standards();
  const auto at = all.find(name);
  return at == all.end() ? nullptr : &at->second;
}

std::vector<std::string> standard_names() {
  std::vector<std::string> names;
  for (auto const& [name, standard] : standards()) names.push_back(name);
  return names;
}

}  // namespace kdi::planning
