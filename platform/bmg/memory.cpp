#include "platform/bmg/memory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <span>
#include <string>

#include "kdi/bmg/host/tiling.h"
#include "kdi/common/KdiNamedWords.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/device/parts.h"

namespace bmg {
namespace {

struct TypeRow {
  std::string_view name;
  PortUse ports;
  bool is_written;
};
constexpr TypeRow kTypes[] = {{"single_port_ram", PortUse::single, true},
                              {"simple_dual_port_ram", PortUse::simple, true},
                              {"true_dual_port_ram", PortUse::dual, true},
                              {"single_port_rom", PortUse::single, false},
                              {"dual_port_rom", PortUse::dual, false}};
constexpr std::string_view kAlgorithms[] = {"minimum_area", "low_power", "fixed_primitive"};
constexpr std::string_view kProtections[] = {"none", "builtin", "soft"};
constexpr std::string_view kByteWidths[] = {"0", "8", "9"};

constexpr int kDefaultClockMhz = 100;
constexpr int kLane = 9;  // bits of a primitive's word that share a write enable, parity included

// The words of a description, in the order in which a fault lists them.
constexpr std::string_view kType = "type", kWidthA = "width_a", kDepthA = "depth_a", kWidthB = "width_b",
                           kDepthB = "depth_b", kAlgorithm = "algorithm", kPrimitives = "primitives", kShape = "shape",
                           kEcc = "ecc", kByteWidth = "byte_width", kClockMhz = "clock_mhz", kPart = "part";
constexpr std::string_view kWords[] = {kType,       kWidthA, kDepthA, kWidthB,    kDepthB,   kAlgorithm,
                                       kPrimitives, kShape,  kEcc,    kByteWidth, kClockMhz, kPart};

using kdi::number::whole_or_nearest;

struct Refusals {
  [[noreturn]] static void refuse(kdi::WordFault fault, std::string const& text) {
    using Reason = kdi::WordFault;
    switch (fault) {
      case Reason::unknown:
        throw Fault(Code::unknown_word, text);
      case Reason::repeated:
        throw Fault(Code::repeated_word, text);
      case Reason::unpaired:
        throw Fault(Code::unpaired_word, text);
      case Reason::missing:
        throw Fault(Code::missing_word, text);
      case Reason::out_of_range:
        throw Fault(Code::out_of_range, text);
      case Reason::bad_value:
        break;
    }
    throw Fault(Code::bad_value, text);
  }
};
using Description = kdi::NamedWords<Refusals>;

// What is wrong with a word beside its form.
[[noreturn]] void refuse(Code reason, std::string_view name, std::string const& what) {
  throw Fault(reason, Description::about(name, what));
}

TypeRow const& read_type(Description const& words) {
  std::array<std::string_view, std::size(kTypes)> names;
  std::transform(std::begin(kTypes), std::end(kTypes), names.begin(), [](TypeRow const& row) { return row.name; });
  words.text(kType);  // has no default
  return kTypes[words.choice(kType, names)];
}

struct Port {
  int width, depth;
};

std::string shown(Port const& one) { return std::to_string(one.depth) + " x " + std::to_string(one.width); }

// The narrow port, and how many of its words make one of the other's.
std::pair<Port, int> read_ports(Description const& words, TypeRow const& type, Version const& version) {
  const Port a{words.integer(kWidthA, 1, version.max_width), words.integer(kDepthA, 1, version.max_depth)};
  if (!words.has(kWidthB) && !words.has(kDepthB)) return {a, 1};
  if (type.ports == PortUse::single)
    refuse(Code::does_not_apply, words.has(kWidthB) ? kWidthB : kDepthB,
           "a memory of type " + std::string(type.name) + " has no second port");
  const Port b{words.integer(kWidthB, 1, version.max_width), words.integer(kDepthB, 1, version.max_depth)};
  if (std::int64_t{a.width} * a.depth != std::int64_t{b.width} * b.depth)
    throw Fault(Code::ports_disagree,
                "port a of " + shown(a) + " and port b of " + shown(b) + " do not have the same number of bits");
  auto const& [narrow, wide] = a.width <= b.width ? std::pair(a, b) : std::pair(b, a);
  const int ratio = wide.width / narrow.width;
  if (wide.width % narrow.width != 0 || !std::has_single_bit(static_cast<unsigned>(ratio)) ||
      ratio > version.max_port_ratio)
    throw Fault(Code::ports_disagree, "widths of " + std::to_string(a.width) + " and " + std::to_string(b.width) +
                                          " bits are not in a ratio of 1, 2, 4 and so on to " +
                                          std::to_string(version.max_port_ratio));
  return {narrow, ratio};
}

void read_primitives(Description const& words, Geometry const& known, Memory& memory) {
  memory.allowed.assign(known.primitives.size(), !words.has(kPrimitives));
  if (!words.has(kPrimitives)) return;
  for (const std::string_view item : kdi::text::split(words.text(kPrimitives), ',')) {
    bool is_known = false;
    for (std::size_t i = 0; i < known.primitives.size(); ++i)
      if (item == std::to_string(known.primitives[i].kilobits)) is_known = memory.allowed[i] = true;
    if (!is_known)
      refuse(Code::bad_value, kPrimitives,
             kdi::text::shown(words.text(kPrimitives)) + " is no list of sizes of primitives, such as 18 or 18,36");
  }
}

void read_shape(Description const& words, Geometry const& known, Memory& memory) {
  if (memory.method != Algorithm::fixed_primitive) {
    if (words.has(kShape)) refuse(Code::does_not_apply, kShape, "only the algorithm fixed_primitive takes a shape");
    return;
  }
  if (words.has(kPrimitives)) refuse(Code::does_not_apply, kPrimitives, "the shape says which primitive is used");
  const std::string_view text = words.text(kShape);
  const std::size_t x = text.find('x');
  const auto depth = whole_or_nearest<int>(text.substr(0, x));
  const auto width = whole_or_nearest<int>(x == std::string_view::npos ? "" : text.substr(x + 1));
  for (Primitive const& one : known.primitives)
    for (Shape const& candidate : one.shapes)
      if (depth == candidate.depth && width == candidate.width) {
        memory.fixed_depth = candidate.depth;
        memory.fixed_width = candidate.width;
        return;
      }
  refuse(Code::bad_value, kShape, kdi::text::shown(text) + " is no shape of a primitive, such as 2048x9");
}

void read_byte_width(Description const& words, TypeRow const& type, Memory& memory) {
  memory.byte_width = *whole_or_nearest<int>(kByteWidths[words.choice(kByteWidth, kByteWidths)]);
  if (memory.byte_width == 0) return;
  if (!type.is_written) refuse(Code::bad_byte_width, kByteWidth, "a ROM is not written");
  if (memory.protection != Ecc::none) refuse(Code::bad_byte_width, kByteWidth, "an ECC covers whole words");
  if (memory.width % memory.byte_width != 0)
    refuse(Code::bad_byte_width, kByteWidth,
           "a word of " + std::to_string(memory.width) + " bits is not whole bytes of " +
               std::to_string(memory.byte_width));
}

void read_ecc(Description const& words, TypeRow const& type, Version const& version, Memory& memory) {
  memory.protection = static_cast<Ecc>(words.choice(kEcc, kProtections));
  if (memory.protection == Ecc::none) return;
  if (!type.is_written || memory.ports == PortUse::dual)
    refuse(Code::bad_ecc, kEcc, "a memory of type " + std::string(type.name) + " has none");
  if (memory.ratio != 1) refuse(Code::bad_ecc, kEcc, "both ports need the same width");
  if (memory.protection == Ecc::soft && memory.width > version.soft_ecc_max_width)
    refuse(Code::bad_ecc, kEcc,
           version.soft_ecc_max_width == 0 ? version.name + " has no soft ECC"
                                           : "a soft ECC covers up to " + std::to_string(version.soft_ecc_max_width) +
                                                 " bits, not " + std::to_string(memory.width));
}

// Primitives that the part does not have are no choice, unless one is asked for by its shape.
void read_part(Description const& words, Geometry const& known, Memory& memory) {
  const std::string name(words.text(kPart));
  kdi::device::Part const* const part = kdi::device::find_part(name);
  if (part == nullptr) refuse(Code::bad_value, kPart, kdi::device::unknown_part(name));
  memory.part = name;
  memory.available.assign(known.primitives.size(), 0);
  for (std::size_t i = 0; i < known.primitives.size(); ++i) {
    const std::string size = std::to_string(known.primitives[i].kilobits) + "K";
    for (kdi::device::BlockMemory const& one : part->speed->block_memories)
      if (one.name == size) memory.available[i] = one.count;
    if (memory.available[i] == 0) memory.allowed[i] = false;
  }
}

int used_width(Memory const& memory, Shape const& one) {
  if (memory.protection == Ecc::builtin) return one.ecc_width;
  // A write enable covers a lane, so bits of two bytes do not share one, and what has no whole lane is left alone.
  if (memory.byte_width != 0) return one.width / kLane * memory.byte_width;
  return one.width;
}

}  // namespace

Memory read_memory(std::vector<std::string_view> const& given, Geometry const& known, Version const& version) {
  if (given.empty()) throw Fault(Code::unpaired_word, "no words describe the memory");
  const Description words(given, kWords);
  Memory memory{};
  TypeRow const& type = read_type(words);
  memory.ports = type.ports;
  const auto [narrow, ratio] = read_ports(words, type, version);
  memory.width = narrow.width;
  memory.depth = narrow.depth;
  memory.ratio = ratio;
  memory.method = static_cast<Algorithm>(words.choice(kAlgorithm, kAlgorithms));
  read_primitives(words, known, memory);
  read_shape(words, known, memory);
  read_ecc(words, type, version, memory);
  read_byte_width(words, type, memory);
  memory.clock_mhz = words.has(kClockMhz) ? words.integer(kClockMhz, 1, version.max_clock_mhz)
                                          : std::min(kDefaultClockMhz, version.max_clock_mhz);
  if (words.has(kPart)) read_part(words, known, memory);
  return memory;
}

int stored_width(Memory const& memory) {
  if (memory.protection != Ecc::soft) return memory.width;
  int check_bits = 1;  // Hamming's bound, then one bit more to tell double errors from single ones
  while ((std::int64_t{1} << check_bits) < memory.width + check_bits + 1) ++check_bits;
  return memory.width + check_bits + 1;
}

std::vector<UsableShape> usable_shapes(Memory const& memory, Geometry const& known) {
  std::vector<UsableShape> usable;
  const unsigned use = 1U << static_cast<unsigned>(memory.ports);
  for (std::size_t i = 0; i < known.primitives.size(); ++i) {
    if (!memory.allowed[i]) continue;
    std::vector<Shape> const& shapes = known.primitives[i].shapes;
    for (Shape const& narrow : shapes) {
      if (memory.fixed_depth != 0 && (narrow.depth != memory.fixed_depth || narrow.width != memory.fixed_width))
        continue;
      // The other port sees the same cells in words that are `ratio` times as wide.
      const auto wide = std::find_if(shapes.begin(), shapes.end(), [&](Shape const& one) {
        return one.depth * std::int64_t{memory.ratio} == narrow.depth;
      });
      if (wide == shapes.end() || (narrow.ports & wide->ports & use) == 0) continue;
      // Words that are wider by the ratio have at least as many bits and lanes for each narrow one.
      const int used = used_width(memory, narrow);
      if (used > 0) usable.push_back({i, narrow.depth, narrow.width, wide->width, used});
    }
  }
  return usable;
}

}  // namespace bmg
