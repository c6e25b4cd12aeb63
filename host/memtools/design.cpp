#include "host/memtools/design.h"

#include <algorithm>
#include <optional>
#include <stdexcept>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ddr/SpeedBins.h"
#include "kdi/device/parts.h"
#include "kdi/planning/Board.h"

namespace memtools {
namespace {

namespace text = kdi::text;
namespace number = kdi::number;

int whole(Options const& options, std::string const& name, int unless, int least, int most) {
  const std::string word = option(options, name);
  if (word.empty()) return unless;
  const auto value = number::whole<int>(word);
  if (!value || *value < least || *value > most)
    refuse(name + " " + text::shown(word) + " is no whole number from " + std::to_string(least) + " to " +
           std::to_string(most));
  return *value;
}

std::size_t choice(Options const& options, std::string const& name, std::vector<std::string> const& words) {
  const std::string word = option(options, name, words.front());
  const auto found = std::find(words.begin(), words.end(), word);
  if (found == words.end()) refuse(name + " " + text::shown(word) + " is none of " + text::joined(words, ", "));
  return static_cast<std::size_t>(found - words.begin());
}

kdi::device::MemoryInterface const& driver_of(kdi::device::Part const& part, std::string const& type) {
  for (kdi::device::MemoryController const& controller : part.speed->memory_controllers)
    for (kdi::device::MemoryInterface const& interface : controller.interfaces)
      if (interface.type == type && !controller.hard) return interface;  // one in silicon has pins of its own
  refuse(part.name + " has no controller made of fabric for " + type);
}

// A component of the middle width, the fastest that the controller can use.
planning::MemoryPart usual_part(planning::MemoryKind const& kind, double fastest) {
  const int width = kind.devices[kind.devices.size() / 2];
  std::optional<planning::MemoryPart> best;
  const auto offer = [&](planning::MemoryPart const& part) {
    if (!best || (part.rate_mbps > best->rate_mbps && part.rate_mbps <= fastest)) best = part;
  };
  for (planning::MemoryPart const& part : kind.reference_parts) offer(part);
  if (!kind.timing.empty())
    for (kdi::ddr::SpeedBin const& bin : kdi::ddr::find_type(kind.timing)->speed_bins()) {
      if (best && (bin.rate_mtps <= best->rate_mbps || static_cast<double>(bin.rate_mtps) > fastest)) continue;
      for (planning::Geometry const& geometry : kind.geometry) {
        if (geometry.width != width) continue;
        const auto part = kind.part(kind.type + "-" + bin.name + "-" +
                                    number::plain(static_cast<double>(geometry.density_mbit) / 1024) + "Gb-x" +
                                    std::to_string(width));
        if (part) offer(*part);
        break;
      }
    }
  return best ? *best : *kind.part(kind.part_names().at(0));
}

void read_memory(Design& design, kdi::device::MemoryInterface const& driver, Options const& options) {
  planning::InterfaceRequest& asked = design.wanted.interface;
  planning::MemoryKind const& kind = *asked.kind;
  const std::string name = option(options, "-memory");
  if (name.empty()) {
    asked.part = usual_part(kind, driver.rate_mbps.max);
  } else {
    const auto part = kind.part(name);
    if (!part) refuse("no memory part of the type " + kind.type + " is called " + text::shown(name));
    asked.part = *part;
  }
  if (asked.part.module.empty() || driver.modules)
    for (const int width : driver.data_widths)
      if (width % asked.part.width == 0) design.wanted.widths.push_back(width);
  int usual = 0;
  for (const int width : design.wanted.widths)
    if (usual == 0 || width <= 64) usual = width;
  asked.width = whole(options, "-width", usual, 1, 1024);
  if (std::find(design.wanted.widths.begin(), design.wanted.widths.end(), asked.width) == design.wanted.widths.end()) {
    std::string there;
    for (const int width : design.wanted.widths) text::append_word(there, std::to_string(width));
    refuse("-width " + std::to_string(asked.width) + ": of such parts the controller has " +
           (there.empty() ? "none" : there));
  }
  asked.ranks = whole(options, "-ranks", asked.part.ranks, 1, std::max(1, kind.ranks_max));
  asked.slots = whole(options, "-slots", 1, 1, 2);
  const bool may_be_masked = asked.part.width > 4 && asked.width % 72 != 0;
  asked.data_mask = choice(options, "-mask",
                           may_be_masked ? std::vector<std::string>{"1", "0"} : std::vector<std::string>{"0", "1"}) ==
                    (may_be_masked ? 0u : 1u);
  using planning::SystemClock;
  constexpr SystemClock kClocks[] = {SystemClock::differential, SystemClock::single_ended, SystemClock::none};
  asked.system_clock = kClocks[choice(options, "-clock", {"differential", "single", "none"})];
}

void read_rate(Design& design, kdi::device::MemoryInterface const& driver, Options const& options) {
  const int slowest = static_cast<int>(driver.rate_mbps.min);
  const int fastest = std::min(static_cast<int>(driver.rate_mbps.max), design.wanted.interface.part.rate_mbps);
  design.wanted.rate_mbps = whole(options, "-rate", fastest, std::min(slowest, fastest), fastest);
  design.wanted.internal_reference = choice(options, "-reference", {"external", "internal"}) == 1;
}

void read_standards(Design& design, kdi::device::MemoryInterface const& driver, Options const& options) {
  const std::string voltage = option(options, "-voltage");
  for (planning::StandardSet set : design.wanted.interface.kind->standards) {
    if (!voltage.empty() && number::whole<double>(set.voltage_v) != number::whole<double>(voltage)) continue;
    std::erase_if(set.bank_kinds, [&](std::string const& kind) {
      return std::find(driver.bank_kinds.begin(), driver.bank_kinds.end(), kind) == driver.bank_kinds.end();
    });
    if (!set.bank_kinds.empty()) design.wanted.standards.push_back(std::move(set));
  }
  if (design.wanted.standards.empty())
    refuse(design.wanted.interface.kind->type + " has no standards of " + text::shown(voltage) +
           " V in the banks of the controller");
}

void read_wishes(Design& design, Options const& options) {
  planning::Layout const& layout = *design.layout;
  const planning::Interface interface = planning::interface_of(design.wanted.interface);
  const auto bank_of = [&](std::string const& word) {
    const auto value = number::whole<int>(word);
    const int bank = value ? layout.bank_of_number(*value) : -1;
    if (bank < 0) refuse("no I/O bank " + text::shown(word) + " in " + design.part->name);
    return bank;
  };
  for (std::string const& word : list_of(options, "-banks"))
    design.wanted.banks.push_back(layout.banks[static_cast<std::size_t>(bank_of(word))].number);
  const std::vector<std::string> lanes = list_of(options, "-lanes");
  if (lanes.size() % 3 != 0) refuse("-lanes: a group, its bank and its lane, and so on");
  for (std::size_t i = 0; i < lanes.size(); i += 3) {
    if (interface.unit(lanes[i]) < 0) refuse("no group " + text::shown(lanes[i]));
    const int lane = layout.lane_of(bank_of(lanes[i + 1]), lanes[i + 2]);
    if (lane < 0) refuse("no lane " + text::shown(lanes[i + 2]) + " in bank " + lanes[i + 1]);
    design.wanted.lane_of_group[lanes[i]] = lane;
  }
  const std::vector<std::string> pads = list_of(options, "-pads");
  if (pads.size() % 2 != 0) refuse("-pads: a signal and its ball, and so on");
  for (std::size_t i = 0; i < pads.size(); i += 2) {
    if (interface.signal(pads[i]) < 0) refuse("no signal " + text::shown(pads[i]));
    const int pad = layout.pad_of_ball(pads[i + 1]);
    if (pad < 0) refuse("no pin " + text::shown(pads[i + 1]) + " in the I/O banks of " + design.part->name);
    design.wanted.pad_of_signal[pads[i]] = pad;
  }
  if (const std::string file = option(options, "-taken"); !file.empty())
    design.wanted.taken = planning::taken_by_rows(layout, planning::read_pin_table(content_of(file), file, {}));
}

}  // namespace

Options options_of(std::span<Tcl_Obj* const> words, std::vector<std::string> const& known) {
  Options options = tcl::pairs_of(words);
  for (auto const& [name, value] : options)
    if (std::find(known.begin(), known.end(), name) == known.end())
      refuse("no option is called " + text::shown(name) + "; there are " + text::joined(known, ", "));
  return options;
}

std::vector<std::string> list_of(Options const& options, std::string const& name) {
  const std::string word = option(options, name);
  const tcl::ObjRef list(tcl::new_text(word));
  const auto elements = tcl::elements_of(list.get());
  if (!elements) refuse(name + " " + text::shown(word) + " is no list");
  std::vector<std::string> all;
  for (Tcl_Obj* const one : *elements) all.push_back(tcl::text_of(one));
  return all;
}

std::string option(Options const& options, std::string const& name, std::string const& unless) {
  const auto found = options.find(name);
  return found == options.end() ? unless : found->second;
}

std::vector<std::string> design_options(std::vector<std::string> others) {
  std::vector<std::string> names = {"-memory",  "-width",     "-ranks", "-slots", "-rate", "-mask", "-clock",
                                    "-voltage", "-reference", "-banks", "-lanes", "-pads", "-taken"};
  names.insert(names.end(), others.begin(), others.end());
  return names;
}

std::string content_of(std::string const& name) {
  const tcl::ObjRef word(tcl::new_text(name));
  return kdi::read_file(tcl::required_native_path(word.get()), std::size_t{1} << 26);
}

Design design_of(std::string const& part, std::string const& type, Options const& options,
                 std::shared_ptr<planning::Layout const> layout) {
  return asked([&] {
    Design design;
    design.part = kdi::device::find_part(part);
    if (design.part == nullptr) refuse(kdi::device::unknown_part(part));
    planning::MemoryKind const* const kind = planning::find_memory(type);
    if (kind == nullptr)
      refuse("no type of memory is called " + text::shown(type) + "; there are " +
             text::joined(planning::memory_types(), " "));
    kdi::device::MemoryInterface const& driver = driver_of(*design.part, type);
    design.layout = layout != nullptr ? std::move(layout)
                                      : std::make_shared<planning::Layout const>(planning::layout_of(*design.part));
    design.wanted.layout = design.layout.get();
    design.wanted.grade = design.part->speed->name;
    design.wanted.interface.kind = kind;
    read_memory(design, driver, options);
    read_rate(design, driver, options);
    read_standards(design, driver, options);
    read_wishes(design, options);
    return design;
  });
}

}  // namespace memtools
