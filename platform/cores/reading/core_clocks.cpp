#include "platform/cores/reading/core_clocks.h"

#include <algorithm>
#include <span>

namespace kdi::cores {
namespace {

class ClockReader {
 public:
  ClockReader(SectionContext const& context, ClockSection& section) : reader_(context, section), section_(section) {}

  void add_reference(SectionEntry const& entry) {
    entry.value.allow_only({"name", "each", "frequency"});
    section_.references.push_back({entry.name, reader_.rule(entry, entry.member("frequency"), Kind::decimal)});
    claim(entry, entry.name);
  }

  void add_pll(SectionEntry const& entry) {
    entry.value.allow_only({"name", "each", "enabled", "source", "references", "feedback", "divider", "vco", "most",
                            "actual", "crossing"});
    DescribedPll pll;
    pll.name = entry.name;
    pll.enabled = reader_.optional_rule(entry, "enabled", Kind::truth);
    pll.source = reader_.optional_given(entry, "source", Kind::text);
    pll.actual = reader_.optional_given(entry, "actual", Kind::decimal);
    pll.references = choices(entry, entry.member("references"), pll.source, [&](std::string const& name) {
      return std::any_of(section_.references.begin(), section_.references.end(),
                         [&](DescribedReference const& reference) { return reference.name == name; });
    });
    pll.feedback = divider(entry, entry.member("feedback"));
    if (const auto value = entry.find("divider")) pll.divider = divider(entry, *value);
    const JsonValue vco = entry.member("vco");
    if (vco.items().size() != 2) vco.refuse("the least and the greatest frequency");
    pll.vco_least = reader_.rule(entry, vco.items()[0], Kind::decimal);
    pll.vco_most = reader_.rule(entry, vco.items()[1], Kind::decimal);
    pll.most = reader_.optional_rule(entry, "most", Kind::decimal);
    claim(entry, entry.name);
    if (const auto value = entry.find("crossing")) pll.crossing = crossing(entry, *value);
    section_.plls.push_back(std::move(pll));
  }

  void add_output(SectionEntry const& entry) {
    entry.value.allow_only(
        {"name", "each", "enabled", "requested", "actual", "source", "sources", "dividers", "most", "exceeds"});
    DescribedClock clock;
    clock.name = entry.name;
    clock.enabled = reader_.optional_rule(entry, "enabled", Kind::truth);
    clock.requested = reader_.rule(entry, entry.member("requested"), Kind::decimal);
    clock.actual = reader_.given(entry, entry.member("actual"), Kind::decimal);
    clock.source = reader_.optional_given(entry, "source", Kind::text);
    clock.sources = choices(entry, entry.member("sources"), clock.source,
                            [&](std::string const& name) { return names_.contains(name); });
    if (const auto list = entry.find("dividers"))
      for (const JsonValue value : list->items()) clock.dividers.push_back(divider(entry, value));
    clock.most = reader_.optional_rule(entry, "most", Kind::decimal);
    if (const auto exceeds = entry.find("exceeds")) clock.may_exceed = exceeds->boolean();
    section_.clocks.push_back(std::move(clock));
  }

  void set_manual(SectionEntry const& entry) { section_.manual = reader_.rule(entry, entry.value, Kind::truth); }

 private:
  void claim(SectionEntry const& entry, std::string const& name) {
    if (!names_.insert(name).second) entry.value.refuse("a name that no other reference, PLL or crossing has");
  }

  DescribedCrossing crossing(SectionEntry const& entry, JsonValue value) {
    value.allow_only({"name", "parameter", "values", "most"});
    DescribedCrossing crossing;
    crossing.name = text(value.member("name"), entry.places);
    claim(entry, crossing.name);
    crossing.divider = divider_of(entry, value);
    if (const auto most = value.find("most")) crossing.most = reader_.rule(entry, *most, Kind::decimal);
    return crossing;
  }

  DescribedDivider divider(SectionEntry const& entry, JsonValue value) {
    value.allow_only({"parameter", "values"});
    return divider_of(entry, value);
  }

