// Undo and redo of what was given to a configured core, or to one with its sub-cores, batch by batch.
//
// A batch is what was given and taken back between two calls of record(), by whichever way: values set one by one, a
// preset, a board. The state follows from what is given, so nothing else has to be remembered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Changes.h"

namespace kdi::cores {

class KDI_DOOR History {
 public:
  /// A parameter of one of the instances.
  struct Place {
    std::size_t instance;
    std::uint32_t parameter;

    friend bool operator==(Place const&, Place const&) = default;
  };

  /// Begins with the instances as they are, which outlive it. Keeps the latest `most` batches.
  explicit History(std::vector<Instance*> instances, std::size_t most = 1000);
  explicit History(Instance& instance, std::size_t most = 1000) : History(std::vector{&instance}, most) {}

  /// Closes a batch. False, and there is none, if nothing has changed since. What was undone can be redone no more.
  bool record();

  bool can_undo() const;
  bool can_redo() const;
  /// Takes the latest batch back, or makes it again; changes that are not recorded yet are a batch. Returns all
  /// parameters of which anything changed; nothing is done, and none returned, if there is no batch.
  std::vector<Place> undo(Strength strength = Strength::searches);
  std::vector<Place> redo(Strength strength = Strength::searches);

 private:
  using Changes = std::vector<std::vector<Change>>;  // by instance
  struct Batch {
    Changes before, after;
  };
  bool is_as_known() const;
  std::vector<Place> make(Changes const& changes, Strength strength);

  std::vector<Instance*> instances_;
  std::size_t most_;
  Changes known_;  // of every parameter
  std::deque<Batch> batches_;
  std::size_t done_ = 0;  // batches that are made; those behind them were undone
};

}  // namespace kdi::cores
