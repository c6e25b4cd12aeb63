#include "platform/bmg/memory.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <optional>
#include <span>
#include <string>

#include "kdi/bmg/host/tiling.h"

namespace bmg {
namespace {

struct type_row {
  std::string_view name;
  port_use ports;
  bool is_written;
};
constexpr type_row kTypes[] = {{"single_port_ram", port_use::single, true},
                               {"simple_dual_port_ram", port_use::simple, true},
                               {"true_dual_port_ram", port_use::dual, true},
                               {"single_port_rom", port_use::single, false},
                               {"dual_port_rom", port_use::dual, false}};
constexpr std::string_view kAlgorithms[] = {"minimum_area", "low_power", "fixed_primitive"};
constexpr std::string_view kProtections[] = {"none", "builtin", "soft"};
constexpr std::string_view kByteWidths[] = {"0", "8", "9"};

constexpr int kDefaultClockMhz = 100;
constexpr int kLane = 9;  // bits of a primitive's word that share a write enable, parity included

// The words of a description, each at most once.
enum word : std::size_t {
  kType,
  kWidthA,
  kDepthA,
  kWidthB,
  kDepthB,
  kAlgorithm,
  kPrimitives,
  kShape,
  kEcc,
  kByteWidth,
  kClockMhz
};
constexpr std::array<std::string_view, 11> kWords = {"type",    "width_a",    "depth_a",    "width_b",
                                                     "depth_b", "algorithm",  "primitives", "shape",
                                                     "ecc",     "byte_width", "clock_mhz"};

template <class Names>
std::string listed(Names const& names) {
  std::string list;
  for (auto const& name : names) (list += list.empty() ? "" : ", ") += name;
  return list;
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

[[noreturn]] void refuse(code reason, word name, std::string const& what) {
  throw fault(reason, "word " + quoted(kWords[name]) + ": " + what);
}

// A number that no int holds counts as the nearest that one does: all bounds are closer.
std::optional<int> integer_in(std::string_view text) {
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (end != text.data() + text.size() || error == std::errc::invalid_argument) return std::nullopt;
  if (error == std::errc()) return number;
  return text.front() == '-' ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
}

class description {
 public:
  explicit description(std::vector<std::string_view> const& words) {
    if (words.empty()) throw fault(code::unpaired_word, "no words describe the memory");
    for (std::size_t i = 0; i < words.size(); i += 2) {
      const auto at = std::find(kWords.begin(), kWords.end(), words[i]);
      if (at == kWords.end())
        throw fault(code::unknown_word, "no word is called " + quoted(words[i]) + "; there are " + listed(kWords));
      const auto name = static_cast<word>(at - kWords.begin());
      if (values_[name]) refuse(code::repeated_word, name, "is given twice");
      if (i + 1 == words.size()) refuse(code::unpaired_word, name, "has no value");
      values_[name] = words[i + 1];
    }
  }

  bool has(word name) const { return values_[name].has_value(); }

  std::string_view text(word name) const {
    if (!values_[name]) refuse(code::missing_word, name, "is missing");
    return *values_[name];
  }
  int integer(word name, int least, int most) const {
    const std::optional<int> number = integer_in(text(name));
    if (!number) refuse(code::bad_value, name, quoted(text(name)) + " is no integer");
    if (*number < least || *number > most)
      refuse(code::out_of_range, name,
             std::string(text(name)) + " is outside " + std::to_string(least) + " to " + std::to_string(most));
    return *number;
  }
  // The index of the value among `names`; 0 if the word is not given.
  std::size_t choice(word name, std::span<std::string_view const> names) const {
    if (!has(name)) return 0;
    const auto at = std::find(names.begin(), names.end(), text(name));
    if (at == names.end()) refuse(code::bad_value, name, quoted(text(name)) + " is none of " + listed(names));
    return static_cast<std::size_t>(at - names.begin());
  }

 private:
  std::array<std::optional<std::string_view>, kWords.size()> values_;
};

type_row const& read_type(description const& words) {
  std::array<std::string_view, std::size(kTypes)> names;
  std::transform(std::begin(kTypes), std::end(kTypes), names.begin(), [](type_row const& row) { return row.name; });
  words.text(kType);  // has no default
  return kTypes[words.choice(kType, names)];
}

struct port {
  int width, depth;
};

std::string shown(port const& one) { return std::to_string(one.depth) + " x " + std::to_string(one.width); }

// The narrow port, and how many of its words make one of the other's.
std::pair<port, int> read_ports(description const& words, type_row const& type, version const& version) {
  const port a{words.integer(kWidthA, 1, version.max_width), words.integer(kDepthA, 1, version.max_depth)};
  if (!words.has(kWidthB) && !words.has(kDepthB)) return {a, 1};
  if (type.ports == port_use::single)
    refuse(code::does_not_apply, words.has(kWidthB) ? kWidthB : kDepthB,
           "a memory of type " + std::string(type.name) + " has no second port");
  const port b{words.integer(kWidthB, 1, version.max_width), words.integer(kDepthB, 1, version.max_depth)};
  if (std::int64_t{a.width} * a.depth != std::int64_t{b.width} * b.depth)
    throw fault(code::ports_disagree,
                "port a of " + shown(a) + " and port b of " + shown(b) + " do not have the same number of bits");
  auto const& [narrow, wide] = a.width <= b.width ? std::pair(a, b) : std::pair(b, a);
  const int ratio = wide.width / narrow.width;
  if (wide.width % narrow.width != 0 || !std::has_single_bit(static_cast<unsigned>(ratio)) ||
      ratio > version.max_port_ratio)
    throw fault(code::ports_disagree, "widths of " + std::to_string(a.width) + " and " + std::to_string(b.width) +
                                          " bits are not in a ratio of 1, 2, 4 and so on to " +
                                          std::to_string(version.max_port_ratio));
  return {narrow, ratio};
}

void read_primitives(description const& words, geometry const& known, memory& memory) {
  memory.allowed.assign(known.primitives.size(), !words.has(kPrimitives));
  if (!words.has(kPrimitives)) return;
  std::string_view list = words.text(kPrimitives);
  for (bool is_last = false; !is_last;) {
    const std::size_t comma = list.find(',');
    is_last = comma == std::string_view::npos;
    const std::string_view item = list.substr(0, comma);
    bool is_known = false;
    for (std::size_t i = 0; i < known.primitives.size(); ++i)
      if (item == std::to_string(known.primitives[i].kilobits)) is_known = memory.allowed[i] = true;
    if (!is_known)
      refuse(code::bad_value, kPrimitives,
             quoted(words.text(kPrimitives)) + " is no list of sizes of primitives, such as 18 or 18,36");
    if (!is_last) list.remove_prefix(comma + 1);
  }
}

void read_shape(description const& words, geometry const& known, memory& memory) {
  if (memory.method != algorithm::fixed_primitive) {
    if (words.has(kShape)) refuse(code::does_not_apply, kShape, "only the algorithm fixed_primitive takes a shape");
    return;
  }
  if (words.has(kPrimitives)) refuse(code::does_not_apply, kPrimitives, "the shape says which primitive is used");
  const std::string_view text = words.text(kShape);
  const std::size_t x = text.find('x');
  const auto depth = integer_in(text.substr(0, x));
  const auto width = integer_in(x == std::string_view::npos ? "" : text.substr(x + 1));
  for (primitive const& one : known.primitives)
    for (shape const& candidate : one.shapes)
      if (depth == candidate.depth && width == candidate.width) {
        memory.fixed_depth = candidate.depth;
        memory.fixed_width = candidate.width;
        return;
      }
  refuse(code::bad_value, kShape, quoted(text) + " is no shape of a primitive, such as 2048x9");
}

void read_byte_width(description const& words, type_row const& type, memory& memory) {
  memory.byte_width = *integer_in(kByteWidths[words.choice(kByteWidth, kByteWidths)]);
  if (memory.byte_width == 0) return;
  if (!type.is_written) refuse(code::bad_byte_width, kByteWidth, "a ROM is not written");
  if (memory.protection != ecc::none) refuse(code::bad_byte_width, kByteWidth, "an ECC covers whole words");
  if (memory.width % memory.byte_width != 0)
    refuse(code::bad_byte_width, kByteWidth,
           "a word of " + std::to_string(memory.width) + " bits is not whole bytes of " +
               std::to_string(memory.byte_width));
}

void read_ecc(description const& words, type_row const& type, version const& version, memory& memory) {
  memory.protection = static_cast<ecc>(words.choice(kEcc, kProtections));
  if (memory.protection == ecc::none) return;
  if (!type.is_written || memory.ports == port_use::dual)
    refuse(code::bad_ecc, kEcc, "a memory of type " + std::string(type.name) + " has none");
  if (memory.ratio != 1) refuse(code::bad_ecc, kEcc, "both ports need the same width");
  if (memory.protection == ecc::soft && memory.width > version.soft_ecc_max_width)
    refuse(code::bad_ecc, kEcc,
           version.soft_ecc_max_width == 0 ? version.name + " has no soft ECC"
                                           : "a soft ECC covers up to " + std::to_string(version.soft_ecc_max_width) +
                                                 " bits, not " + std::to_string(memory.width));
}

int used_width(memory const& memory, shape const& one) {
  if (memory.protection == ecc::builtin) return one.ecc_width;
  // A write enable covers a lane, so bits of two bytes do not share one, and what has no whole lane is left alone.
  if (memory.byte_width != 0) return one.width / kLane * memory.byte_width;
  return one.width;
}

}  // namespace

memory read_memory(std::vector<std::string_view> const& given, geometry const& known, version const& version) {
  const description words(given);
  memory memory{};
  type_row const& type = read_type(words);
  memory.ports = type.ports;
  const auto [narrow, ratio] = read_ports(words, type, version);
  memory.width = narrow.width;
  memory.depth = narrow.depth;
  memory.ratio = ratio;
  memory.method = static_cast<algorithm>(words.choice(kAlgorithm, kAlgorithms));
  read_primitives(words, known, memory);
  read_shape(words, known, memory);
  read_ecc(words, type, version, memory);
  read_byte_width(words, type, memory);
  memory.clock_mhz = words.has(kClockMhz) ? words.integer(kClockMhz, 1, version.max_clock_mhz)
                                          : std::min(kDefaultClockMhz, version.max_clock_mhz);
  return memory;
}

int stored_width(memory const& memory) {
  if (memory.protection != ecc::soft) return memory.width;
  int check_bits = 1;  // Hamming's bound, then one bit more to tell double errors from single ones
  while ((std::int64_t{1} << check_bits) < memory.width + check_bits + 1) ++check_bits;
  return memory.width + check_bits + 1;
}

std::vector<usable_shape> usable_shapes(memory const& memory, geometry const& known) {
  std::vector<usable_shape> usable;
  const unsigned use = 1U << static_cast<unsigned>(memory.ports);
  for (std::size_t i = 0; i < known.primitives.size(); ++i) {
    if (!memory.allowed[i]) continue;
    std::vector<shape> const& shapes = known.primitives[i].shapes;
    for (shape const& narrow : shapes) {
      if (memory.fixed_depth != 0 && (narrow.depth != memory.fixed_depth || narrow.width != memory.fixed_width))
        continue;
      // The other port sees the same cells in words that are `ratio` times as wide.
      const auto wide = std::find_if(shapes.begin(), shapes.end(), [&](shape const& one) {
        return one.depth * std::int64_t{memory.ratio} == narrow.depth;
      });
      if (wide == shapes.end() || (narrow.ports & wide->ports & use) == 0) continue;
      const int used = std::min(used_width(memory, narrow), used_width(memory, *wide) / memory.ratio);
      if (used > 0) usable.push_back({i, narrow.depth, narrow.width, wide->width, used});
    }
  }
  return usable;
}

}  // namespace bmg
