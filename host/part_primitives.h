// What a part is made of, by name: for the shell, and for whoever asks the tool.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "kdi/device/Device.h"

namespace part_primitives {

enum class Kind { clock, buffer, memory, controller, transceiver };
/// By kind; null at the end.
inline constexpr char const* kKinds[] = {"clock", "buffer", "memory", "controller", "transceiver", nullptr};
inline char const* word_of(Kind kind) { return kKinds[static_cast<int>(kind)]; }

struct Primitive {
  Kind kind;
  std::string name;
  int count;  ///< transceivers by channels; a controller of fabric has no number
};

inline std::vector<Primitive> of(kdi::device::Part const& part) {
  std::vector<Primitive> all;
  for (auto const& one : part.speed->clock_primitives) all.push_back({Kind::clock, one.name, one.count});
  for (auto const& one : part.speed->clock_buffers) all.push_back({Kind::buffer, one.name, one.count});
  for (auto const& one : part.speed->block_memories) all.push_back({Kind::memory, one.name, one.count});
  for (auto const& one : part.speed->memory_controllers)
    all.push_back({Kind::controller, one.name, static_cast<int>(one.sites.size())});
  for (auto const& one : part.speed->transceivers) {
    const auto quads = std::count_if(part.package->quads.begin(), part.package->quads.end(),
                                     [&](auto const& quad) { return quad.type == one.type; });
    all.push_back({Kind::transceiver, one.type, static_cast<int>(quads) * one.channels_per_quad});
  }
  return all;
}

}  // namespace part_primitives
