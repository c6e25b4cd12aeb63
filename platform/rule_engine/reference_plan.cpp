// Quads are decided in their order. What a beginning leaves to the rest is, for each reference, how far up it is heard
// by now and which is the first quad that still waits for it; of all beginnings that leave the same the cheapest is
// kept.
#include "platform/rule_engine/reference_plan.h"

#include <algorithm>
#include <bit>
#include <map>
#include <optional>

namespace kdi::gt {
namespace {

constexpr int kNowhere = -1, kMostInputs = 2;

class Plan {
 public:
  Plan(std::vector<ListeningQuad> const& quads, int reach, int inputs)
      : quads_(quads), reach_(reach), inputs_(inputs) {}

  std::vector<std::uint32_t> fewest() {
    std::uint32_t all = 0;
    for (ListeningQuad const& quad : quads_) all |= quad.wants;
    count_ = static_cast<std::size_t>(std::bit_width(all));
    std::vector<std::map<State, Step>> steps(quads_.size() + 1);
    steps[0][State(count_)] = {};
    for (std::size_t at = 0; at < quads_.size(); ++at)
      for (auto const& [state, step] : steps[at])
        for (const std::uint32_t brought : choices(state, at))
          if (auto next = behind(state, at, brought)) {
            Cost cost = step.cost;
            cost.inputs += std::popcount(brought);
            cost.places += std::popcount(brought) * static_cast<int>(at);
            const auto [place, is_new] = steps[at + 1].try_emplace(*std::move(next), Step{cost, brought, &state});
            if (!is_new && cost < place->second.cost) place->second = {cost, brought, &state};
          }
    return path(steps);
  }

 private:
  struct Reference {
    int last = kNowhere;     ///< the quad where it came in last, as long as that is heard
    int waiting = kNowhere;  ///< the first quad that wants it and has not heard it
    auto operator<=>(Reference const&) const = default;
  };
  using State = std::vector<Reference>;
  struct Cost {
    int inputs = 0, places = 0;
    auto operator<=>(Cost const&) const = default;
  };
  struct Step {
    Cost cost;
    std::uint32_t brought = 0;
    State const* before = nullptr;
  };

  bool hears(int at, std::size_t other) const {
    return at != kNowhere && quads_[other].number - quads_[static_cast<std::size_t>(at)].number <= reach_;
  }

  // Whether a quad behind `at` hears what came in at `last`, and wants it.
  bool is_of_use(int last, std::size_t at, std::size_t reference) const {
    for (std::size_t other = at + 1; other < quads_.size() && hears(last, other); ++other)
      if ((quads_[other].wants >> reference & 1) != 0) return true;
    return false;
  }

  // What may come in at a quad: sets of references that it, one before or one behind that hears it wants.
  std::vector<std::uint32_t> choices(State const& state, std::size_t at) const {
    std::uint32_t wanted = quads_[at].wants;
    for (std::size_t i = 0; i < count_; ++i)
      if (state[i].waiting != kNowhere) wanted |= std::uint32_t{1} << i;
    // One that only quads behind want comes in early where inputs run out later.
    for (std::size_t other = at + 1; inputs_ <= kMostInputs && other < quads_.size(); ++other)
      if (hears(static_cast<int>(at), other)) wanted |= quads_[other].wants;
    std::vector<std::uint32_t> sets{0};
    for (std::size_t i = 0; i < count_; ++i)
      if ((wanted >> i & 1) != 0)
        for (std::size_t known = sets.size(); known-- > 0;)
          if (std::popcount(sets[known]) < inputs_) sets.push_back(sets[known] | std::uint32_t{1} << i);
    return sets;
  }

  // What is left behind the quad; nothing if a quad would not hear what it wants.
  std::optional<State> behind(State state, std::size_t at, std::uint32_t brought) const {
    for (std::size_t i = 0; i < count_; ++i) {
      Reference& reference = state[i];
      if ((brought >> i & 1) != 0) {
        reference = {static_cast<int>(at), kNowhere};
      } else if ((quads_[at].wants >> i & 1) != 0 && !hears(reference.last, at) && reference.waiting == kNowhere) {
        reference.waiting = static_cast<int>(at);
      }
      const bool is_last = at + 1 == quads_.size();
      if (reference.waiting != kNowhere && (is_last || !hears(reference.waiting, at + 1))) return std::nullopt;
      if (!is_of_use(reference.last, at, i)) reference.last = kNowhere;
    }
    return state;
  }

  std::vector<std::uint32_t> path(std::vector<std::map<State, Step>> const& steps) const {
    std::vector<std::uint32_t> plan(quads_.size());
    State const* state = &steps.back().begin()->first;
    for (std::size_t at = quads_.size(); at-- > 0;) {
      Step const& step = steps[at + 1].at(*state);
      plan[at] = step.brought;
      state = step.before;
    }
    return plan;
  }

  std::vector<ListeningQuad> const& quads_;
  int reach_, inputs_;
  std::size_t count_ = 0;
};

}  // namespace

std::vector<std::uint32_t> reference_plan(std::vector<ListeningQuad> const& quads, int reach, int inputs) {
  return Plan(quads, reach, inputs).fewest();
}

}  // namespace kdi::gt
