// Changes of a request by kinds, each with its steps from the least on, and the nearest of them with which there is a
// plan.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kdi::planning {

template <class Request>
struct Step {
  std::string text;
  std::function<void(Request&)> change;
};

template <class Request>
struct StepKind {
  std::string name;
  std::vector<Step<Request>> steps;
  bool ends_with_least = true;  ///< where the last step does not do, none does
  bool steps_add = false;       ///< where several steps together do not do, none of them does
};

template <class Request>
Request changed(Request request, Step<Request> const& step) {
  step.change(request);
  return request;
}

/// The first step with which there is a plan; null if there is none.
template <class Request, class IsPossible>
Step<Request> const* first_possible(Request const& request, StepKind<Request> const& kind, IsPossible is_possible) {
  if (kind.ends_with_least && !is_possible(changed(request, kind.steps.back()))) return nullptr;
  using Steps = typename std::vector<Step<Request>>::const_iterator;
  const auto first_of = [&](auto self, Steps begin, Steps end) -> Step<Request> const* {
    if (begin == end) return nullptr;
    if (end - begin == 1) return is_possible(changed(request, *begin)) ? &*begin : nullptr;
    if (kind.steps_add) {
      Request all = request;
      for (Steps step = begin; step != end; ++step) step->change(all);
      if (!is_possible(all)) return nullptr;
    }
    const Steps middle = begin + (end - begin) / 2;
    Step<Request> const* const first = self(self, begin, middle);
    return first != nullptr ? first : self(self, middle, end);
  };
  // What is known of the last step tells nothing of those before it.
  const Steps last = std::prev(kind.steps.end());
  if (Step<Request> const* const first = first_of(first_of, kind.steps.begin(), last)) return first;
  return kind.ends_with_least || is_possible(changed(request, *last)) ? &*last : nullptr;
}

/// Of each kind the first step with which there is a plan. `first_possible(request, kind)` finds it, and
/// `planned(request, kind, text)` gives an optional answer.
template <class Near, class Request, class Kind, class FirstPossible, class Planned>
std::vector<Near> nearest_by_one(Request const& request, std::vector<Kind> const& kinds, FirstPossible first_possible,
                                 Planned planned) {
  std::vector<Near> all;
  for (Kind const& kind : kinds)
    if (auto const* const step = first_possible(request, kind)) {
      Request with = request;
      step->change(with);
      if (auto one = planned(std::move(with), kind.name, step->text)) all.push_back(std::move(*one));
    }
  return all;
}

/// All kinds with their last steps; of these only what is needed, beginning with what is the least wanted, and of each
/// the first step that does beside the others.
template <class Near, class Request, class Kind, class IsPossible, class FirstPossible, class Planned>
std::vector<Near> nearest_by_several(Request const& request, std::vector<Kind> const& kinds, IsPossible is_possible,
                                     FirstPossible first_possible, Planned planned) {
  std::vector<decltype(kinds.front().steps.data())> steps;
  for (Kind const& kind : kinds) steps.push_back(kind.ends_with_least ? &kind.steps.back() : nullptr);
  const auto with_all = [&](std::size_t except) {
    Request one = request;
    for (std::size_t i = 0; i < kinds.size(); ++i)
      if (i != except && steps[i] != nullptr) steps[i]->change(one);
    return one;
  };
  if (!is_possible(with_all(kinds.size()))) return {};
  for (std::size_t i = kinds.size(); i-- > 0;)
    if (steps[i] != nullptr && is_possible(with_all(i))) steps[i] = nullptr;
  std::string change, text;
  for (std::size_t i = 0; i < kinds.size(); ++i) {
    if (steps[i] == nullptr) continue;
    steps[i] = first_possible(with_all(i), kinds[i]);
    change += (change.empty() ? "" : " ") + kinds[i].name;
    text += (text.empty() ? "" : ", and ") + steps[i]->text;
  }
  if (auto one = planned(with_all(kinds.size()), change, text)) return {std::move(*one)};
  return {};
}

}  // namespace kdi::planning
