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

// All cores of the whole, that of the place first.
class WholeAdviser : public Around {
 public:
  WholeAdviser(Configuration& whole, Configuration& within, Place place, Effort effort, RuleParts const& parts)
      : whole_(whole), within_(within), place_(place), effort_(effort), parts_(parts), cores_{place.configuration} {
    for (Configuration* const one : whole_.all_of_it())
      if (one != place.configuration) cores_.push_back(one);
    other_parts_.resize(cores_.size());
  }

  Record operator()(Wish const& wish) {
    wish_ = wish;
    const auto name = [&](std::uint32_t number) { return within_.name_of(place_of(spot(number))); };
    return record_of(cores_[0]->core(), wish, advise(wish, effort_, *this), name);
  }

  std::uint32_t count() const override { return static_cast<std::uint32_t>(cores_.size()); }
  Instance const& instance(std::uint32_t core) const override { return cores_[core]->instance(); }

  Terms& terms(std::uint32_t core) override {
    if (core == 0) return parts_.terms();
    if (other_parts_[core] == nullptr) other_parts_[core] = std::make_unique<RuleParts>(cores_[core]->core());
    return other_parts_[core]->terms();
  }

  std::vector<Spot> same_as(Spot spot) const override {
    std::vector<Spot> same;
    for (Place const& place : whole_.same_as(place_of(spot)))
      same.push_back({index_of(cores_, place.configuration), place.number});
    std::sort(same.begin(), same.end(), [](Spot a, Spot b) { return a.core < b.core; });
    return same;
  }

  // The changes are made to a copy of the whole, as whoever follows the advice makes them.
  bool approves(std::vector<Change> const& changes) override {
    if (count() == 1) return true;
    const std::vector<Configuration*> now = whole_.all_of_it();
    if (before_ == nullptr) {
      before_ = whole_.copy();
      before_->set({});
      errors_ = errors_of(before_->all_of_it());
    }
    const auto copy = before_->copy();
    const std::vector<Configuration*> all = copy->all_of_it();
    std::vector<Place> taken, changed;
    std::vector<std::pair<Place, std::string>> given;
    for (Change const& change : changes) {
      Place place = place_of(spot(change.parameter));
      place.configuration = all[index_of(now, place.configuration)];
      changed.push_back(place);
      if (change.text)
        given.emplace_back(place, *change.text);
      else
        taken.push_back(place);
    }
    copy->take_back(taken, Strength::values);
    copy->set(given);
    for (Place const& place : changed)
      if (!place.configuration->instance().is_enabled(place.number)) return false;
    for (auto const& [which, count] : errors_of(all)) {
      const auto known = errors_.find(which);
      if (known == errors_.end() || known->second < count) return false;
    }
    return is_fulfilled(wish_, *all[index_of(now, place_.configuration)]);
  }

 private:
  Place place_of(Spot spot) const { return {cores_[spot.core], spot.parameter}; }

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
  std::vector<Configuration*> cores_;
  std::vector<std::unique_ptr<RuleParts>> other_parts_;  // by core, of those around that are looked at
  Wish wish_{};
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
