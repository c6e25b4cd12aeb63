// Which pads of a part controllers have, of whichever model. A controller is placed beside those that were loaded
// before it, and moves none of them.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "kdi/planning/Placement.h"

namespace kdi::coregen {

class Occupancy {
 public:
  using Id = std::uint64_t;

  struct Seen {
    std::vector<planning::TakenPad> taken;
    std::uint64_t version = 0;
  };

  /// A new controller, which has no pads. Numbers are never used again.
  Id enter(std::string const& part);
  void leave(Id id);

  /// What others have.
  Seen seen_by(Id id) const;
  /// The version alone: as long as it stays, so does what anyone has of the part.
  std::uint64_t version(Id id) const;
  /// Makes the pads those that a controller has. False, with nothing changed, if others have changed theirs since
  /// `version`. One that has left has none.
  bool put(Id id, std::vector<planning::TakenPad> pads, std::uint64_t version);

 private:
  struct Claim {
    std::string part;
    std::vector<planning::TakenPad> pads;
  };

  mutable std::mutex mutex_;
  std::map<Id, Claim> claims_;
  std::map<std::string, std::uint64_t> versions_;  ///< of what stands on a part
  Id next_ = 1;
};

/// A controller's place among the others of its part, which it gives up at its end. May be used from several threads.
class Seat {
 public:
  Seat(Occupancy& occupancy, std::string const& part) : occupancy_(occupancy), id_(occupancy.enter(part)) {}
  Seat(Seat const&) = delete;
  Seat& operator=(Seat const&) = delete;
  ~Seat() { leave(); }

  void leave() { occupancy_.leave(id_); }
  Occupancy::Seen others() const { return occupancy_.seen_by(id_); }
  std::uint64_t version() const { return occupancy_.version(id_); }
  bool put(std::vector<planning::TakenPad> pads, std::uint64_t version) {
    return occupancy_.put(id_, std::move(pads), version);
  }

 private:
  Occupancy& occupancy_;
  Occupancy::Id id_;
};

}  // namespace kdi::coregen