  DescribedDivider divider_of(SectionEntry const& entry, JsonValue value) {
    DescribedDivider divider;
    if (const auto parameter = value.find("parameter"))
      divider.parameter = reader_.given(entry, *parameter, Kind::integer);
    divider.values = reader_.rule(entry, value.member("values"), *Type::list_of(Kind::integer));
    return divider;
  }

  // A list of names, or an object of names with the texts that the parameter shows for them.
  template <class IsKnown>
  std::vector<NamedChoice> choices(SectionEntry const& entry, JsonValue value, std::optional<std::uint32_t> parameter,
                                   IsKnown is_known) const {
    std::vector<NamedChoice> all;
    const auto add = [&](JsonValue at, std::string const& name, std::string const& shown) {
      if (!is_known(name)) at.refuse("what this section describes before, not " + name);
      for (NamedChoice const& other : all)
        if (other.name == name) at.refuse("each name once");
      reader_.check_text(at, parameter, shown);
      all.push_back({name, shown});
    };
    if (value.is_object())
      for (const JsonValue member : value.members())
        add(member, filled(member, member.name(), entry.places), text(member, entry.places));
    else
      for (const JsonValue item : value.items()) add(item, text(item, entry.places), text(item, entry.places));
    if (all.empty()) value.refuse("one name or more");
    return all;
  }

  SectionReader reader_;
  ClockSection& section_;
  std::set<std::string> names_;
};

}  // namespace

void ClockDraft::add(JsonValue section, Places const& places) {
  section.allow_only({"retired", "manual", "references", "plls", "outputs"});
  if (place_.empty()) place_ = section.place();
  if (const auto retired = section.find("retired"))
    for (SectionEntries* const entries : {&references_, &plls_, &outputs_}) entries->retire(*retired, places);
  if (const auto manual = section.find("manual")) manual_ = SectionEntry{"manual", *manual, places};
  if (const auto list = section.find("references")) references_.add(*list, places);
  if (const auto list = section.find("plls")) plls_.add(*list, places);
  if (const auto list = section.find("outputs")) outputs_.add(*list, places);
}

std::shared_ptr<ClockSection> ClockDraft::finished(SectionContext const& context) const {
  if (outputs_.empty()) return nullptr;
  auto section = std::make_shared<ClockSection>();
  section->place = place_;
  ClockReader reader(context, *section);
  if (manual_) reader.set_manual(*manual_);
  for (SectionEntry const& entry : references_.all()) reader.add_reference(entry);
  for (SectionEntry const& entry : plls_.all()) reader.add_pll(entry);
  for (SectionEntry const& entry : outputs_.all()) reader.add_output(entry);
  return section;
}

// ----------------------------------------------------------------------------------------------------------- the step

namespace {

constexpr std::int64_t kMostMegahertz = 1'000'000;
constexpr int kMostPlaces = 9;

// One run of the search.
class ClockRun {
 public:
  ClockRun(ClockSection const& section, ClockAnswers& answers, SearchInput const& input)
      : section_(section), answers_(answers), input_(input) {
    found_->values.resize(section.writes.size());
    for (std::size_t i = 0; i < section.writes.size(); ++i) places_.emplace(section.writes[i], i);
  }

  std::shared_ptr<Findings const> result() {
    found_->manual = section_.manual && holds(*section_.manual);
    ask();
    if (found_->manual)
      follow();
    else
      search();
    return std::move(found_);
  }

 private:
  Value value(Rule const& rule) const { return input_.machine.run(rule, input_.cells); }
  bool holds(Rule const& rule) const { return value(rule).cell().truth(); }
  Decimal number(Rule const& rule) const { return value(rule).cell().decimal(); }
  std::optional<Decimal> number(std::optional<Rule> const& rule) const {
    return rule ? std::optional(number(*rule)) : std::nullopt;
  }

  // Most clocks have the same dividers, whatever the parameters say: they are listed once.
  std::vector<int> dividers(DescribedDivider const& divider) {
    if (!divider.values.reads().empty()) return listed(divider.values);
    const auto known = std::find_if(constant_.begin(), constant_.end(),
                                    [&](auto const& one) { return one.first->is_same(divider.values); });
    if (known != constant_.end()) return known->second;
    return constant_.emplace_back(&divider.values, listed(divider.values)).second;
  }

