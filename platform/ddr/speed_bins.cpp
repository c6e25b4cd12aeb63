#include <algorithm>
#include <mutex>
#include <utility>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ddr/SpeedBins.h"
#include "platform/ddr/type_reader.h"

namespace kdi::ddr {
namespace {

constexpr char const* kNeeded[] = {"tAA_ns",      "tRCD_ns",     "tRP_ns",      "tRAS_ns",     "tRC_ns", "tRRD_nCK",
                                   "tRRD_1KB_ns", "tRRD_2KB_ns", "tFAW_1KB_ns", "tFAW_2KB_ns", "tWR_ns", "tWTR_ns",
                                   "tWTR_nCK",    "tRTP_ns",     "tRTP_nCK",    "tREFI_ns"};
constexpr double kLongestNs = 100000;
constexpr std::int64_t kHighestRate = 100000;
constexpr std::int64_t kLargestChip = 1 << 20;

struct Store {
  std::mutex mutex;
  std::map<std::string, std::unique_ptr<MemoryType const>, std::less<>> types;
  bool is_read = false;
};

Store& store() {
  static auto& store = *new Store;  // never destroyed: asked while the process ends
  return store;
}

}  // namespace

// One file; `others` has those that it may be like.
class TypeReader {
 public:
  explicit TypeReader(JsonFile const& file) : root_(file.root()) {}

  std::string name() const { return std::string(root_.member("type").text()); }
  std::string like() const {
    const auto like = root_.find("like");
    return std::string(like ? like->text() : "");
  }

  std::unique_ptr<MemoryType const> read(std::string const& stem, MemoryType const* base) const {
    root_.allow_only({"format", "type", "source", "like", "densities_mbit", "figures", "latencies", "speed_bins"});
    root_.member("format").integer(1, 1);
    if (name() != stem) root_.member("type").refuse("the name of the file, " + text::quoted(stem));
    auto type = std::make_unique<MemoryType>(name(), std::string(root_.member("source").text()));
    if (type->source_.empty()) root_.member("source").refuse("the standard that the figures are from");
    if (base != nullptr) {
      type->figures_ = base->figures_;
      type->bins_ = base->bins_;
      type->densities_ = base->densities_;
      type->latencies_ = base->latencies_;
    }
    const auto given = [&](char const* field) {
      const auto value = root_.find(field);
      if (!value && base == nullptr) root_.member(field);  // says that it is missing
      return value;
    };
    if (const auto value = given("figures"))
      for (auto& [figure, number] : figures(*value)) type->figures_.insert_or_assign(figure, std::move(number));
    if (const auto value = given("densities_mbit")) add_densities(*value, *type);
    if (const auto value = given("latencies")) add_latencies(*value, *type);
    if (const auto value = given("speed_bins")) add_bins(*value, *type);
    check(*type);
    return type;
  }

 private:
  static std::string number(JsonValue value) {
    const auto read = number::whole<double>(value.text());
    if (!read || !(*read >= 0 && *read <= kLongestNs)) value.refuse("a number from 0 to 100000 as a text");
    return std::string(value.text());
  }

  static Figures figures(JsonValue value) {
    Figures all;
    for (const JsonValue figure : value.members()) {
      const std::string name(figure.name());
      if (!name.ends_with("_ns") && !name.ends_with("_nCK"))
        figure.refuse("a name that ends in _ns or _nCK, which says what the figure counts");
      all.emplace(name, number(figure));
      if (name.ends_with("_nCK") && all.at(name).find_first_not_of("0123456789") != std::string::npos)
        figure.refuse("a whole number of periods");
    }
    return all;
  }

  static void add_densities(JsonValue list, MemoryType& type) {
    type.densities_.clear();
    for (const JsonValue one : list.items()) {
      const std::int64_t density = one.integer(1, kLargestChip);
      if (!type.densities_.empty() && density <= type.densities_.back()) one.refuse("an ascending list");
      type.densities_.push_back(density);
    }
    if (type.densities_.empty()) list.refuse("a density at least");
  }

  static void add_latencies(JsonValue list, MemoryType& type) {
    type.latencies_.clear();
    for (const JsonValue one : list.items()) {
      one.allow_only({"up_to_mhz", "figures"});
      Latency latency{number::whole<double>(number(one.member("up_to_mhz"))).value(), figures(one.member("figures"))};
      if (!type.latencies_.empty() && latency.up_to_mhz <= type.latencies_.back().up_to_mhz)
        one.member("up_to_mhz").refuse("an ascending list");
      for (char const* const name : {"RL_nCK", "WL_nCK"})
        if (!latency.figures.contains(name)) one.member("figures").refuse(std::string("the figure ") + name);
      type.latencies_.push_back(std::move(latency));
    }
  }

