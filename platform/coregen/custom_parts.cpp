#include "platform/coregen/custom_parts.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <set>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/coregen/memory_v1.h"
#include "kdi/ddr/SpeedBins.h"
#include "platform/coregen/instances.h"
#include "platform/coregen/state.h"

namespace kdi::coregen {
namespace {

using planning::Geometry;
using planning::MemoryKind;
using planning::MemoryPart;

constexpr std::size_t kMostParts = 10000;  // of one file
constexpr char const* kNameColumn = "name";

// Attributes that say what a part is; those of types without timing have the first four alone.
constexpr char const* kShape[] = {"rate_mbps", "width",        "address_bits", "module",    "ranks",
                                  "stack",     "density_mbit", "columns",      "bank_bits", "group_bits"};
// Timing of the part's own, in ns, in the place of what its speed bin has.
constexpr char const* kTimings[] = {"tAA_ns", "tRCD_ns", "tRP_ns",  "tRAS_ns", "tRC_ns",
                                    "tWR_ns", "tWTR_ns", "tRTP_ns", "tREFI_ns"};

bool has_timing(MemoryKind const& kind) { return !kind.timing.empty(); }

// The attribute that is meant, in letters of either case.
std::optional<std::string> known_attribute(MemoryKind const& kind, std::string_view given) {
  for (char const* name : kShape)
    if (text::lowered(name) == text::lowered(given)) return name;
  if (has_timing(kind))
    for (char const* name : kTimings)
      if (text::lowered(name) == text::lowered(given)) return name;
  return std::nullopt;
}

struct Limits {
  double min = std::numeric_limits<double>::max();
  double max = 0;

  void include(double value) {
    min = std::min(min, value);
    max = std::max(max, value);
  }
};

// Of a figure, over all speed bins of the standard.
Limits limits_of(MemoryKind const& kind, std::string const& figure) {
  Limits limits;
  ddr::MemoryType const& type = *ddr::find_type(kind.timing);
  for (ddr::SpeedBin const& bin : type.speed_bins())
    if (std::string const* const value = type.figure(bin.name, figure)) limits.include(*number::whole<double>(*value));
  return limits;
}

Limits rates_of(MemoryKind const& kind) {
  Limits limits;
  limits.include(2e6 / kind.period_max_ps);
  for (MemoryPart const& part : kind.reference_parts) limits.include(part.rate_mbps);
  if (has_timing(kind))
    for (ddr::SpeedBin const& bin : ddr::find_type(kind.timing)->speed_bins())
      limits.include(static_cast<double>(bin.rate_mtps));
  return limits;
}

// Reads one part, attribute by attribute.
class PartReader {
 public:
  PartReader(MemoryKind const& kind, int line, std::vector<PartFault>& faults)
      : kind_(kind), line_(line), faults_(faults) {}

  std::optional<CustomPart> read(std::string const& name, ParamMap const& attributes) {
    const std::size_t before = faults_.size();
    take_name(name);
    for (auto const& [given, value] : attributes) {
      const auto known = known_attribute(kind_, given);
      if (!known)
        fault(given, "no attribute of a " + kind_.type);
      else if (!given_.emplace(*known, value).second)
        fault(given, "given twice");
    }
    part_.attributes = given_;
    MemoryPart& part = part_.part;
    part.name = name;
    part.type = kind_.type;
    part.rate_mbps = number("rate_mbps", rates_of(kind_), std::nullopt);
    part.width = one_of("width", kind_.devices, std::nullopt);
    part.ranks = number("ranks", {1, static_cast<double>(kind_.ranks_max)}, 1);
    part.stack = one_of("stack", kind_.stack_heights, 1);
    take_module();
    if (has_timing(kind_)) {
      take_geometry();
      take_timings();
    } else {
      part.address_bits = number("address_bits", {1, 64}, std::nullopt);
      for (char const* name_of : {"density_mbit", "columns", "bank_bits", "group_bits"}) not_of_this_type(name_of);
    }
    if (faults_.size() != before) return std::nullopt;
    if (has_timing(kind_)) take_bin();
    part_.attributes = attributes_of(part, kind_);
    for (char const* timing : kTimings)
      if (const auto value = given_.find(timing); value != given_.end()) part_.attributes[timing] = value->second;
    return std::move(part_);
  }

