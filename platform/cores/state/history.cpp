#include "kdi/cores/History.h"

#include <utility>

namespace kdi::cores {

History::History(std::vector<Instance*> instances, std::size_t most) : instances_(std::move(instances)), most_(most) {
  for (Instance const* const instance : instances_) {
    std::vector<Change>& known = known_.emplace_back();
    for (std::uint32_t i = 0; i < instance->core().parameters().size(); ++i) known.push_back(given_to(*instance, i));
  }
}

bool History::is_as_known() const {
  for (std::size_t n = 0; n < instances_.size(); ++n)
    for (std::uint32_t i = 0; i < known_[n].size(); ++i)
      if (!(given_to(*instances_[n], i) == known_[n][i])) return false;
  return true;
}

bool History::record() {
  if (is_as_known()) return false;
  Batch batch{Changes(instances_.size()), Changes(instances_.size())};
  for (std::size_t n = 0; n < instances_.size(); ++n)
    for (std::uint32_t i = 0; i < known_[n].size(); ++i) {
      Change now = given_to(*instances_[n], i);
      if (now == known_[n][i]) continue;
      batch.before[n].push_back(std::exchange(known_[n][i], now));
      batch.after[n].push_back(std::move(now));
    }
  batches_.resize(done_);
  batches_.push_back(std::move(batch));
  if (batches_.size() > most_) batches_.pop_front();
  done_ = batches_.size();
  return true;
}

bool History::can_undo() const { return done_ > 0 || !is_as_known(); }

bool History::can_redo() const { return done_ < batches_.size() && is_as_known(); }

std::vector<History::Place> History::undo(Strength strength) {
  record();
  return done_ == 0 ? std::vector<Place>() : make(batches_[--done_].before, strength);
}

std::vector<History::Place> History::redo(Strength strength) {
  record();
  return done_ == batches_.size() ? std::vector<Place>() : make(batches_[done_++].after, strength);
}

std::vector<History::Place> History::make(Changes const& changes, Strength strength) {
  std::vector<Place> moved;
  for (std::size_t n = 0; n < instances_.size(); ++n) {
    if (changes[n].empty()) continue;
    for (const std::uint32_t parameter : make_changes(*instances_[n], changes[n], strength))
      moved.push_back({n, parameter});
    for (Change const& change : changes[n]) known_[n][change.parameter] = given_to(*instances_[n], change.parameter);
  }
  return moved;
}

}  // namespace kdi::cores
