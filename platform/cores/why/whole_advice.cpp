// Explanations of a core with its sub-cores: each advice holds for all of them, and names what it changes as the core
// finds it.
#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <tuple>
#include <utility>

#include "kdi/cores/Whole.h"
#include "platform/cores/why/advice_parts.h"
#include "platform/cores/why/explain_parts.h"

namespace kdi::cores {
namespace {

using Place = Configuration::Place;

std::uint32_t index_of(std::vector<Configuration*> const& all, Configuration const* one) {
  return static_cast<std::uint32_t>(std::find(all.begin(), all.end(), one) - all.begin());
}

// How often each error is told: of which core, of which parameter, under which name.
using Errors = std::map<std::tuple<std::size_t, std::uint32_t, std::string>, int>;
Errors errors_of(std::vector<Configuration*> const& all) {
  Errors errors;
  for (std::size_t i = 0; i < all.size(); ++i)
    for (Due& due : all[i]->own_messages())
      if (due.severity == Severity::error) ++errors[{i, due.parameter, std::move(due.name)}];
  return errors;
}

class WholeAdviser {
 public:
  WholeAdviser(Configuration& whole, Configuration& within, Place place, Effort effort, RuleParts const& parts)
      : whole_(whole), within_(within), place_(place), effort_(effort), parts_(parts) {}

  Record operator()(Wish const& wish) {
    std::optional<Record> answer;
    for (Place const& place : places_for(wish)) {
      std::unique_ptr<RuleParts> other_parts;
      Core const& core = place.configuration->core();
      const Wish same{wish.kind, place.number, wish.message};
      const Approval approval = [&](std::vector<Change> const& changes) {
        return holds(wish, *place.configuration, changes);
      };
      if (place.configuration != place_.configuration) other_parts = std::make_unique<RuleParts>(core);
      const Advice advice = advise(place.configuration->instance(), same, effort_,
                                   other_parts == nullptr ? parts_ : *other_parts, is_alone() ? Approval() : approval);
      const auto name = [&](std::uint32_t parameter) { return within_.name_of({place.configuration, parameter}); };
      if (!answer || advice.outcome == Advice::Outcome::found) answer = record_of(core, same, advice, name);
      if (advice.outcome == Advice::Outcome::found) break;
    }
    return *answer;
  }

 private:
  bool is_alone() const { return whole_.core().sub_cores().empty(); }

  // Where the wish may be sought: at the parameter, and at those that are given the same.
  std::vector<Place> places_for(Wish const& wish) const {
    if (wish.kind != Wish::Kind::enabled) return {place_};
    std::vector<Place> places = whole_.same_as(place_);
    std::erase_if(places, [&](Place const& one) {
      return one.configuration != place_.configuration && one.configuration->instance().is_enabled(one.number);
    });
    return places;
  }

  // The changes are made to a copy of the whole, as whoever follows the advice makes them.
  bool holds(Wish const& wish, Configuration const& at, std::vector<Change> const& changes) {
    const std::vector<Configuration*> now = whole_.all_of_it();
    if (before_ == nullptr) {
      before_ = whole_.copy();
      before_->set({});
      errors_ = errors_of(before_->all_of_it());
    }
    const auto copy = before_->copy();
    const std::vector<Configuration*> all = copy->all_of_it();
    Configuration& changed = *all[index_of(now, &at)];
    std::vector<Place> taken;
    std::vector<std::pair<Place, std::string>> given;
    for (Change const& change : changes)
      if (change.text)
        given.emplace_back(Place{&changed, change.parameter}, *change.text);
      else
        taken.push_back({&changed, change.parameter});
    copy->take_back(taken, Strength::values);
    copy->set(given);
    for (Change const& change : changes)
      if (!changed.instance().is_enabled(change.parameter)) return false;
    for (auto const& [which, count] : errors_of(all)) {
      const auto known = errors_.find(which);
      if (known == errors_.end() || known->second < count) return false;
    }
    return is_fulfilled(wish, *all[index_of(now, place_.configuration)]);
  }

  bool is_fulfilled(Wish const& wish, Configuration& at) const {
    if (wish.kind == Wish::Kind::enabled) return at.instance().is_enabled(place_.number);
    if (wish.kind == Wish::Kind::permitted) return Insight(at.instance()).is_permitted(place_.number);
    const std::vector<Due> messages = at.own_messages();
    return std::none_of(messages.begin(), messages.end(),
                        [&](Due const& due) { return due.parameter == place_.number && due.name == wish.message; });
  }

  Configuration &whole_, &within_;
  Place place_;
  Effort effort_;
  RuleParts const& parts_;
  std::unique_ptr<Configuration> before_;
  Errors errors_;
};

}  // namespace

Record explain_whole(Configuration& whole, Configuration& within, Place place, Effort effort) {
  return explain_whole(whole, within, place, effort, RuleParts(place.configuration->core()));
}

Record explain_whole(Configuration& whole, Configuration& within, Place place, Effort effort, RuleParts const& parts) {
  WholeAdviser adviser(whole, within, place, effort, parts);
  Shows shows;
  if (place.configuration->is_composite(place.number))
    shows = {place.configuration->value(place.number), place.configuration->backup(place.number)};
  return explain_with(place.configuration->instance(), place.number, parts, shows,
                      effort.most_changes > 0 ? Adviser(std::ref(adviser)) : Adviser());
}

Record explain_whole(Configuration& whole, Configuration& within, Place place, std::string_view message,
                     Effort effort) {
  return explain_whole(whole, within, place, message, effort, RuleParts(place.configuration->core()));
}

Record explain_whole(Configuration& whole, Configuration& within, Place place, std::string_view message, Effort effort,
                     RuleParts const& parts) {
  WholeAdviser adviser(whole, within, place, effort, parts);
  return explain_with(place.configuration->instance(), place.number, message, parts,
                      effort.most_changes > 0 ? Adviser(std::ref(adviser)) : Adviser());
}

}  // namespace kdi::cores