  std::vector<int> listed(Rule const& values) const {
    const Value list = value(values);
    const std::span<Cell const> elements = list.cell().elements();
    std::vector<int> all(elements.size());
    bool is_ascending = true;
    std::int64_t before = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
      const std::int64_t one = elements[i].integer();
      if (one < 1 || one > (1 << 20)) throw RuleFault("dividers are from 1 to 1048576");
      is_ascending = is_ascending && one > before;
      all[i] = static_cast<int>(one);
      before = one;
    }
    if (is_ascending) return all;
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    return all;
  }

  void say(std::uint32_t parameter, std::string text) {
    found_->messages.push_back({parameter, true, std::move(text)});
  }

  void give(std::optional<std::uint32_t> parameter, Value value) {
    if (parameter) found_->values[places_.at(*parameter)] = {Found::From::search, std::move(value)};
  }

  // --- the request

  void ask() {
    ClockRequest& request = found_->request;
    std::set<std::string> there;
    for (DescribedReference const& reference : section_.references) {
      request.references.push_back({reference.name, number(reference.mhz)});
      there.insert(reference.name);
    }
    for (std::size_t i = 0; i < section_.plls.size(); ++i) {
      DescribedPll const& described = section_.plls[i];
      if (described.enabled && !holds(*described.enabled)) continue;
      request.plls.push_back(pll(described));
      found_->plls.push_back(i);
      there.insert(described.name);
      if (described.crossing) there.insert(described.crossing->name);
    }
    for (std::size_t i = 0; i < section_.clocks.size(); ++i) {
      DescribedClock const& described = section_.clocks[i];
      if (described.enabled && !holds(*described.enabled)) continue;
      Clock asked = clock(described, there);
      if (!found_->manual && !is_sound(asked, described.actual)) continue;
      request.clocks.push_back(std::move(asked));
      found_->clocks.push_back(i);
    }
  }

  Pll pll(DescribedPll const& described) {
    Pll pll;
    pll.name = described.name;
    for (NamedChoice const& choice : described.references) pll.references.push_back(choice.name);
    pll.feedback = dividers(described.feedback);
    pll.output_dividers = described.divider ? dividers(*described.divider) : std::vector<int>{1};
    pll.vco_least = number(described.vco_least);
    pll.vco_most = number(described.vco_most);
    pll.most = number(described.most);
    if (described.crossing)
      pll.crossing =
          Crossing{described.crossing->name, dividers(described.crossing->divider), number(described.crossing->most)};
    return pll;
  }

  Clock clock(DescribedClock const& described, std::set<std::string> const& there) {
    Clock clock{described.name, number(described.requested), {}, {}, number(described.most), described.may_exceed};
    for (NamedChoice const& choice : described.sources)
      if (there.contains(choice.name)) clock.sources.push_back(choice.name);
    for (DescribedDivider const& divider : described.dividers) clock.stages.push_back(dividers(divider));
    return clock;
  }

  // What is no request at all is told of the clock alone, and the others go on.
  bool is_sound(Clock const& clock, std::uint32_t parameter) {
    const bool is = clock.requested > Decimal() && clock.requested <= Decimal(kMostMegahertz) &&
                    clock.requested.places() <= kMostPlaces;
    if (!is)
      say(parameter, clock.name + ": a request is above 0 and at most 1000000 MHz, with at most 9 places, not " +
                         clock.requested.text());
    return is;
  }

  // --- the search

  void search() {
    for (Found& found : found_->values) found.from = Found::From::nothing;
    auto const before = std::dynamic_pointer_cast<ClockFindings const>(input_.before);
    if (before && !before->manual && before->request == found_->request)
      found_->answer = before->answer;
    else
      try {
        found_->answer = answers_.answer(found_->request, search_clocks);
      } catch (ClockError const& error) {
        throw RuleFault(error.what());
      }
    ClockAnswer const& answer = found_->answer;
    for (std::size_t p = 0; p < answer.plls.size(); ++p)
      if (answer.plls[p].used) give(section_.plls[found_->plls[p]], answer.plls[p]);
    for (std::size_t c = 0; c < answer.clocks.size(); ++c)
      give(section_.clocks[found_->clocks[c]], found_->request.clocks[c], answer.clocks[c]);
    for (UnmetClock const& unmet : answer.unmet)
      say(section_.clocks[found_->clocks[unmet.clock]].actual, text_of(unmet, found_->request));
  }

