#include "kdi/rule_engine/host/Registers.h"

#include <algorithm>
#include <mutex>
#include <optional>
#include <stdexcept>

#include "kdi/common/KdiDataDir.h"
#include "kdi/common/KdiJson.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::gt {
namespace {

constexpr int kRegisterBits = 16;

void read_rule(JsonValue value, Attribute& attribute) {
  int rules = 0;
  const auto rule = [&](char const* field, Attribute::Rule kind) {
    const auto found = value.find(field);
    if (found) {
      attribute.rule = kind;
      ++rules;
    }
    return found;
  };
  if (const auto add = rule("add", Attribute::Rule::plain)) attribute.add = add->integer(-100'000, 100'000);
  if (const auto slice = rule("slice", Attribute::Rule::slice)) {
    if (slice->items().size() != 2 || slice->items()[1].integer(1, kRegisterBits) != attribute.bits)
      slice->refuse("the first bit and the attribute's bits");
    attribute.from_bit = static_cast<int>(slice->items()[0].integer(0, 62 - attribute.bits));
  }
  if (const auto per = rule("per", Attribute::Rule::per)) attribute.per = per->integer(1);
  if (const auto steps = rule("steps", Attribute::Rule::steps)) {
    for (const JsonValue step : steps->items()) {
      attribute.steps.push_back(step.integer(1));
      if (attribute.steps.size() > 1 && attribute.steps[attribute.steps.size() - 2] >= attribute.steps.back())
        step.refuse("an ascending list");
    }
    if (static_cast<std::int64_t>(attribute.steps.size()) > attribute.most())
      steps->refuse("fewer steps than bits hold");
  }
  if (const auto codes = rule("codes", Attribute::Rule::codes)) {
    for (const JsonValue code : codes->members()) {
      const auto quantity = number::whole<std::int64_t>(code.name());
      if (!quantity) code.refuse("a quantity as the name of its code");
      attribute.codes.emplace_back(*quantity, code.integer(0, attribute.most()));
    }
    std::sort(attribute.codes.begin(), attribute.codes.end());
  }
  if (rules > 1) value.refuse("one rule");
}

Attribute read_attribute(JsonValue value, Section const& section) {
  value.allow_only({"name", "bits", "from", "add", "codes", "slice", "per", "steps"});
  Attribute attribute;
  attribute.name = value.member("name").text();
  for (Attribute const& before : section.attributes)
    if (before.name == attribute.name) value.member("name").refuse("a new name");
  attribute.bits = static_cast<int>(value.member("bits").integer(1, kRegisterBits));
  attribute.from = value.member("from").text();
  if (!section.moved_by.contains(attribute.from)) value.member("from").refuse("a quantity of the section");
  read_rule(value, attribute);
  return attribute;
}

void place(Section& section) {
  int address = 0, bit = 0;
  for (Attribute& attribute : section.attributes) {
    if (bit + attribute.bits > kRegisterBits) {
      ++address;
      bit = 0;
    }
    attribute.address = address;
    attribute.low_bit = bit;
    bit += attribute.bits;
  }
  section.registers = address + 1;
}

std::vector<Section> read_sections(JsonFile const& file) {
  const JsonValue root = file.root();
  root.allow_only({"format", "quantities", "sections"});
  root.member("format").integer(1, 1);
  std::vector<Section> sections;
  for (const JsonValue value : root.member("sections").items()) {
    value.allow_only({"name", "attributes"});
    Section section;
    section.name = value.member("name").text();
    const bool is_lane = section.name == "TX" || section.name == "RX";
    if (!is_lane) value.member("name").choice({"PLL", "COMMON"});
    for (const JsonValue quantity : root.member("quantities").member(is_lane ? "TX_RX" : section.name).members())
      for (const JsonValue setting : quantity.items())
        section.moved_by[std::string(quantity.name())].emplace_back(setting.text());
    for (const JsonValue attribute : value.member("attributes").items())
      section.attributes.push_back(read_attribute(attribute, section));
    if (section.attributes.empty()) value.member("attributes").refuse("an attribute at least");
    place(section);
    sections.push_back(std::move(section));
  }
  return sections;
}

std::int64_t quantity_of(Attribute const& attribute, Quantities const& quantities) {
  const auto found = quantities.find(attribute.from);
  if (found == quantities.end()) throw std::out_of_range(attribute.name + ": no quantity " + attribute.from);
  return found->second;
}

std::int64_t field(Attribute const& attribute, Registers const& registers) {
  return registers.at(static_cast<std::size_t>(attribute.address)) >> attribute.low_bit & attribute.most();
}

}  // namespace

