#include "kdi/cores/Configuration.h"

#include <algorithm>
#include <set>
#include <stdexcept>
#include <utility>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "platform/cores/state/tcl_words.h"

namespace kdi::cores {
namespace {

constexpr std::string_view kPrefix = "CONFIG.";
constexpr int kDeepestSubCores = 4;
constexpr int kDeepestTexts = 1;  // a composite may be named in the text of another one, and none within that

thread_local int sub_core_depth = 0;  // of the configurations that are being made

// The words within the words of a list of pairs; nothing if it is none.
std::optional<std::vector<std::string>> words_of_pairs(std::vector<std::string> const& pairs) {
  std::vector<std::string> flat;
  for (std::string const& pair : pairs) {
    const auto two = words_of(pair);
    if (!two || two->size() != 2) return std::nullopt;
    flat.insert(flat.end(), two->begin(), two->end());
  }
  return flat;
}

// Keys and values of a composite text, in their order; none if it is no list. A key at the end without a value has an
// empty one.
std::vector<std::pair<std::string, std::string>> pairs_of(std::string const& text) {
  auto words = words_of(text);
  if (!words) return {};
  if (auto flat = words_of_pairs(*words)) words = std::move(flat);
  if (words->size() % 2 != 0) words->emplace_back();
  std::vector<std::pair<std::string, std::string>> pairs;
  for (std::size_t i = 0; i < words->size(); i += 2) pairs.emplace_back((*words)[i], (*words)[i + 1]);
  return pairs;
}

// Whether both texts are the same value of the parameter.
bool is_same(Parameter const& parameter, std::string const& one, std::string const& other) {
  if (one == other) return true;
  const auto value = read_value(parameter.type, one);
  return value && value_text(*value) == other;
}

// Without a device everything is.
bool is_there(SubCore const& sub, Facts const& facts) {
  const auto count = facts.find("slr.count");
  return sub.region == 0 || count == facts.end() || sub.region < number::whole<int>(count->second).value_or(1);
}

// Whether the device has this version of the core.
bool hosts(Facts const& facts, SubCore::Described const& one) {
  const auto versions = facts.find("core." + one.core + ".versions");
  if (versions == facts.end()) return false;
  const auto all = text::words(versions->second);
  return all.empty() || std::find(all.begin(), all.end(), one.version) != all.end();
}

// The core that it is on the device; none if the device has none of those that it may be.
std::optional<SubCore::Described> described_on(SubCore const& sub, Facts const& facts) {
  const SubCore::Described first{sub.core, sub.version};
  if (sub.first_of.empty() || !facts.contains("cores")) return first;
  const auto found = std::find_if(sub.first_of.begin(), sub.first_of.end(),
                                  [&](SubCore::Described const& one) { return hosts(facts, one); });
  return found == sub.first_of.end() ? std::nullopt : std::optional(*found);
}

std::string text_of(std::map<std::string, std::string> const& pairs) {
  std::string text;
  for (auto const& [key, value] : pairs) {
    text::append_word(text, as_word(key));
    text::append_word(text, as_word(value));
  }
  return text;
}

}  // namespace

// Members of a composite that are parameters of one core.
struct Configuration::Part {
  Configuration* of;
  std::map<std::string, std::uint32_t> members;  // by key
  std::map<std::uint32_t, std::string> keys;
};

// A composite; without parts, of a sub-core that the device does not have. Members of two parts with one key are given
// the same.
struct Configuration::Held {
  Composite const* composite;
  std::vector<Part> parts;
};

Configuration::Configuration(std::shared_ptr<Core const> core, Facts const& facts, Descriptions const& descriptions)
    : instance_(std::move(core), facts) {
  struct Deeper {
    Deeper() { ++sub_core_depth; }
    ~Deeper() { --sub_core_depth; }
  } const deeper;
  const std::string name = this->core().name() + " " + this->core().version();
  if (sub_core_depth > kDeepestSubCores) throw std::runtime_error(name + ": sub-cores that are nested without end");
  for (SubCore const& sub : this->core().sub_cores()) {
    const auto described = is_there(sub, facts) ? described_on(sub, facts) : std::nullopt;
    if (!described) continue;
    auto description = descriptions(described->core, described->version);
    if (description == nullptr)
      throw std::runtime_error(name + ": its sub-core " + described->core + " " + described->version +
                               " has no description");
    sub_cores_.emplace_back(sub.name, std::make_unique<Configuration>(std::move(description), facts, descriptions));
  }
  tell_ranges_as(instance_.shared_core());
  for (Composite const& composite : this->core().composites()) {
    Held held{&composite, {}};
    if (!composite.members.empty()) held.parts.push_back(own_members(composite, facts));
    Configuration* const sub = composite.sub_core.empty() ? nullptr : sub_core(composite.sub_core);
    if (sub != nullptr) held.parts.push_back(all_members(*sub));
    for (Part& part : held.parts)
      for (auto const& [key, number] : part.members) part.keys.emplace(number, key);
    held_.push_back(std::make_unique<Held>(std::move(held)));
  }
}

// Whoever asks a wizard hears of all that is within it in one form.
void Configuration::tell_ranges_as(std::shared_ptr<Core const> const& core) {
  instance_.set_words(core);
  for (auto const& [name, sub] : sub_cores_) sub->tell_ranges_as(core);
}

Configuration::Part Configuration::own_members(Composite const& composite, Facts const& facts) {
  Part part{this, {}, {}};
  for (Composite::Member const& member : composite.members) {
    const auto told = member.key_word.empty() ? facts.end() : facts.find(member.key_word);
    const bool has_key = member.key_word.empty() || (facts.empty() && !member.key.empty());
    if (has_key)
      part.members.emplace(member.key, member.parameter);
    else if (told != facts.end())
      part.members.emplace(told->second, member.parameter);
  }
  return part;
}

Configuration::Part Configuration::all_members(Configuration& of) {
  Part part{&of, {}, {}};
  Core const& core = of.core();
  for (std::uint32_t i = 0; i < core.parameters().size(); ++i)
    if (core.is_settable(i) && of.is_single(i)) part.members.emplace(core.parameters()[i].name, i);
  return part;
}

Configuration::Configuration(Configuration const& other) : instance_(other.instance_), refused_(other.refused_) {
  for (auto const& [name, sub] : other.sub_cores_) sub_cores_.emplace_back(name, sub->copy());
  for (auto const& held : other.held_) {
    held_.push_back(std::make_unique<Held>(*held));
    for (Part& part : held_.back()->parts) part.of = part.of == &other ? this : sub_core(held->composite->sub_core);
  }
}

Configuration::~Configuration() = default;

std::unique_ptr<Configuration> Configuration::copy() const {
  return std::unique_ptr<Configuration>(new Configuration(*this));
}

Configuration const* Configuration::sub_core(std::string_view name) const {
  for (auto const& [known, sub] : sub_cores_)
    if (known == name) return sub.get();
  return nullptr;
}

Configuration* Configuration::sub_core(std::string_view name) {
  return const_cast<Configuration*>(std::as_const(*this).sub_core(name));
}

std::optional<Configuration::Place> Configuration::find(std::string_view name) {
  auto number = core().find(name);
  if (!number && name.starts_with(kPrefix)) {
    name.remove_prefix(kPrefix.size());
    number = core().find(name);
  }
  if (!number) number = core().find_user_name(name);
  if (number) return Place{this, *number};
  for (auto const& [known, sub] : sub_cores_)
    if (const auto found = sub->find(name)) return found;
  const std::size_t point = name.find('.');
  Configuration* const sub = point == name.npos ? nullptr : sub_core(name.substr(0, point));
  return sub == nullptr ? std::nullopt : sub->find(name.substr(point + 1));
}

std::string Configuration::name_of(Place place) {
  const KeptText name = place.configuration->core().parameters()[place.number].name;
  const auto found = find(name);
  if (found && found->configuration == place.configuration && found->number == place.number) return name;
  for (auto const& [known, sub] : sub_cores_) {
    const std::vector<Configuration*> all = sub->all_of_it();
    if (std::find(all.begin(), all.end(), place.configuration) != all.end()) return known + "." + sub->name_of(place);
  }
  return name;
}

Configuration::Held* Configuration::held_by(std::uint32_t parameter, bool internal) const {
  const auto found = std::find_if(held_.begin(), held_.end(), [&](auto const& held) {
    return internal ? held->composite->internal == parameter : held->composite->parameter == parameter;
  });
  return found == held_.end() ? nullptr : found->get();
}

bool Configuration::is_single(std::uint32_t parameter) const {
  return held_by(parameter, true) == nullptr && held_by(parameter, false) == nullptr;
}

// ----------------------------------------------------------------------------------------------------------- setting

void Configuration::add(std::vector<std::uint32_t> const& numbers, std::vector<std::string>& moved) const {
  for (const std::uint32_t number : numbers) moved.push_back(core().parameters()[number].name);
}

std::vector<std::string> Configuration::set(std::vector<std::pair<Place, std::string>> const& values, Origin from,
                                            Strength strength) {
  std::vector<std::string> moved;
  if (refuses(values)) return compute(strength);
  for (const bool internal : {true, false})
    for (auto const& [place, text] : values)
      if (Held* const held = place.configuration->held_by(place.number, internal))
        place.configuration->give_text(*held, text, internal, from, moved);
  std::map<Configuration*, Values> plain;
  for (auto const& [place, text] : values)
    for (Place const& one : same_as(place))
      if (one.configuration->is_single(one.number)) plain[one.configuration].emplace_back(one.number, text);
  for (Configuration* const one : all_of_it())
    if (const auto given = plain.find(one); given != plain.end())
      one->add(one->instance_.set(given->second, from, Strength::values), moved);
  return computed(std::move(moved), strength);
}

std::vector<std::string> Configuration::take_back(std::vector<Place> const& places, Strength strength) {
  std::map<Configuration*, std::vector<std::uint32_t>> numbers;
  for (Place const& place : places)
    for (Place const& one : same_as(place))
      if (one.configuration->is_single(one.number)) numbers[one.configuration].push_back(one.number);
  std::vector<std::string> moved;
  for (Configuration* const one : all_of_it())
    if (const auto taken = numbers.find(one); taken != numbers.end())
      one->add(one->instance_.take_back(taken->second, Strength::values), moved);
  return computed(std::move(moved), strength);
}

// What moved, with what follows from that, each once.
std::vector<std::string> Configuration::computed(std::vector<std::string> moved, Strength strength) {
  const std::vector<std::string> rest = compute(strength);
  moved.insert(moved.end(), rest.begin(), rest.end());
  std::vector<std::string> each;
  std::set<std::string> seen;
  for (std::string& name : moved)
    if (seen.insert(name).second) each.push_back(std::move(name));
  return each;
}

std::vector<Configuration*> Configuration::all_of_it() {
  std::vector<Configuration*> all{this};
  for (std::size_t i = 0; i < all.size(); ++i)
    for (auto const& [name, sub] : all[i]->sub_cores_) all.push_back(sub.get());
  return all;
}

// Those that a text has under the same key.
std::vector<Configuration::Place> Configuration::same_as(Place place) const {
  std::vector<Place> same{place};
  for (auto const& held : held_)
    for (Part const& part : held->parts) {
      const auto key = part.of == place.configuration ? part.keys.find(place.number) : part.keys.end();
      if (key == part.keys.end()) continue;
      for (Part const& other : held->parts)
        if (const auto there = other.members.find(key->second); &other != &part && there != other.members.end())
          same.push_back({other.of, there->second});
    }
  return same;
}

std::optional<std::vector<std::string>> Configuration::set_named(std::vector<Preset> const& all, std::string_view name,
                                                                 Origin from, Strength strength) {
  const auto found = std::find_if(all.begin(), all.end(), [&](Preset const& one) { return one.name == name; });
  if (found == all.end()) return std::nullopt;
  std::vector<std::pair<Place, std::string>> values;
  for (PresetValue const& setting : found->settings) values.emplace_back(Place{this, setting.parameter}, setting.text);
  return set(values, from, strength);
}

std::optional<std::vector<std::string>> Configuration::set_preset(std::string_view name, Strength strength) {
  return set_named(core().presets().presets, name, Origin::preset, strength);
}

std::optional<std::vector<std::string>> Configuration::set_board(std::string_view name, Strength strength) {
  return set_named(core().presets().boards, name, Origin::board, strength);
}

// What follows, in sub-cores first, and then the texts that show it.
std::vector<std::string> Configuration::compute(Strength strength) {
  std::vector<std::string> moved;
  for (auto const& [name, sub] : sub_cores_)
    for (std::string& one : sub->compute(strength)) moved.push_back(std::move(one));
  show_texts(moved);
  add(instance_.compute(strength), moved);
  return moved;
}

std::vector<std::string> Configuration::take_all_back(Strength strength) {
  std::vector<std::string> moved;
  for (auto const& [name, sub] : sub_cores_)
    for (std::string& one : sub->take_all_back(strength)) moved.push_back(std::move(one));
  refused_.clear();
  std::vector<std::uint32_t> given;
  for (std::uint32_t i = 0; i < core().parameters().size(); ++i)
    if (instance_.given(i)) given.push_back(i);
  add(instance_.take_back(given, strength), moved);
  return moved;
}

// Whether a text among the values is no list. What was refused before is forgotten.
bool Configuration::refuses(std::vector<std::pair<Place, std::string>> const& values) {
  forget_refused();
  bool refuses = false;
  for (auto const& [place, text] : values) {
    Configuration& of = *place.configuration;
    for (const bool internal : {true, false}) {
      Held const* const held = of.held_by(place.number, internal);
      const auto why = held == nullptr ? std::nullopt : of.fault(*held, text);
      if (!why) continue;
      of.refused_.insert_or_assign(place.number, *why);
      refuses = true;
    }
  }
  return refuses;
}

void Configuration::forget_refused() {
  refused_.clear();
  for (auto const& [name, sub] : sub_cores_) sub->forget_refused();
}

// How a text is no list, or one within it that is another composite's.
std::optional<std::string> Configuration::fault(Held const& held, std::string const& text, int depth) const {
  ListFault fault;
  if (!words_of(text, &fault)) {
    const std::string_view from = std::string_view(text).substr(fault.at);
    return std::string(fault.why) + " in the word at byte " + std::to_string(fault.at) + ", " +
           text::quoted(text::shortened(std::string(from)));
  }
  if (depth == kDeepestTexts) return std::nullopt;
  for (auto const& [key, value] : pairs_of(text))
    for (Part const& part : held.parts)
      if (Held const* const within = held_within(held, part, key))
        if (const auto inner = part.of->fault(*within, value, depth + 1)) return "in " + key + ": " + *inner;
  return std::nullopt;
}

// The composite that is named in the text of another one, whose members are members there; null for any other key.
Configuration::Held* Configuration::held_within(Held const& held, Part const& part, std::string const& key) const {
  if (part.members.contains(key)) return nullptr;
  const auto place = part.of->find(key);
  if (!place || place->configuration != part.of || part.keys.contains(place->number)) return nullptr;
  Held* const within = part.of->held_by(place->number, false);
  return within == &held ? nullptr : within;
}

// The member that has the key, or had it as an older name.
std::optional<std::uint32_t> Configuration::member_of(Part const& part, std::string const& key) {
  const auto known = part.members.find(key);
  if (known != part.members.end()) return known->second;
  const auto place = part.of->find(key);
  const bool is_one = place && place->configuration == part.of && part.keys.contains(place->number);
  return is_one ? std::optional(place->number) : std::nullopt;
}

// What a text says of its members, and beside. A key may also be that of a composite whose members are members here
// too.
void Configuration::read_members(Held const& held, std::string const& text, Members& members,
                                 std::map<std::string, std::string>& unknown, int depth) const {
  for (auto const& [key, value] : pairs_of(text)) {
    bool is_known = false;
    for (Part const& part : held.parts) {
      Held const* const within = depth < kDeepestTexts ? held_within(held, part, key) : nullptr;
      const auto number = within == nullptr ? member_of(part, key) : std::nullopt;
      if (within != nullptr) part.of->read_members(*within, value, members, unknown, depth + 1);
      if (number) members.insert_or_assign({part.of, *number}, value);
      is_known |= within != nullptr || number;
    }
    if (!is_known) unknown.insert_or_assign(key, value);
  }
}

void Configuration::give_text(Held& held, std::string const& text, bool internal, Origin from,
                              std::vector<std::string>& moved) {
  Members members;
  std::map<std::string, std::string> unknown;
  read_members(held, text, members, unknown);
  if (internal) {
    give_values(held, members, from, moved);
    return;
  }
  if (unknown != this->unknown(held)) keep_unknown(held, unknown, moved);
  for (Part const& part : held.parts) {
    Given given;
    for (auto const& [number, key] : part.keys)
      if (const auto named = members.find({part.of, number}); named != members.end())
        given.values.emplace_back(number, named->second);
      else if (part.of->instance_.given(number))
        given.taken.push_back(number);
    part.of->give(given, from, moved);
  }
}

void Configuration::give(Given const& given, Origin from, std::vector<std::string>& moved) {
  add(instance_.take_back(given.taken, Strength::values), moved);
  add(instance_.set(given.values, from, Strength::values), moved);
}

// What an internal text does to a member: what is in effect anyway stays as it is, given or not, so that a text that
// was read may be given back.
Configuration::Fate Configuration::fate_of(std::uint32_t number, std::string const* named) const {
  const auto shown = shown_in_internal(number);
  if (named == nullptr) return shown && instance_.given(number) ? Fate::taken : Fate::stays;
  Parameter const& parameter = core().parameters()[number];
  if (shown && is_same(parameter, *named, *shown)) return Fate::stays;
  return is_same(parameter, *named, value_text(parameter.default_value)) ? Fate::taken : Fate::given;
}

// The changes that an internal text makes of the members of a part, those of what searches find apart.
void Configuration::give_values(Held const& held, Members const& members, Origin from,
                                std::vector<std::string>& moved) {
  std::map<std::string, Fate> fates;
  for (Part const& part : held.parts)
    for (auto const& [number, key] : part.keys) {
      const auto named = members.find({part.of, number});
      Fate& fate = fates.emplace(key, Fate::stays).first->second;
      fate = std::max(fate, part.of->fate_of(number, named == members.end() ? nullptr : &named->second));
    }
  for (Part const& part : held.parts) {
    Given given, searched;
    const std::set<std::uint32_t> found = part.of->searched();
    for (auto const& [number, key] : part.keys) {
      const auto named = members.find({part.of, number});
      Given& of = named != members.end() && found.contains(number) ? searched : given;
      if (fates.at(key) == Fate::given)
        of.values.emplace_back(number, named->second);
      else if (fates.at(key) == Fate::taken)
        of.taken.push_back(number);
    }
    part.of->give(given, from, moved);
    part.of->give_unless_found(std::move(searched), from, moved);
  }
}

// The parameters that searches may give.
std::set<std::uint32_t> Configuration::searched() const {
  std::set<std::uint32_t> all;
  for (auto const& search : core().searches()) all.insert(search->writes.begin(), search->writes.end());
  return all;
}

// What is not left to searches by all that is given besides, whatever this change has the strength for.
void Configuration::give_unless_found(Given given, Origin from, std::vector<std::string>& moved) {
  if (given.taken.empty() && given.values.empty()) return;
  Instance all_done = instance_;
  all_done.compute();
  const auto is_found = [&](std::uint32_t number) { return all_done.origin(number) == Origin::search; };
  std::erase_if(given.taken, is_found);
  std::erase_if(given.values, [&](auto const& value) { return is_found(value.first); });
  give(given, from, moved);
}

// ------------------------------------------------------------------------------------------------------------- texts

// The parameter has what its text names beside members, until the texts are shown anew.
void Configuration::keep_unknown(Held const& held, std::map<std::string, std::string> const& unknown,
                                 std::vector<std::string>& moved) {
  const std::uint32_t parameter = held.composite->parameter;
  add(unknown.empty() ? instance_.take_back({parameter}, Strength::values)
                      : instance_.set({{parameter, text_of(unknown)}}, Origin::user, Strength::values),
      moved);
}

// What the text names beside members.
std::map<std::string, std::string> Configuration::unknown(Held const& held) const {
  Members members;
  std::map<std::string, std::string> unknown;
  if (auto const& text = instance_.given(held.composite->parameter)) read_members(held, *text, members, unknown);
  return unknown;
}

std::string Configuration::public_text(Held const& held) const {
  std::map<std::string, std::string> pairs = unknown(held);
  for (Part const& part : held.parts)
    for (auto const& [number, key] : part.keys)
      if (auto const& given = part.of->instance_.given(number)) pairs.insert_or_assign(key, *given);
  return text_of(pairs);
}

std::map<std::string, std::string> Configuration::shown_members(std::uint32_t parameter) const {
  std::map<std::string, std::string> pairs;
  Held const* const held = held_by(parameter, true);
  if (held == nullptr) return pairs;
  for (Part const& part : held->parts)
    for (auto const& [number, key] : part.keys)
      if (auto shown = part.of->shown_in_internal(number)) pairs.emplace(key, std::move(*shown));
  return pairs;
}

// Nothing while the parameter reads SKIP.
std::optional<std::string> Configuration::shown_in_internal(std::uint32_t parameter) const {
  const bool is_skipped = core().parameters()[parameter].skips && !instance_.is_enabled(parameter);
  return is_skipped ? std::nullopt : std::optional(instance_.value(parameter));
}

// The instance has the texts as values of their parameters, so that rules and whoever asks it see them.
void Configuration::show_texts(std::vector<std::string>& moved) {
  for (auto const& held : held_) {
    const std::string text = public_text(*held);
    const std::uint32_t parameter = held->composite->parameter;
    add(text.empty() ? instance_.take_back({parameter}, Strength::values)
                     : instance_.set({{parameter, text}}, Origin::user, Strength::values),
        moved);
  }
}

bool Configuration::is_default() const {
  for (std::uint32_t i = 0; i < core().parameters().size(); ++i)
    if (instance_.given(i)) return false;
  return std::all_of(sub_cores_.begin(), sub_cores_.end(), [](auto const& sub) { return sub.second->is_default(); });
}

std::string Configuration::value(std::uint32_t parameter) const {
  return held_by(parameter, true) == nullptr ? instance_.value(parameter) : text_of(shown_members(parameter));
}

std::string Configuration::backup(std::uint32_t parameter) const {
  return held_by(parameter, true) == nullptr ? instance_.backup(parameter) : text_of(shown_members(parameter));
}

std::map<std::string, std::string> Configuration::beside(std::uint32_t parameter) const {
  Held const* const held = held_by(parameter, false);
  return held == nullptr ? std::map<std::string, std::string>() : unknown(*held);
}

std::vector<Due> Configuration::own_messages() {
  std::vector<Due> all = instance_.messages();
  for (auto const& [parameter, why] : refused_) {
    const KeptText name = core().parameters()[parameter].name;
    all.push_back({parameter, "list", Severity::error, name + " is no list of names and values: " + why});
  }
  for (auto const& held : held_) {
    const std::uint32_t parameter = held->composite->parameter;
    const KeptText name = core().parameters()[parameter].name;
    for (auto const& [key, value] : unknown(*held))
      all.push_back(
          {parameter, "unknown", Severity::error, name + " has no member " + text::quoted(text::shortened(key))});
  }
  return all;
}

std::vector<Configuration::Told> Configuration::messages() {
  std::vector<Told> told;
  for (Due& due : own_messages()) {
    std::string name = due.parameter == Due::kNoParameter ? core().name() : core().parameters()[due.parameter].name;
    told.push_back({std::move(name), std::move(due)});
  }
  for (auto const& [name, sub] : sub_cores_)
    for (Told& one : sub->messages()) told.push_back(std::move(one));
  return told;
}

}  // namespace kdi::cores
