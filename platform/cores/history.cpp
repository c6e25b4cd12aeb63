#include "kdi/cores/History.h"

namespace kdi::cores {

History::History(Instance& instance, std::size_t most) : instance_(instance), most_(most) {
  for (std::uint32_t i = 0; i < instance.core().parameters().size(); ++i) known_.push_back(present(i));
}

Change History::present(std::uint32_t parameter) const { return given_to(instance_, parameter); }

bool History::record() {
  Batch batch;
  for (std::uint32_t i = 0; i < known_.size(); ++i) {
    Change now = present(i);
    if (now == known_[i]) continue;
    batch.before.push_back(known_[i]);
    batch.after.push_back(now);
    known_[i] = std::move(now);
  }
  if (batch.after.empty()) return false;
  batches_.resize(done_);
  batches_.push_back(std::move(batch));
  if (batches_.size() > most_) batches_.pop_front();
  done_ = batches_.size();
  return true;
}

bool History::can_undo() const {
  for (std::uint32_t i = 0; i < known_.size(); ++i)
    if (!(present(i) == known_[i])) return true;
  return done_ > 0;
}

bool History::can_redo() const {
  for (std::uint32_t i = 0; i < known_.size(); ++i)
    if (!(present(i) == known_[i])) return false;
  return done_ < batches_.size();
}

std::vector<std::uint32_t> History::undo(Strength strength) {
  record();
  return done_ == 0 ? std::vector<std::uint32_t>() : make(batches_[--done_].before, strength);
}

std::vector<std::uint32_t> History::redo(Strength strength) {
  record();
  return done_ == batches_.size() ? std::vector<std::uint32_t>() : make(batches_[done_++].after, strength);
}

std::vector<std::uint32_t> History::make(std::vector<Change> const& changes, Strength strength) {
  std::vector<std::uint32_t> moved = make_changes(instance_, changes, strength);
  for (Change const& change : changes) known_[change.parameter] = present(change.parameter);
  return moved;
}

}  // namespace kdi::cores
