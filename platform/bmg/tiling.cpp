#include "kdi/bmg/host/tiling.h"

#include <algorithm>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "kdi/common/KdiDataDir.h"
#include "platform/bmg/memory.h"
#include "platform/bmg/tiler.h"

namespace bmg {
namespace {

using GeometryPtr = std::shared_ptr<Geometry const>;

// The data in use. Never destroyed: a command may run while the process ends.
class SharedData {
 public:
  GeometryPtr get() {
    const std::lock_guard lock(mutex_);
    return known_;
  }
  void set(GeometryPtr read) {
    const std::lock_guard lock(mutex_);
    known_.swap(read);
  }
  // What is in use then: where two threads read at once, the first to end counts.
  GeometryPtr set_first(GeometryPtr read) {
    const std::lock_guard lock(mutex_);
    if (known_ == nullptr) known_ = std::move(read);
    return known_;
  }

 private:
  std::mutex mutex_;
  GeometryPtr known_;  // null until it is asked for
};

SharedData& data_in_use() {
  static auto& data = *new SharedData;
  return data;
}

GeometryPtr read_shared(std::string const& directory) {
  return std::make_shared<Geometry const>(read_geometry(directory));
}

GeometryPtr known_geometry() {
  SharedData& data = data_in_use();
  if (GeometryPtr known = data.get()) return known;
  kdi::tell_data_faults();
  try {
    const std::vector<std::string> directories = kdi::data_directories("bmg");
    if (directories.empty()) throw Fault(Code::no_data, "no data directory has a folder bmg");
    return data.set_first(read_shared(directories.front()));
  } catch (std::bad_alloc const&) {
    throw;
  } catch (Fault const&) {
    throw;
  } catch (std::exception const& error) {
    throw Fault(Code::no_data, error.what());
  }
}

Version const& version_named(std::string_view name, Geometry const& known) {
  for (Version const& one : known.versions)
    if (one.name == name) return one;
  throw Fault(Code::no_data, "versions.json does not list version \"" + std::string(name) + "\"");
}

// What one primitive in this shape takes: nW at any time, and nW more while its ports access it in every cycle.
struct TilePower {
  std::uint64_t static_nw, access_nw;
};

TilePower power_of(UsableShape const& shape, Memory const& memory, Version const& version) {
  PowerFigures const& figures = version.power[shape.primitive];
  int energy_fj = figures.access_fj + figures.bit_fj * shape.width;
  if (memory.ports != PortUse::single) energy_fj += figures.access_fj + figures.bit_fj * shape.wide_width;
  // fJ x MHz = nW
  return {static_cast<std::uint64_t>(figures.static_uw) * 1000U,
          static_cast<std::uint64_t>(energy_fj) * static_cast<std::uint64_t>(memory.clock_mhz)};
}

// What a tiling costs. Low power: its power, times the depth to keep it whole; a primitive is accessed for as many
// addresses as it has rows in use. Else: the kilobits, and among equals the number of primitives.
Choice choice_of(UsableShape const& shape, Memory const& memory, Geometry const& known, TilePower const& power) {
  Choice one{shape.primitive, shape.depth, shape.used_width, 0, 0};
  if (memory.method == Algorithm::low_power) {
    one.for_tile = power.static_nw * static_cast<std::uint64_t>(memory.depth);
    one.for_row = power.access_nw;
  } else {
    one.for_tile = (static_cast<std::uint64_t>(known.primitives[shape.primitive].kilobits) << 32U) + 1U;
  }
  return one;
}

// Primitives of different sizes are made of the same silicon: each takes its share of the part.
void hold_against_part(Memory const& memory, Geometry const& known, Tiling const& tiling) {
  double share = 0;
  std::string counts;
  for (std::size_t i = 0; i < known.primitives.size(); ++i) {
    const int kilobits = known.primitives[i].kilobits, count = tiling.count(kilobits);
    if (count == 0) continue;
    share += static_cast<double>(count) / memory.available[i];
    counts += (counts.empty() ? "" : " and ") + std::to_string(count) + " of " + std::to_string(memory.available[i]) +
              " primitives of " + std::to_string(kilobits) + "K";
  }
  constexpr double kAll = 1 + 1e-9;
  if (share > kAll) throw Fault(Code::too_many, "the memory takes " + counts + ", more than " + memory.part + " has");
}

}  // namespace

int Tiling::count(int kilobits) const {
  int number = 0;
  for (TileRun const& run : runs)
    if (run.kilobits == kilobits) number += run.count();
  return number;
}

int Tiling::mux_inputs() const {
  int most = 0;
  // The stack over a bit changes only where a run begins.
  for (TileRun const& start : runs) {
    int inputs = 0;
    for (TileRun const& run : runs)
      if (run.first_bit <= start.first_bit && start.first_bit < run.first_bit + run.bits) inputs += run.stack();
    most = std::max(most, inputs);
  }
  return most;
}

int Tiling::power_mw() const {
  constexpr std::int64_t kNwPerMw = 1000000;
  return static_cast<int>((power_nw + kNwPerMw - 1) / kNwPerMw);
}

Tiling tile_memory(std::string_view version_name, std::vector<std::string_view> const& words) {
  const GeometryPtr known = known_geometry();
  Version const& version = version_named(version_name, *known);
  const Memory memory = read_memory(words, *known, version);
  const std::vector<UsableShape> shapes = usable_shapes(memory, *known);
  if (shapes.empty())
    throw Fault(Code::no_primitive, "no primitive that is allowed has a shape for these ports, their ratio of 1 to " +
                                        std::to_string(memory.ratio) + ", byte writes and ECC");

  std::vector<Choice> choices;
  std::vector<TilePower> power;
  for (UsableShape const& shape : shapes) {
    power.push_back(power_of(shape, memory, version));
    choices.push_back(choice_of(shape, memory, *known, power.back()));
  }

  Tiling result{stored_width(memory), memory.depth, {}, 0};
  std::uint64_t static_nw = 0, access_nw = 0, gated_nw = 0;  // the last times the depth
  for (Grid const& part : tile(choices, result.width, result.depth)) {
    UsableShape const& shape = shapes[part.choice];
    TileRun const& run =
        result.runs.emplace_back(TileRun{known->primitives[shape.primitive].kilobits, shape.depth, shape.width,
                                         shape.used_width, part.first_bit, part.bits, part.first_row, part.rows});
    static_nw += power[part.choice].static_nw * static_cast<std::uint64_t>(run.count());
    access_nw += power[part.choice].access_nw * static_cast<std::uint64_t>(run.count());
    gated_nw +=
        power[part.choice].access_nw * static_cast<std::uint64_t>(run.columns()) * static_cast<std::uint64_t>(run.rows);
  }
  if (!memory.part.empty()) hold_against_part(memory, *known, result);
  // Only low power spends the logic that wakes the primitives of the address alone.
  const auto depth = static_cast<std::uint64_t>(memory.depth);
  if (memory.method == Algorithm::low_power) access_nw = (gated_nw + depth - 1) / depth;
  result.power_nw = static_cast<std::int64_t>(static_nw + access_nw);
  return result;
}

void load_data(std::string const& directory) { data_in_use().set(read_shared(directory)); }

}  // namespace bmg