  void give(DescribedPll const& described, PllSetting const& setting) {
    give(described.source, described.references[setting.reference].text);
    give(described.feedback.parameter, setting.feedback);
    if (described.divider) give(described.divider->parameter, setting.output_divider);
    if (described.crossing && setting.crossing != 0) give(described.crossing->divider.parameter, setting.crossing);
    give(described.actual, setting.output.rounded(ClockSection::kShownPlaces));
  }

  void give(DescribedClock const& described, Clock const& clock, ClockSetting const& setting) {
    give(described.actual, setting.met ? setting.actual.rounded(ClockSection::kShownPlaces) : Decimal());
    if (!setting.met) return;
    give(described.source, text_of(described.sources, clock.sources[setting.source]));
    for (std::size_t i = 0; i < setting.dividers.size(); ++i)
      give(described.dividers[i].parameter, setting.dividers[i]);
  }

  static std::string text_of(std::vector<NamedChoice> const& choices, std::string const& name) {
    return std::find_if(choices.begin(), choices.end(), [&](NamedChoice const& o) { return o.name == name; })->text;
  }
  static std::string text_of(UnmetClock const& unmet, ClockRequest const& request) {
    return cores::text_of(unmet, request);
  }

  // --- what the user set

  void follow() {
    ClockRequest const& request = found_->request;
    found_->answer.plls.resize(request.plls.size());
    found_->answer.clocks.resize(request.clocks.size());
    for (std::size_t p = 0; p < request.plls.size(); ++p) follow_pll(p);
    for (std::size_t c = 0; c < request.clocks.size(); ++c) follow_clock(c);
  }

  // The user's choice among those that there are.
  std::optional<std::string> chosen(std::optional<std::uint32_t> parameter,
                                    std::vector<NamedChoice> const& choices) const {
    if (!parameter) return choices.front().name;
    const Value shown = input_.plain(*parameter);
    for (NamedChoice const& choice : choices)
      if (choice.text == shown.cell().text()) return choice.name;
    return std::nullopt;
  }

  // The user's divider; the first that is permitted where no parameter says it.
  int divider(DescribedDivider const& described, std::vector<int> const& permitted) const {
    if (!described.parameter) return permitted.empty() ? 1 : permitted.front();
    const std::int64_t given = input_.plain(*described.parameter).cell().integer();
    return static_cast<int>(std::clamp<std::int64_t>(given, 0, 1 << 20));
  }

  void follow_pll(std::size_t number) {
    Pll const& pll = found_->request.plls[number];
    DescribedPll const& described = section_.plls[found_->plls[number]];
    PllSetting& setting = found_->answer.plls[number];
    const auto reference = chosen(described.source, described.references);
    setting.feedback = divider(described.feedback, pll.feedback);
    setting.output_divider = described.divider ? divider(*described.divider, pll.output_dividers) : 1;
    setting.crossing = described.crossing ? divider(described.crossing->divider, pll.crossing->dividers) : 0;
    if (!reference || setting.output_divider == 0) return;
    setting.used = true;
    while (pll.references[setting.reference] != *reference) ++setting.reference;
    const Decimal mhz = mhz_of(*reference);
    setting.vco = product(mhz, setting.feedback);
    setting.output = divided(setting.vco, setting.output_divider);
    give(described.actual, setting.output.rounded(ClockSection::kShownPlaces));
    if (!described.feedback.parameter) return;
    if (setting.vco < product(pll.vco_least, 1) || setting.vco > product(pll.vco_most, 1))
      say(*described.feedback.parameter, pll.name + ": its oscillator would run at " + shown(setting.vco) +
                                             ", outside " + pll.vco_least.text() + " to " + pll.vco_most.text() +
                                             " MHz");
    else if (pll.most && setting.output > product(*pll.most, 1))
      say(*described.feedback.parameter,
          pll.name + " would run at " + shown(setting.output) + ", its limit is " + pll.most->text() + " MHz");
  }

