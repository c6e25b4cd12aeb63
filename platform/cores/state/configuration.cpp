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

// Without a device everything is.
bool is_there(SubCore const& sub, Facts const& facts) {
  const auto count = facts.find("slr.count");
  return sub.region == 0 || count == facts.end() || sub.region < number::whole<int>(count->second).value_or(1);
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

// A composite, whose members are parameters of `of`; without members, of a sub-core that the device does not have.
struct Configuration::Held {
  Composite const* composite;
  Configuration* of;
  std::map<std::string, std::uint32_t> members;  // by key
  std::map<std::uint32_t, std::string> keys;
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
    if (!is_there(sub, facts)) continue;
    auto description = descriptions(sub.core, sub.version);
    if (description == nullptr)
      throw std::runtime_error(name + ": its sub-core " + sub.core + " " + sub.version + " has no description");
    sub_cores_.emplace_back(sub.name, std::make_unique<Configuration>(std::move(description), facts, descriptions));
  }
  for (Composite const& composite : this->core().composites()) {
    Configuration* const of = composite.sub_core.empty() ? this : sub_core(composite.sub_core);
    Held held{&composite, of == nullptr ? this : of, {}, {}};
    if (of == nullptr) {
      held_.push_back(std::make_unique<Held>(std::move(held)));
      continue;
    }
    for (Composite::Member const& member : composite.members) {
      const auto told = facts.find(member.key_word);
      if (!member.key_word.empty() && told == facts.end()) continue;
      held.members.emplace(member.key_word.empty() ? member.key : told->second, member.parameter);
    }
    Core const& other = held.of->core();
    for (std::uint32_t i = 0; !composite.sub_core.empty() && i < other.parameters().size(); ++i)
      if (other.is_settable(i) && held.of->is_single(i)) held.members.emplace(other.parameters()[i].name, i);
    for (auto const& [key, number] : held.members) held.keys.emplace(number, key);
    held_.push_back(std::make_unique<Held>(std::move(held)));
  }
}

Configuration::Configuration(Configuration const& other) : instance_(other.instance_), refused_(other.refused_) {
  for (auto const& [name, sub] : other.sub_cores_) sub_cores_.emplace_back(name, sub->copy());
  for (auto const& held : other.held_) {
    held_.push_back(std::make_unique<Held>(*held));
    Configuration* const of = sub_core(held->composite->sub_core);
    held_.back()->of = of == nullptr ? this : of;
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
  return std::nullopt;
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
    if (place.configuration->is_single(place.number)) plain[place.configuration].emplace_back(place.number, text);
  for (auto const& [configuration, all] : plain)
    configuration->add(configuration->instance_.set(all, from, Strength::values), moved);
  const std::vector<std::string> rest = compute(strength);
  moved.insert(moved.end(), rest.begin(), rest.end());
  std::vector<std::string> each;
  std::set<std::string> seen;
  for (std::string& name : moved)
    if (seen.insert(name).second) each.push_back(std::move(name));
  return each;
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
    if (Held const* const within = held_within(held, key))
      if (const auto inner = held.of->fault(*within, value, depth + 1)) return "in " + key + ": " + *inner;
  return std::nullopt;
}

// The composite that is named in the text of another one, whose members are members there; null for any other key.
Configuration::Held* Configuration::held_within(Held const& held, std::string const& key) const {
  if (held.members.empty() || held.members.contains(key)) return nullptr;
  const auto place = held.of->find(key);
  if (!place || place->configuration != held.of || held.keys.contains(place->number)) return nullptr;
  Held* const within = held.of->held_by(place->number, false);
  return within == &held ? nullptr : within;
}

// What a text says of its members, and beside. A key may also be a member's older name, or that of a composite whose
// members are members here too.
void Configuration::read_members(Held const& held, std::string const& text,
                                 std::map<std::uint32_t, std::string>& members,
                                 std::map<std::string, std::string>& unknown, int depth) const {
  for (auto const& [key, value] : pairs_of(text)) {
    const auto known = held.members.find(key);
    if (known != held.members.end()) {
      members.insert_or_assign(known->second, value);
      continue;
    }
    Held const* const within = depth < kDeepestTexts ? held_within(held, key) : nullptr;
    if (within != nullptr) {
      held.of->read_members(*within, value, members, unknown, depth + 1);
      continue;
    }
    const auto place = held.of->find(key);
    if (place && place->configuration == held.of && held.keys.contains(place->number))
      members.insert_or_assign(place->number, value);
    else
      unknown.insert_or_assign(key, value);
  }
}

void Configuration::give_text(Held& held, std::string const& text, bool internal, Origin from,
                              std::vector<std::string>& moved) {
  std::map<std::uint32_t, std::string> members;
  std::map<std::string, std::string> unknown;
  read_members(held, text, members, unknown);
  if (internal) unknown.clear();
  if (unknown != this->unknown(held)) keep_unknown(held, unknown, moved);
  Instance& instance = held.of->instance_;
  Values given;
  std::vector<std::uint32_t> others;
  for (auto const& [number, value] : members)
    if (!internal || value != value_text(held.of->core().parameters()[number].default_value))
      given.emplace_back(number, value);
    else
      others.push_back(number);
  for (auto const& [number, key] : held.keys)
    if (!members.contains(number) && instance.given(number)) others.push_back(number);
  held.of->add(instance.take_back(others, Strength::values), moved);
  held.of->add(instance.set(given, from, Strength::values), moved);
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
  std::map<std::uint32_t, std::string> members;
  std::map<std::string, std::string> unknown;
  if (auto const& text = instance_.given(held.composite->parameter)) read_members(held, *text, members, unknown);
  return unknown;
}

std::string Configuration::public_text(Held const& held) const {
  std::map<std::string, std::string> pairs = unknown(held);
  for (auto const& [number, key] : held.keys)
    if (auto const& given = held.of->instance_.given(number)) pairs.insert_or_assign(key, *given);
  return text_of(pairs);
}

std::string Configuration::internal_text(Held const& held) const {
  std::map<std::string, std::string> pairs;
  for (auto const& [number, key] : held.keys) {
    const bool is_skipped = held.of->core().parameters()[number].skips && !held.of->instance_.is_enabled(number);
    if (!is_skipped) pairs.emplace(key, held.of->instance_.value(number));
  }
  return text_of(pairs);
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
  if (Held* const held = held_by(parameter, true)) return internal_text(*held);
  return instance_.value(parameter);
}

std::string Configuration::backup(std::uint32_t parameter) const {
  if (Held* const held = held_by(parameter, true)) return internal_text(*held);
  return instance_.backup(parameter);
}

std::map<std::string, std::string> Configuration::beside(std::uint32_t parameter) const {
  Held const* const held = held_by(parameter, false);
  return held == nullptr ? std::map<std::string, std::string>() : unknown(*held);
}

std::vector<Due> Configuration::own_messages() {
  std::vector<Due> all = instance_.messages();
  for (auto const& [parameter, why] : refused_) {
    std::string const& name = core().parameters()[parameter].name;
    all.push_back({parameter, "list", Severity::error, name + " is no list of names and values: " + why});
  }
  for (auto const& held : held_) {
    const std::uint32_t parameter = held->composite->parameter;
    std::string const& name = core().parameters()[parameter].name;
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