Section const& section_of_kind(std::string_view name) {
  static std::mutex mutex;
  static auto* const known = new std::vector<Section>;  // never destroyed: asked while the process ends
  const std::lock_guard lock(mutex);
  if (known->empty()) {
    const auto roots = data_directories("transceivers");
    for (std::string const& root : roots)
      if (known->empty() && is_file(root + "/registers.json"))
        *known = read_sections(JsonFile(root + "/registers.json"));
  }
  for (Section const& section : *known)
    if (section.name == name) return section;
  throw FileError("transceivers/registers.json: it has no section " + std::string(name));
}

std::vector<Section> read_sections(std::string_view text, std::string const& name) {
  return read_sections(JsonFile(text, name));
}

std::int64_t value_of(Attribute const& attribute, Quantities const& quantities) {
  const std::int64_t quantity = quantity_of(attribute, quantities);
  switch (attribute.rule) {
    case Attribute::Rule::slice:
      return quantity >> attribute.from_bit & attribute.most();
    case Attribute::Rule::per:
      return std::min(quantity / attribute.per, attribute.most());
    case Attribute::Rule::steps:
      return std::upper_bound(attribute.steps.begin(), attribute.steps.end(), quantity) - attribute.steps.begin();
    case Attribute::Rule::codes:
      for (auto const& [of, code] : attribute.codes)
        if (of == quantity) return code;
      break;
    case Attribute::Rule::plain:
      if (quantity + attribute.add >= 0 && quantity + attribute.add <= attribute.most())
        return quantity + attribute.add;
      break;
  }
  throw std::out_of_range(attribute.name + " has no value for " + attribute.from + " " + std::to_string(quantity));
}

Registers encoded(Section const& section, Quantities const& quantities) {
  Registers registers(static_cast<std::size_t>(section.registers), 0);
  for (Attribute const& attribute : section.attributes)
    registers[static_cast<std::size_t>(attribute.address)] |=
        static_cast<std::uint16_t>(value_of(attribute, quantities) << attribute.low_bit);
  return registers;
}

std::map<std::string, std::int64_t> attributes_in(Section const& section, Registers const& registers) {
  std::map<std::string, std::int64_t> values;
  for (Attribute const& attribute : section.attributes) values[attribute.name] = field(attribute, registers);
  return values;
}

Quantities decoded(Section const& section, Registers const& registers) {
  Quantities quantities;
  for (Attribute const& attribute : section.attributes) {
    const std::int64_t value = field(attribute, registers);
    switch (attribute.rule) {
      case Attribute::Rule::plain:
        quantities[attribute.from] = value - attribute.add;
        break;
      case Attribute::Rule::slice:
        quantities[attribute.from] |= value << attribute.from_bit;
        break;
      case Attribute::Rule::codes: {
        // Several quantities may have one code; then the attribute is no way back.
        const auto has = [&](auto const& pair) { return pair.second == value; };
        const auto first = std::find_if(attribute.codes.begin(), attribute.codes.end(), has);
        if (first != attribute.codes.end() &&
            std::find_if(first + 1, attribute.codes.end(), has) == attribute.codes.end())
          quantities.try_emplace(attribute.from, first->first);
        break;
      }
      case Attribute::Rule::per:
      case Attribute::Rule::steps:
        break;
    }
  }
  return quantities;
}

std::vector<std::string> differing(Section const& section, Registers const& registers, Quantities const& quantities) {
  std::vector<std::string> names;
  for (Attribute const& attribute : section.attributes)
    if (quantities.contains(attribute.from) && value_of(attribute, quantities) != field(attribute, registers))
      names.push_back(attribute.name);
  return names;
}

}  // namespace kdi::gt