  void follow_clock(std::size_t number) {
    Clock const& clock = found_->request.clocks[number];
    DescribedClock const& described = section_.clocks[found_->clocks[number]];
    ClockSetting& setting = found_->answer.clocks[number];
    Int128 divider_of_all = 1;
    for (std::size_t i = 0; i < described.dividers.size(); ++i) {
      setting.dividers.push_back(divider(described.dividers[i], clock.stages[i]));
      divider_of_all *= setting.dividers.back();
    }
    const auto source = chosen(described.source, described.sources);
    const auto place = source ? std::find(clock.sources.begin(), clock.sources.end(), *source) : clock.sources.end();
    const auto frequency = place == clock.sources.end() ? std::nullopt : source_frequency(*place);
    if (!frequency || divider_of_all == 0 || divider_of_all > (1 << 20)) {
      give(described.actual, Decimal());
      say(described.actual, clock.name + ": its source or its divider is not there");
      return;
    }
    setting.met = true;
    setting.source = static_cast<std::size_t>(place - clock.sources.begin());
    setting.actual = divided(*frequency, divider_of_all);
    give(described.actual, setting.actual.rounded(ClockSection::kShownPlaces));
    if (clock.most && setting.actual > product(*clock.most, 1))
      say(described.actual,
          clock.name + " would run at " + shown(setting.actual) + ", its limit is " + clock.most->text() + " MHz");
  }

  std::optional<Fraction> source_frequency(std::string const& name) const {
    ClockRequest const& request = found_->request;
    for (std::size_t p = 0; p < request.plls.size(); ++p) {
      PllSetting const& setting = found_->answer.plls[p];
      if (!setting.used) continue;
      if (request.plls[p].name == name) return setting.output;
      if (request.plls[p].crossing && request.plls[p].crossing->name == name && setting.crossing != 0)
        return divided(setting.output, setting.crossing);
    }
    for (ClockReference const& reference : request.references)
      if (reference.name == name) return product(reference.mhz, 1);
    return std::nullopt;
  }

  Decimal mhz_of(std::string const& reference) const {
    for (ClockReference const& known : found_->request.references)
      if (known.name == reference) return known.mhz;
    return {};
  }

  static Fraction product(Decimal mhz, int factor) {
    if (mhz.places() > kMostPlaces) throw RuleFault("frequencies have at most 9 places, not " + mhz.text());
    Int128 den = 1;
    for (int i = 0; i < mhz.places(); ++i) den *= 10;
    return Fraction::of(Int128{mhz.mantissa()} * factor, den);
  }
  static Fraction divided(Fraction const& mhz, Int128 divider) { return Fraction::of(mhz.num, mhz.den * divider); }
  static std::string shown(Fraction const& mhz) { return mhz.rounded(ClockSection::kShownPlaces).text() + " MHz"; }

  ClockSection const& section_;
  ClockAnswers& answers_;
  SearchInput const& input_;
  std::shared_ptr<ClockFindings> found_ = std::make_shared<ClockFindings>();
  std::map<std::uint32_t, std::size_t> places_;
  std::vector<std::pair<Rule const*, std::vector<int>>> constant_;  // what rules that read nothing list
};

// What a clock or PLL that the user sets comes from: as it is told in ClockRun, what is followed there is read here.
class FollowedReads {
 public:
  FollowedReads(ClockSection const& section, Core const& core, ClockFindings const& found)
      : section_(section), core_(core), found_(found) {
    add(section.manual);
  }

  std::vector<std::uint32_t> of(std::uint32_t parameter) && {
    for (std::size_t p = 0; p < section_.plls.size(); ++p) {
      DescribedPll const& pll = section_.plls[p];
      const bool is_its = parameter == pll.source || parameter == pll.actual || is_of(pll.feedback, parameter) ||
                          (pll.divider && is_of(*pll.divider, parameter)) ||
                          (pll.crossing && is_of(pll.crossing->divider, parameter));
      if (!is_its) continue;
      add_pll(p);
      for (Rule const* const limit : {&pll.vco_least, &pll.vco_most}) add(*limit);
      add(pll.most);
    }
    for (std::size_t c = 0; c < section_.clocks.size(); ++c) {
      DescribedClock const& clock = section_.clocks[c];
      if (parameter == clock.actual || parameter == clock.source ||
          std::any_of(clock.dividers.begin(), clock.dividers.end(),
                      [&](DescribedDivider const& divider) { return is_of(divider, parameter); }))
        add_clock(c);
    }
    std::sort(all_.begin(), all_.end());
    all_.erase(std::unique(all_.begin(), all_.end()), all_.end());
    return std::move(all_);
  }