 private:
  void fault(std::string const& field, std::string const& reason) {
    faults_.push_back({line_, text::shortened(field), reason});
  }

  void take_name(std::string const& name) {
    const bool is_plain = !name.empty() && name.size() <= 100 && std::all_of(name.begin(), name.end(), [](char c) {
      return text::is_letter_or_digit(c) || c == '-' || c == '_' || c == '.';
    });
    if (!is_plain)
      fault(kNameColumn, text::shown(name) + " is no name of letters and digits and - _ .");
    else if (kind_.part(name))
      fault(kNameColumn, text::shown(name) + " is a part that there is");
  }

  std::string const* value_of(char const* attribute) const {
    const auto found = given_.find(attribute);
    return found == given_.end() || found->second.empty() ? nullptr : &found->second;
  }

  int number(char const* attribute, Limits limits, std::optional<int> unless) {
    std::string const* const value = value_of(attribute);
    if (value == nullptr) {
      if (!unless) fault(attribute, "is missing");
      return unless.value_or(0);
    }
    const auto read = number::whole<int>(*value);
    if (!read || *read < limits.min || *read > limits.max) {
      fault(attribute, text::shown(*value) + " is no whole number from " + number::plain(limits.min) + " to " +
                           number::plain(limits.max));
      return 0;
    }
    return *read;
  }

  int one_of(char const* attribute, std::vector<int> const& all, std::optional<int> unless) {
    std::string const* const value = value_of(attribute);
    if (value == nullptr) {
      if (!unless) fault(attribute, "is missing");
      return unless.value_or(0);
    }
    const auto read = number::whole<int>(*value);
    if (read && std::find(all.begin(), all.end(), *read) != all.end()) return *read;
    std::string list;
    for (const int one : all) text::append_word(list, std::to_string(one));
    fault(attribute, text::shown(*value) + " is none of " + list);
    return 0;
  }

  void not_of_this_type(char const* attribute) {
    if (value_of(attribute) != nullptr) fault(attribute, "no attribute of a " + kind_.type);
  }

  void take_module() {
    MemoryPart& part = part_.part;
    if (std::string const* const value = value_of("module")) part.module = *value;
    if (!part.module.empty() &&
        std::find(kind_.modules.begin(), kind_.modules.end(), part.module) == kind_.modules.end())
      fault("module", text::shown(part.module) + " is none of " + text::joined(kind_.modules, " "));
    if (part.module.empty() && part.ranks > 1) fault("ranks", "a part by itself has one");
    if ((part.ranks & (part.ranks - 1)) != 0) fault("ranks", "is no power of two");
  }

  // What the standard has for the density and width, which a part may repeat and not change.
  void take_geometry() {
    MemoryPart& part = part_.part;
    std::set<int> densities;
    Geometry const* found = nullptr;
    part.density_mbit = number("density_mbit", {1, 1 << 20}, std::nullopt);
    for (Geometry const& one : kind_.geometry)
      if (one.density_mbit == part.density_mbit && one.width == part.width) found = &one;
    if (found == nullptr) {
      if (part.density_mbit != 0 && part.width != 0)
        fault("density_mbit", "the standard has no device of " + std::to_string(part.density_mbit) + " Mbit and " +
                                  std::to_string(part.width) + " bits");
      return;
    }
    const std::pair<char const*, int> standard[] = {{"address_bits", found->rows},
                                                    {"columns", found->columns},
                                                    {"bank_bits", found->bank_bits},
                                                    {"group_bits", found->group_bits}};
    for (auto const& [attribute, is] : standard)
      if (std::string const* const value = value_of(attribute); value != nullptr && *value != std::to_string(is))
        fault(attribute, text::shown(*value) + " is not the standard's " + std::to_string(is));
    part.address_bits = found->rows;
    part.columns = found->columns;
    part.bank_bits = found->bank_bits;
    part.group_bits = found->group_bits;
  }

