#include "platform/bmg/geometry.h"

#include <algorithm>
#include <bit>

#include "kdi/common/KdiJson.h"
#include "platform/bmg/memory.h"

namespace bmg {
namespace {

// These bounds keep every sum of the tiler within 64 bits.
constexpr int kMostPrimitives = 8, kLeastKilobits = 9, kMostKilobits = 1024;
constexpr int kMostWidth = 8192, kMostDepth = 1 << 20, kMostClockMhz = 1000;
constexpr int kMostStaticUw = 10000, kMostAccessFj = 20000, kMostBitFj = 2000;

int integer(kdi::JsonValue object, std::string_view name, int least, int most) {
  return static_cast<int>(object.member(name).integer(least, most));
}

Shape read_shape(kdi::JsonValue entry, int kilobits) {
  entry.allow_only({"depth", "width", "ports", "ecc_width"});
  const int capacity = kilobits * 1024;
  Shape read{integer(entry, "depth", 1, kMostDepth), integer(entry, "width", 1, capacity), 0, 0};
  if (!std::has_single_bit(static_cast<unsigned>(read.depth))) entry.member("depth").refuse("a power of two");
  // A word of whole bytes may carry a parity bit for each; one of less does not.
  const std::int64_t bits = std::int64_t{read.depth} * read.width;
  if (bits > capacity || bits * 9 < std::int64_t{capacity} * 8)
    entry.member("width").refuse("a width that uses 8/9 to 9/9 of " + std::to_string(capacity) + " bits at depth " +
                                 std::to_string(read.depth));
  for (kdi::JsonValue const use : entry.member("ports").items())
    read.ports |= 1U << use.choice({"single", "simple", "dual"});
  if (entry.find("ecc_width")) read.ecc_width = integer(entry, "ecc_width", 1, read.width - 1);
  return read;
}

Primitive read_primitive(kdi::JsonValue entry) {
  entry.allow_only({"kilobits", "shapes"});
  Primitive read{integer(entry, "kilobits", kLeastKilobits, kMostKilobits), {}};
  for (kdi::JsonValue const one : entry.member("shapes").items()) {
    const Shape next = read_shape(one, read.kilobits);
    if (!read.shapes.empty()) {
      Shape const& last = read.shapes.back();
      if (next.depth * 2 != last.depth) one.member("depth").refuse("half the depth of the shape before");
      if (next.width != last.width * 2 && next.width != last.width * 2 + 1)
        one.member("width").refuse("twice the width of the shape before, or one more");
    }
    read.shapes.push_back(next);
  }
  if (read.shapes.empty()) entry.member("shapes").refuse("at least one shape");
  return read;
}

// A primitive with a gap in its shapes, or a wider one that holds less, is a slip of the pen.
void check_shapes(kdi::JsonValue list, Geometry const& known) {
  Memory use{};
  use.allowed.assign(known.primitives.size(), true);
  for (PortUse const ports : {PortUse::single, PortUse::simple, PortUse::dual})
    for (int const byte_width : {0, 8, 9})
      for (Ecc const protection : {Ecc::none, Ecc::builtin})
        for (int ratio = 1; ratio <= kMostDepth; ratio *= 2) {
          use.ports = ports;
          use.byte_width = byte_width;
          use.protection = protection;
          use.ratio = ratio;
          const std::vector<UsableShape> usable = usable_shapes(use, known);
          for (std::size_t i = 1; i < usable.size(); ++i)
            if (usable[i].primitive == usable[i - 1].primitive &&
                (usable[i].depth * 2 != usable[i - 1].depth || usable[i].used_width < usable[i - 1].used_width * 2))
              list.refuse("shapes that halve in depth and double in usable width for every use of the ports");
        }
}

std::vector<PowerFigures> read_power(kdi::JsonValue list, std::vector<Primitive> const& primitives) {
  std::vector<PowerFigures> power(primitives.size());
  std::vector<bool> is_given(primitives.size());
  for (kdi::JsonValue const entry : list.items()) {
    entry.allow_only({"kilobits", "static_uw", "access_fj", "bit_fj"});
    const int kilobits = integer(entry, "kilobits", kLeastKilobits, kMostKilobits);
    const auto at = std::find_if(primitives.begin(), primitives.end(),
                                 [=](Primitive const& one) { return one.kilobits == kilobits; });
    if (at == primitives.end()) entry.member("kilobits").refuse("a size that primitives.json has");
    const auto index = static_cast<std::size_t>(at - primitives.begin());
    if (is_given[index]) entry.member("kilobits").refuse("a size that is not listed before");
    is_given[index] = true;
    power[index] = {integer(entry, "static_uw", 0, kMostStaticUw), integer(entry, "access_fj", 1, kMostAccessFj),
                    integer(entry, "bit_fj", 0, kMostBitFj)};
    // The first bit of an access wakes more than any further one.
    if (power[index].bit_fj > power[index].access_fj) entry.member("bit_fj").refuse("no more than access_fj");
  }
  if (std::find(is_given.begin(), is_given.end(), false) != is_given.end())
    list.refuse("an entry for every size of primitives.json");
  return power;
}

Version read_version(kdi::JsonValue entry, std::vector<Primitive> const& primitives) {
  entry.allow_only(
      {"name", "max_width", "max_depth", "max_port_ratio", "max_clock_mhz", "soft_ecc_max_width", "power"});
  Version read;
  read.name = entry.member("name").text();
  read.max_width = integer(entry, "max_width", 1, kMostWidth);
  read.max_depth = integer(entry, "max_depth", 1, kMostDepth);
  read.max_port_ratio = integer(entry, "max_port_ratio", 1, kMostWidth);
  read.max_clock_mhz = integer(entry, "max_clock_mhz", 1, kMostClockMhz);
  read.soft_ecc_max_width = integer(entry, "soft_ecc_max_width", 0, kMostWidth);
  read.power = read_power(entry.member("power"), primitives);
  return read;
}

}  // namespace

Geometry read_geometry(std::string const& directory) {
  Geometry known;
  const kdi::JsonFile primitives(directory + "/primitives.json");
  primitives.root().allow_only({"primitives"});
  const kdi::JsonValue list = primitives.root().member("primitives");
  for (kdi::JsonValue const entry : list.items()) {
    known.primitives.push_back(read_primitive(entry));
    const std::size_t count = known.primitives.size();
    if (count > 1 && known.primitives[count - 1].kilobits <= known.primitives[count - 2].kilobits)
      entry.member("kilobits").refuse("a size above the one before");
  }
  if (known.primitives.empty() || known.primitives.size() > kMostPrimitives)
    list.refuse("1 to " + std::to_string(kMostPrimitives) + " primitives");
  check_shapes(list, known);

  const kdi::JsonFile versions(directory + "/versions.json");
  versions.root().allow_only({"versions"});
  for (kdi::JsonValue const entry : versions.root().member("versions").items()) {
    const Version read = read_version(entry, known.primitives);
    for (Version const& one : known.versions)
      if (one.name == read.name) entry.member("name").refuse("a name that is not listed before");
    known.versions.push_back(read);
  }
  return known;
}

}  // namespace bmg