 private:
  static bool is_of(DescribedDivider const& divider, std::uint32_t parameter) { return divider.parameter == parameter; }

  void add(Rule const& rule) { all_.insert(all_.end(), rule.reads().begin(), rule.reads().end()); }
  void add(std::optional<Rule> const& rule) {
    if (rule) add(*rule);
  }
  void add(std::optional<std::uint32_t> parameter) {
    if (!parameter) return;
    all_.push_back(Core::slot(*parameter, Core::kUser));
    if (core_.parameters()[*parameter].range) all_.push_back(core_.range_slot(*parameter));
  }
  void add(DescribedDivider const& divider) {
    if (divider.parameter)
      add(divider.parameter);
    else
      add(divider.values);
  }

  void add_clock(std::size_t number) {
    DescribedClock const& clock = section_.clocks[number];
    add(clock.enabled);
    add(clock.source);
    add(clock.most);
    add(std::optional(clock.actual));
    for (DescribedDivider const& divider : clock.dividers) add(divider);
    const auto place = std::find(found_.clocks.begin(), found_.clocks.end(), number);
    if (place == found_.clocks.end()) return;
    const auto asked = static_cast<std::size_t>(place - found_.clocks.begin());
    ClockSetting const& setting = found_.answer.clocks[asked];
    if (setting.met)
      add_source(found_.request.clocks[asked].sources[setting.source]);
    else
      for (NamedChoice const& choice : clock.sources) add_source(choice.name);
  }

  void add_source(std::string const& name) {
    for (std::size_t p = 0; p < section_.plls.size(); ++p) {
      DescribedPll const& pll = section_.plls[p];
      if (pll.name == name || (pll.crossing && pll.crossing->name == name)) add_pll(p);
    }
    for (DescribedReference const& reference : section_.references)
      if (reference.name == name) add(reference.mhz);
  }

  void add_pll(std::size_t number) {
    DescribedPll const& pll = section_.plls[number];
    add(pll.enabled);
    add(pll.source);
    add(pll.actual);
    add(pll.feedback);
    if (pll.divider) add(*pll.divider);
    if (pll.crossing) add(pll.crossing->divider);
    for (NamedChoice const& choice : pll.references) add_source(choice.name);
  }

  ClockSection const& section_;
  Core const& core_;
  ClockFindings const& found_;
  std::vector<std::uint32_t> all_;
};

}  // namespace

ClockAnswer ClockAnswers::answer(ClockRequest const& request, ClockAnswer (*search)(ClockRequest const&)) {
  {
    const std::lock_guard lock(mutex_);
    const auto known = std::find_if(known_.begin(), known_.end(),
                                    [&](std::shared_ptr<Known const> const& one) { return one->request == request; });
    if (known != known_.end()) {
      std::rotate(known_.begin(), known, known + 1);
      return known_.front()->answer;
    }
  }
  auto found = std::make_shared<Known const>(Known{request, search(request)});
  const std::lock_guard lock(mutex_);
  known_.push_front(found);
  if (known_.size() > kMost) known_.pop_back();
  return found->answer;
}

std::shared_ptr<Findings const> ClockSection::run(SearchInput const& input) const {
  try {
    return ClockRun(*this, answers_, input).result();
  } catch (std::overflow_error const& error) {
    throw RuleFault(error.what());
  }
}

std::vector<std::uint32_t> ClockSection::reads_of(Core const& core, Findings const& found,
                                                  std::uint32_t parameter) const {
  auto const* const of_clocks = dynamic_cast<ClockFindings const*>(&found);
  if (of_clocks == nullptr || !of_clocks->manual) return reads;
  return FollowedReads(*this, core, *of_clocks).of(parameter);
}

}  // namespace kdi::cores