  void take_timings() {
    for (char const* timing : kTimings) {
      std::string const* const value = value_of(timing);
      if (value == nullptr) continue;
      const Limits limits = limits_of(kind_, timing);
      const auto read = number::whole<double>(*value);
      if (!read || !(*read >= limits.min && *read <= limits.max))
        fault(timing, text::shown(*value) + " is no number of ns from " + number::plain(limits.min) + " to " +
                          number::plain(limits.max));
    }
  }

  // The slowest speed bin that is fast enough gives what the part does not say itself.
  void take_bin() {
    for (ddr::SpeedBin const& bin : ddr::find_type(kind_.timing)->speed_bins())
      if (bin.rate_mtps >= part_.part.rate_mbps) {
        part_.part.bin = bin.name;
        return;
      }
  }

  MemoryKind const& kind_;
  int line_;
  std::vector<PartFault>& faults_;
  ParamMap given_;
  CustomPart part_;
};

std::string_view trimmed(std::string_view text) {
  const std::size_t begin = text.find_first_not_of(text::kBlanks);
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find_last_not_of(text::kBlanks) - begin + 1);
}

std::vector<std::string> fields_of(std::string_view line) {
  std::vector<std::string> fields;
  for (const std::string_view field : text::split(line, ',')) fields.emplace_back(trimmed(field));
  return fields;
}

}  // namespace

std::string PartFault::text(std::string const& file) const {
  std::string all = text::shortened_in_the_middle(file) + " " + (line == 0 ? "-" : std::to_string(line)) + " " +
                    (field.empty() ? "-" : field) + " " + reason;
  std::replace(all.begin(), all.end(), ',', ' ');
  return all;
}

ReadParts read_parts(std::string const& file, MemoryKind const& kind) {
  try {
    return parts_of_text(read_file(file), kind);
  } catch (FileError const& fault) {
    ReadParts read;
    read.faults.push_back({0, "", text::shortened_in_the_middle(fault.what())});
    return read;
  }
}

ReadParts parts_of_text(std::string_view content, MemoryKind const& kind) {
  ReadParts read;
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";  // which some programs write in front
  if (content.starts_with(kByteOrderMark)) content.remove_prefix(kByteOrderMark.size());
  std::vector<std::string> heading;
  int number = 0;
  for (const std::string_view line : text::lines(content)) {
    ++number;
    if (trimmed(line).empty()) continue;
    std::vector<std::string> fields = fields_of(line);
    if (heading.empty()) {
      heading = std::move(fields);
      if (std::find(heading.begin(), heading.end(), kNameColumn) == heading.end())
        read.faults.push_back({number, kNameColumn, "the heading has no such column"});
      std::set<std::string> seen;
      for (std::string const& column : heading)
        if (!seen.insert(text::lowered(column)).second)
          read.faults.push_back({number, text::shortened(column), "the heading has it twice"});
        else if (column != kNameColumn && !known_attribute(kind, column))
          read.faults.push_back({number, text::shortened(column), "no attribute of a " + kind.type});
      if (!read.faults.empty()) return read;
      continue;
    }
    if (fields.size() != heading.size()) {
      read.faults.push_back(
          {number, "",
           std::to_string(fields.size()) + " fields where the heading has " + std::to_string(heading.size())});
      continue;
    }
    std::string name;
    ParamMap attributes;
    for (std::size_t i = 0; i < fields.size(); ++i) {
      if (heading[i] == kNameColumn)
        name = fields[i];
      else if (!fields[i].empty())
        attributes[heading[i]] = fields[i];
    }
    auto part = PartReader(kind, number, read.faults).read(name, attributes);
    if (!part) continue;
    if (read.parts.size() == kMostParts) {
      read.faults.push_back({number, "", "more than " + std::to_string(kMostParts) + " parts"});
      return read;
    }
    if (!read.parts.emplace(name, std::move(*part)).second)
      read.faults.push_back({number, kNameColumn, text::shown(name) + " is there twice"});
  }
  if (heading.empty()) read.faults.push_back({0, "", "there is no heading"});
  return read;
}