  static void add_bins(JsonValue list, MemoryType& type) {
    type.bins_.clear();
    for (const JsonValue one : list.items()) {
      one.allow_only({"name", "rate_mtps", "figures"});
      SpeedBin bin{std::string(one.member("name").text()), one.member("rate_mtps").integer(1, kHighestRate),
                   figures(one.member("figures"))};
      bin.figures.emplace("rate_mtps", std::to_string(bin.rate_mtps));
      for (SpeedBin const& other : type.bins_)
        if (other.name == bin.name) one.member("name").refuse("a name that no other bin has");
      if (!type.bins_.empty() && bin.rate_mtps < type.bins_.back().rate_mtps)
        one.member("rate_mtps").refuse("an ascending list");
      type.bins_.push_back(std::move(bin));
    }
    if (type.bins_.empty()) list.refuse("a speed bin at least");
  }

  // Each bin has all that is needed, and a latency at its clock.
  void check(MemoryType const& type) const {
    for (SpeedBin const& bin : type.bins_) {
      std::vector<std::string> needed(std::begin(kNeeded), std::end(kNeeded));
      for (const std::int64_t density : type.densities_) needed.push_back("tRFC_" + std::to_string(density) + "_ns");
      for (std::string const& name : needed)
        if (type.figure(bin.name, name) == nullptr) root_.refuse("the figure " + name + " of the bin " + bin.name);
      if (type.figure(bin.name, "RL_over_WL_nCK") == nullptr &&
          type.figure_at(static_cast<double>(bin.rate_mtps) / 2, "WL_nCK") == nullptr)
        root_.refuse("latencies up to the clock of the bin " + bin.name);
    }
  }

  JsonValue root_;
};

std::unique_ptr<MemoryType const> read_type(JsonFile const& file, std::string const& stem, MemoryType const* base) {
  return TypeReader(file).read(stem, base);
}

std::string const* MemoryType::figure(std::string_view bin, std::string_view name) const {
  const auto place = std::find_if(bins_.begin(), bins_.end(), [&](SpeedBin const& one) { return one.name == bin; });
  if (place == bins_.end()) return nullptr;
  if (const auto own = place->figures.find(name); own != place->figures.end()) return &own->second;
  const auto common = figures_.find(name);
  return common == figures_.end() ? nullptr : &common->second;
}

std::string const* MemoryType::figure_at(double clock_mhz, std::string_view name) const {
  for (Latency const& latency : latencies_) {
    if (clock_mhz > latency.up_to_mhz) continue;
    const auto place = latency.figures.find(name);
    return place == latency.figures.end() ? nullptr : &place->second;
  }
  return nullptr;
}

namespace {

// All types, read when one is first asked for; those that are like others after these.
void read_all(Store& all) {
  if (all.is_read) return;
  std::map<std::string, std::unique_ptr<MemoryType const>, std::less<>> types;
  std::vector<std::pair<std::string, JsonFile>> later;
  for (std::string const& directory : data_directories("ddr"))
    for (std::string const& name : list_directory(directory, ".json")) {
      const std::string stem = name.substr(0, name.size() - 5);
      JsonFile file(directory + "/" + name);
      if (types.contains(stem)) continue;  // the first root that has it counts
      if (TypeReader(file).like().empty())
        types.emplace(stem, read_type(file, stem, nullptr));
      else
        later.emplace_back(stem, std::move(file));
    }
  for (auto const& [stem, file] : later) {
    const auto base = types.find(TypeReader(file).like());
    if (base == types.end()) file.root().member("like").refuse("a type that is told in full");
    types.emplace(stem, read_type(file, stem, base->second.get()));
  }
  all.types = std::move(types);
  all.is_read = true;
}

}  // namespace

std::vector<std::string> type_names() {
  const std::lock_guard lock(store().mutex);
  read_all(store());
  std::vector<std::string> names;
  for (auto const& [name, type] : store().types) names.push_back(name);
  return names;
}

MemoryType const* find_type(std::string_view name) {
  const std::lock_guard lock(store().mutex);
  read_all(store());
  const auto place = store().types.find(name);
  return place == store().types.end() ? nullptr : place->second.get();
}

}  // namespace kdi::ddr
