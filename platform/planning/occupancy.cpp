#include "kdi/planning/Occupancy.h"

#include <utility>

#include "kdi/device/Device.h"

namespace kdi::planning {

Occupancy& Occupancy::of_process() {
  static auto* const all = new Occupancy;  // never destroyed
  return *all;
}

Occupancy::Id Occupancy::enter(std::string const& part) {
  const std::lock_guard lock(mutex_);
  claims_.emplace(next_, Claim{part, {}});
  return next_++;
}

void Occupancy::leave(Id id) {
  const std::lock_guard lock(mutex_);
  const auto claim = claims_.find(id);
  if (claim == claims_.end()) return;
  ++versions_[claim->second.part];
  claims_.erase(claim);
}

Occupancy::Seen Occupancy::seen_by(Id id) const {
  const std::lock_guard lock(mutex_);
  Seen seen;
  const auto own = claims_.find(id);
  if (own == claims_.end()) return seen;
  for (auto const& [other, claim] : claims_)
    if (other != id && claim.part == own->second.part)
      seen.taken.insert(seen.taken.end(), claim.pads.begin(), claim.pads.end());
  if (const auto version = versions_.find(own->second.part); version != versions_.end()) seen.version = version->second;
  return seen;
}

std::uint64_t Occupancy::version(Id id) const {
  const std::lock_guard lock(mutex_);
  const auto own = claims_.find(id);
  if (own == claims_.end()) return 0;
  const auto version = versions_.find(own->second.part);
  return version == versions_.end() ? 0 : version->second;
}

bool Occupancy::put(Id id, std::vector<TakenPad> pads, std::uint64_t version) {
  const std::lock_guard lock(mutex_);
  const auto claim = claims_.find(id);
  if (claim == claims_.end()) return true;
  std::uint64_t& now = versions_[claim->second.part];
  if (now != version) return false;
  ++now;
  claim->second.pads = std::move(pads);
  return true;
}

// Of another grade it is the same device in the same package.
Seat::Seat(device::Part const& part) : Seat(Occupancy::of_process(), part.device->name + "-" + part.package->name) {}

}  // namespace kdi::planning