ReadParts read_part(std::string const& name, ParamMap const& attributes, MemoryKind const& kind) {
  ReadParts read;
  if (auto part = PartReader(kind, 0, read.faults).read(name, attributes)) read.parts.emplace(name, std::move(*part));
  return read;
}

ParamMap attributes_of(MemoryPart const& part, MemoryKind const& kind) {
  ParamMap told{{"rate_mbps", std::to_string(part.rate_mbps)},
                {"width", std::to_string(part.width)},
                {"address_bits", std::to_string(part.address_bits)},
                {"module", part.module},
                {"ranks", std::to_string(part.ranks)},
                {"stack", std::to_string(part.stack)}};
  if (!has_timing(kind)) return told;
  told.insert({{"density_mbit", std::to_string(part.density_mbit)},
               {"columns", std::to_string(part.columns)},
               {"bank_bits", std::to_string(part.bank_bits)},
               {"group_bits", std::to_string(part.group_bits)}});
  ddr::MemoryType const& type = *ddr::find_type(kind.timing);
  for (char const* timing : kTimings)
    if (std::string const* const value = type.figure(part.bin, timing)) told[timing] = *value;
  return told;
}

// --------------------------------------------------------------------------------------------------------------- doors

namespace {

void add(Controller::State& state, MemoryKind const& kind, ReadParts read, std::string const& from) {
  if (!read.faults.empty()) throw read.faults[0].text(from);
  for (auto& [name, part] : read.parts) {
    const auto used = state.options.find(kMemoryPart);
    if (used != state.options.end() && used->second == name) state.pins = nullptr;  // planned for what it was
    state.custom_parts[kind.type].insert_or_assign(name, std::move(part));
  }
}

}  // namespace

void Controller::loadCustomParts(std::string const& file, std::string const& type) {
  state().ask([&](State& self) {
    MemoryKind const& kind = find_kind(type);
    add(self, kind, read_parts(file, kind), file);
  });
}

MigEnabledRange Manager::checkCSVs(OptionMap const& options) {
  std::string const& file = required(options, "-file");
  const ReadParts read = read_parts(file, find_kind(required(options, "-type")));
  MigEnabledRange told{read.faults.empty(), {}};
  for (PartFault const& fault : read.faults) told.range.push_back(fault.text(file));
  return told;
}

}  // namespace kdi::coregen

namespace memory::memory_v1 {

using namespace kdi::coregen;

bool HIPMigInstance::validateCustomParts(std::string const& file) {
  return state().ask([&](State const& self) { return read_parts(file, *self.setup().kind).faults.empty(); });
}

void HIPMigInstance::loadCustomParts(std::string const& name, ParamMap const& attributes) {
  state().ask([&](State& self) {
    kdi::planning::MemoryKind const& kind = *self.setup().kind;
    add(self, kind, read_part(name, attributes, kind), name);
  });
}

OptionMap HIPMigInstance::retrieveCustomParts(std::string const& type, std::string const& name,
                                              std::string const& file) {
  return state().ask([&](State const& self) -> OptionMap {
    kdi::planning::MemoryKind const& kind = find_kind(type);
    if (!file.empty()) {
      ReadParts read = read_parts(file, kind);
      if (!read.faults.empty()) throw read.faults[0].text(file);
      const auto found = read.parts.find(name);
      if (found == read.parts.end()) throw "the file " + file + " has no part " + kdi::text::shown(name);
      return found->second.attributes;
    }
    if (const auto own = self.custom_parts.find(type); own != self.custom_parts.end())
      if (const auto part = own->second.find(name); part != own->second.end()) return part->second.attributes;
    return attributes_of(find_memory_part(kind, self.custom_parts, name), kind);
  });
}

}  // namespace memory::memory_v1
