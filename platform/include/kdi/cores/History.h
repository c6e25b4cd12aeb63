// Undo and redo of what was given to a configured core, batch by batch.
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
  /// Begins with the instance as it is, which outlives it. Keeps the latest `most` batches.
  explicit History(Instance& instance, std::size_t most = 1000);

  /// Closes a batch. False, and there is none, if nothing has changed since. What was undone can be redone no more.
  bool record();

  bool can_undo() const;
  bool can_redo() const;
  /// Takes the latest batch back, or makes it again; changes that are not recorded yet are a batch. Returns what
  /// Instance::set returns; nothing is done, and nothing returned, if there is no batch.
  std::vector<std::uint32_t> undo(Strength strength = Strength::searches);
  std::vector<std::uint32_t> redo(Strength strength = Strength::searches);

 private:
  struct Batch {
    std::vector<Change> before, after;
  };
  Change present(std::uint32_t parameter) const;
  std::vector<std::uint32_t> make(std::vector<Change> const& changes, Strength strength);

  Instance& instance_;
  std::size_t most_;
  std::vector<Change> known_;  // by parameter
  std::deque<Batch> batches_;
  std::size_t done_ = 0;  // batches that are made; those behind them were undone
};

}  // namespace kdi::cores
