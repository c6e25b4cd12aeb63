// Which pads of a device in its package have an owner: controllers of memories and interfaces of I/O planning, of
// whichever engine. Each is placed beside those that stand, and moves none of them.
//
//   Seat seat(part);
//   const Occupancy::Seen seen = seat.others();
//   ... plan beside seen.taken ...
//   seat.put(claims, seen.version)  // or look again, if another has changed its own meanwhile
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/planning/Placement.h"

namespace kdi::device {
struct Part;
}

namespace kdi::planning {

class KDI_DOOR Occupancy {
 public:
  /// That which all engines share: a device has its pads once.
  static Occupancy& of_process();

  using Id = std::uint64_t;

  struct Seen {
    std::vector<TakenPad> taken;
    std::uint64_t version = 0;
  };

  /// A new owner, which has no pads. Numbers are never used again.
  Id enter(std::string const& part);
  void leave(Id id);

  /// What others have.
  Seen seen_by(Id id) const;
  /// The version alone: as long as it stays, so does what anyone has of the part.
  std::uint64_t version(Id id) const;
  /// Makes the pads those that an owner has. False, with nothing changed, if others have changed theirs since
  /// `version`. One that has left has none.
  bool put(Id id, std::vector<TakenPad> pads, std::uint64_t version);

 private:
  struct Claim {
    std::string part;
    std::vector<TakenPad> pads;
  };

  mutable std::mutex mutex_;
  std::map<Id, Claim> claims_;
  std::map<std::string, std::uint64_t> versions_;  ///< of what stands on a part
  Id next_ = 1;
};

/// An owner's place among the others of its part, which it gives up at its end. May be used from several threads.
class KDI_DOOR Seat {
 public:
  Seat(Occupancy& occupancy, std::string const& part) : occupancy_(occupancy), id_(occupancy.enter(part)) {}
  /// Among those of the process.
  explicit Seat(device::Part const& part);
  Seat(Seat const&) = delete;
  Seat& operator=(Seat const&) = delete;
  ~Seat() { leave(); }

  void leave() { occupancy_.leave(id_); }
  Occupancy::Seen others() const { return occupancy_.seen_by(id_); }
  std::uint64_t version() const { return occupancy_.version(id_); }
  bool put(std::vector<TakenPad> pads, std::uint64_t version) { return occupancy_.put(id_, std::move(pads), version); }

 private:
  Occupancy& occupancy_;
  Occupancy::Id id_;
};

}  // namespace kdi::planning
