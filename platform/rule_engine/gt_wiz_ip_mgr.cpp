#include "kdi/rule_engine/gt_wiz_ip_mgr.h"

#include <deque>
#include <mutex>

#include "kdi/common/ComMsgMgr.h"
#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/rule_engine/host/Quad.h"
#include "platform/rule_engine/elf_image.h"
#include "platform/rule_engine/texts.h"

namespace kelvane_gtwiz {
namespace {

using kdi::gt::answered;
using kdi::gt::Design;
using kdi::gt::refuse;

constexpr std::size_t kMostLines = 10'000, kMostInstances = 4096;
constexpr std::size_t kMostOfALine = 500;

struct Store {
  std::mutex mutex;
  std::map<std::string, std::shared_ptr<Design const>> designs;
  std::deque<std::string> log;
};
Store& store() {
  static auto& store = *new Store;  // never destroyed: asked while the process ends
  return store;
}

void log(std::string const& line) {
  Store& all = store();
  const std::lock_guard lock(all.mutex);
  all.log.push_back(kdi::text::shortened(line, kMostOfALine));
  if (all.log.size() > kMostLines) all.log.pop_front();
}

void warn(Design const& design) {
  for (std::string const& warning : design.warnings) {
    log("warning: " + warning);
    ComMsgMgr::sendMsg::eval(1, __FILE__, __LINE__, "gtwiz", ComMsgMgr::MSG_WARNING, "%s", warning.c_str());
  }
}

void log_choices(std::string const& name, Design const& design) {
  log(name + ": " + design.kind->name + " " + design.kind->grade + ", " + std::to_string(design.lanes.size()) +
      " lanes in " + std::to_string(design.packing.quads) + " quads");
  const auto tell = [&](char const* direction, int number, std::vector<kdi::gt::LaneRate> const& rates) {
    for (std::size_t rate = 0; rate < rates.size(); ++rate) {
      kdi::gt::Setting const& setting = rates[rate].setting;
      kdi::gt::Pll const& pll = design.kind->plls[static_cast<std::size_t>(setting.pll)];
      std::string line = std::string(direction) + std::to_string(number) + " at rate " + std::to_string(rate) + ": " +
                         exact_text(rates[rate].real_gbps) + " Gb/s from " + exact_text(rates[rate].reference_mhz) +
                         " MHz by " + pll.name + ", M " + std::to_string(setting.reference_divide) + ", N " +
                         std::to_string(setting.feedback);
      if (setting.numerator != 0)
        line += " + " + std::to_string(setting.numerator) + "/2^" + std::to_string(pll.fraction_bits);
      log(line + ", D " + std::to_string(setting.output_divide));
    }
  };
  for (kdi::gt::Lane const& lane : design.lanes) {
    tell("TX", lane.number, lane.tx);
    tell("RX", lane.number, lane.rx);
  }
}

// What a door does, with its fault in the log.
template <class Ask>
auto logged(char const* operation, std::string const& instance, Ask ask) {
  try {
    return answered(ask);
  } catch (std::string const& fault) {
    log(std::string(operation) + " " + instance + ": " + fault.substr(0, fault.size() - 1));
    throw;
  }
}

std::shared_ptr<Design const> find(std::string const& instance) {
  Store& all = store();
  const std::lock_guard lock(all.mutex);
  const auto found = all.designs.find(instance);
  if (found == all.designs.end()) refuse("there is no instance " + kdi::text::shown(instance));
  return found->second;
}

void keep(std::string const& instance, Design design) {
  auto made = std::make_shared<Design const>(std::move(design));
  warn(*made);
  log_choices("instance " + instance, *made);
  std::shared_ptr<Design const> replaced;  // outlives the lock
  Store& all = store();
  const std::lock_guard lock(all.mutex);
  if (all.designs.size() >= kMostInstances && !all.designs.contains(instance))
    refuse("there are " + std::to_string(kMostInstances) + " instances already");
  replaced = std::exchange(all.designs[instance], made);
}

// A directory is not written to; one that is named has to be there.
void check_directory(std::string const& directory) {
  if (!directory.empty() && !kdi::is_directory(directory)) refuse(kdi::text::shown(directory) + " is no directory");
}

std::size_t rate_index(std::string const& word) {
  if (word.empty()) return 0;
  const auto index = kdi::number::whole<unsigned>(word);
  if (!index) refuse("the rate " + kdi::text::shown(word) + " is no index");
  return *index;
}

Design packed(std::string const& part, std::string const& kind, std::string const& quad, GtSettings const& settings,
              std::string const& directory, std::string const& options, bool keeps) {
  check_directory(directory);
  Design design = kdi::gt::design_of(part, kind, quad, settings, options, false, keeps);
  warn(design);
  return design;
}

std::string hex(std::uint64_t value, std::size_t digits) { return kdi::number::hexadecimal(value, digits); }

ParamMap clocks_of(Design const& design, std::string const& section, std::size_t rate) {
  ParamMap clocks;
  const auto add = [&](char const* direction, int number, std::vector<kdi::gt::LaneRate> const& rates) {
    const std::string name = direction + std::to_string(number);
    if (rates.empty() || (!section.empty() && section != name)) return;
    const auto mhz = kdi::gt::output_clock(*design.kind, design.at(rates, rate));
    if (mhz) clocks[name] = kdi::number::general(kdi::gt::nearest_double(*mhz), 17);
  };
  kdi::gt::require_rate(design, rate);
  for (kdi::gt::Lane const& lane : design.lanes) {
    add("TX", lane.number, lane.tx);
    add("RX", lane.number, lane.rx);
  }
  if (clocks.empty() && !section.empty())
    refuse("the lane " + kdi::text::shown(section) + " is none of " +
           kdi::text::joined(kdi::gt::section_names(design), ", "));
  return clocks;
}

std::size_t table_size(Design const& design) {
  std::size_t entries = 0;
  for (std::size_t rate = 0; rate < design.rates(); ++rate) entries += kdi::gt::table_entries(design, {}, rate).size();
  return entries;
}

// Two entries a word, the first in its low half; an odd one has no entry above it.
std::vector<std::uint64_t> words_of(std::vector<std::uint32_t> const& entries) {
  std::vector<std::uint64_t> words;
  for (std::size_t i = 0; i < entries.size(); i += 2)
    words.push_back(static_cast<std::uint64_t>(i + 1 < entries.size() ? entries[i + 1] : 0xFFFF'0000U) << 32 |
                    entries[i]);
  return words;
}

std::string little_endian(std::vector<std::uint64_t> const& words) {
  std::string bytes;
  for (const std::uint64_t word : words)
    for (int byte = 0; byte < 8; ++byte) bytes += static_cast<char>(word >> (8 * byte) & 0xFF);
  return bytes;
}

}  // namespace

void gt_wiz_ip_mgr::initilizeData(std::string const& instance, std::string const& part, std::string const& kind,
                                  std::string const& quad, std::string const& directory, std::string const& options,
                                  std::string const& tag) {
  initilizeDataWithDict(instance, part, kind, quad, {}, directory, options, tag);
}

void gt_wiz_ip_mgr::initilizeDataWithDict(std::string const& instance, std::string const& part, std::string const& kind,
                                          std::string const& quad, GtSettings const& settings,
                                          std::string const& directory, std::string const& options,
                                          std::string const& tag) {
  logged("initialise", instance, [&] {
    check_directory(directory);
    keep(instance, kdi::gt::design_of(part, kind, quad, settings, options, true, false));
    if (!tag.empty()) log("instance " + instance + ": " + tag);
  });
}

ParamMap gt_wiz_ip_mgr::getAttributes(std::string const& instance, std::string const& section,
                                      std::string const& rate) {
  return logged("attributes of", instance, [&] {
    const auto design = find(instance);
    ParamMap all;
    const bool is_all = section.empty();
    for (std::string const& name : is_all ? kdi::gt::section_names(*design) : std::vector<std::string>{section}) {
      const auto image = kdi::gt::section_image(*design, name, rate_index(rate));
      for (auto const& [attribute, value] : kdi::gt::attributes_in(*image.section, image.registers))
        all[is_all ? name + "." + attribute : attribute] = std::to_string(value);
    }
    return all;
  });
}

ParamMap gt_wiz_ip_mgr::getOutClkFrequencies(std::string const& instance, std::string const& section,
                                             std::string const& rate) {
  return logged("output clocks of", instance, [&] { return clocks_of(*find(instance), section, rate_index(rate)); });
}

ParamMap gt_wiz_ip_mgr::getOutClkFrequencies(std::string const& instance, std::string const& part,
                                             std::string const& kind, std::string const& quad,
                                             GtSettings const& settings, std::string const& directory,
                                             std::string const& options, std::string const&) {
  return logged("output clocks of", instance, [&] {
    const Design design = packed(part, kind, quad, settings, directory, options, false);
    if (!design.packing.is_possible) refuse(design.packing.reason);
    return clocks_of(design, {}, 0);
  });
}

ParamMap gt_wiz_ip_mgr::getMemContent(std::string const& instance, std::string const& section,
                                      std::string const& rate) {
  return logged("memory of", instance, [&] {
    ParamMap content;
    std::size_t address = 0;
    for (const std::uint32_t entry : kdi::gt::table_entries(*find(instance), section, rate_index(rate)))
      content[hex(address++, 4)] = hex(entry, 8);
    return content;
  });
}

ParamMap gt_wiz_ip_mgr::getBramMemContent(std::string const& instance, std::string const& section,
                                          std::string const& rate) {
  return logged("block memory of", instance, [&] {
    ParamMap content;
    std::size_t address = 0;
    for (const std::uint64_t word : words_of(kdi::gt::table_entries(*find(instance), section, rate_index(rate))))
      content[hex(address++, 4)] = hex(word, 16);
    return content;
  });
}

ParamMap gt_wiz_ip_mgr::canBePacked(std::string const& instance, std::string const& part, std::string const& kind,
                                    std::string const& quad, GtSettings const& settings, std::string const& directory,
                                    std::string const& options, std::string const&, bool keep_quads) {
  return logged("packing of", instance, [&] {
    const Design design = packed(part, kind, quad, settings, directory, options, keep_quads);
    ParamMap answer{{"RESULT", design.packing.is_possible ? "true" : "false"}};
    if (!design.packing.is_possible) {
      answer["REASON"] = design.packing.reason;
      log("packing of " + instance + ": " + design.packing.reason);
      return answer;
    }
    log_choices("packing of " + instance, design);
    const auto add = [&](char const* direction, std::size_t lane, std::vector<kdi::gt::LaneRate> const& rates) {
      if (rates.empty()) return;
      kdi::gt::LaneRate const& first = rates.front();
      kdi::gt::Place const& place = design.packing.places[lane];
      answer[direction + std::to_string(design.lanes[lane].number)] =
          std::to_string(design.quad_numbers[static_cast<std::size_t>(place.quad)]) + " " +
          design.kind->plls[static_cast<std::size_t>(first.setting.pll)].name + " " + exact_text(first.reference_mhz) +
          " " + std::to_string(place.channel);
    };
    for (std::size_t lane = 0; lane < design.lanes.size(); ++lane) {
      add("TX", lane, design.lanes[lane].tx);
      add("RX", lane, design.lanes[lane].rx);
    }
    return answer;
  });
}

ParamMap gt_wiz_ip_mgr::getRefClkPorts(std::string const& instance, std::string const& part, std::string const& kind,
                                       std::string const& quad, GtSettings const& settings,
                                       std::string const& directory, std::string const& options, std::string const&,
                                       bool keep_quads) {
  return logged("reference clocks of", instance, [&] {
    ParamMap ports;
    for (auto const& port :
         kdi::gt::reference_ports(packed(part, kind, quad, settings, directory, options, keep_quads)))
      ports[port.name] =
          kdi::gt::exact_text(port.mhz) + " " + (port.pad.empty() ? "-" : port.pad) + " " + std::to_string(port.quad);
    return ports;
  });
}

bool gt_wiz_ip_mgr::isFabricBRAMNeeded(std::string const& instance, std::string const& part, std::string const& kind,
                                       std::string const& quad, GtSettings const& settings,
                                       std::string const& directory, std::string const& options, std::string const&) {
  return logged("rate table of", instance, [&] {
    check_directory(directory);
    const Design design = kdi::gt::design_of(part, kind, quad, settings, options, true, false);
    warn(design);
    const std::size_t entries = table_size(design);
    const bool is_needed = entries > static_cast<std::size_t>(design.kind->fabric_entries);
    log("rate table of " + instance + ": " + std::to_string(entries) + " entries, fabric memory holds " +
        std::to_string(design.kind->fabric_entries));
    return is_needed;
  });
}

int gt_wiz_ip_mgr::getRateTableSize(std::string const& instance, std::string const& part, std::string const& kind,
                                    std::string const& quad, GtSettings const& settings, std::string const& directory,
                                    std::string const& options, std::string const&) {
  return logged("rate table of", instance, [&] {
    check_directory(directory);
    const Design design = kdi::gt::design_of(part, kind, quad, settings, options, true, false);
    warn(design);
    return static_cast<int>(table_size(design));
  });
}

StrVec gt_wiz_ip_mgr::getLogContent() {
  Store& all = store();
  const std::lock_guard lock(all.mutex);
  return {all.log.begin(), all.log.end()};
}

void gt_wiz_ip_mgr::updateELF(std::string const& instance, std::string const& image, std::string const& section,
                              std::string const& content, std::string const& output) {
  logged("image of", instance, [&] {
    std::string bytes;
    if (content.empty()) {
      std::vector<std::uint32_t> entries;
      const auto design = find(instance);
      for (std::size_t rate = 0; rate < design->rates(); ++rate)
        for (const std::uint32_t entry : kdi::gt::table_entries(*design, {}, rate)) entries.push_back(entry);
      bytes = little_endian(words_of(entries));
    } else {
      bytes = kdi::read_file(content);
    }
    kdi::gt::update_elf(image, section, bytes, output.empty() ? image : output);
    log("image " + image + ": " + std::to_string(bytes.size()) + " bytes into " + section);
  });
}

}  // namespace kelvane_gtwiz
