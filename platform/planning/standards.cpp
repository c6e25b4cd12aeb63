#include "kdi/planning/Standards.h"

#include <memory>
#include <mutex>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "platform/planning/data.h"

namespace kdi::planning {
namespace {

constexpr std::int64_t kHighestRate = 1000000;

IoStandard read_standard(JsonValue value) {
  value.allow_only({"name", "vcco_v", "vref_v", "differential", "controlled", "directions", "output_impedance",
                    "termination", "rate_mbps"});
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
  for (const JsonValue rate : value.member("rate_mbps").members())
    standard.rate_mbps.emplace(rate.name(), static_cast<int>(rate.integer(1, kHighestRate)));
  return standard;
}

using Standards = std::map<std::string, IoStandard, std::less<>>;

Standards const& standards() {
  static std::mutex mutex;
  static Standards const* all = nullptr;  // never destroyed: lent as plain pointers
  const std::lock_guard lock(mutex);
  if (all != nullptr) return *all;
  auto read = std::make_unique<Standards>();
  for (std::string const& directory : data_directories("io"))
    for (std::string const& name : list_directory(directory, ".json")) {
      read_standards(JsonFile(directory + "/" + name), *read);
    }
  all = read.release();
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

IoStandard const* find_standard(std::string_view name) {
  const auto at = standards().find(name);
  return at == standards().end() ? nullptr : &at->second;
}

std::vector<std::string> standard_names() {
  std::vector<std::string> names;
  for (auto const& [name, standard] : standards()) names.push_back(name);
  return names;
}

}  // namespace kdi::planning
