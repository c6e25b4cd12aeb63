// What tells two lists of commands apart: what they leave registers at, and what they do on the way.
#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "kdi/cdo/Cdo.h"
#include "kdi/cores/CommandReading.h"
#include "platform/cores/registers/command_words.h"

namespace kdi::cores {
namespace {

// What is known of a register: the bits of the mask.
struct Known {
  std::uint32_t mask = 0, value = 0;
  friend bool operator==(Known const&, Known const&) = default;
};
using Words = std::map<std::uint32_t, Known>;

// What the commands leave behind, by address; of bits that nothing writes, what is there after a reset.
Words left_by(CommandSubject const& subject, cdo::Commands const& commands) {
  Words words;
  for (cdo::Command const& command : commands) {
    if (std::holds_alternative<cdo::Poll>(command)) continue;
    for (Touched const& touched : touched_by(command)) {
      Known& known = words[touched.address];
      known = {known.mask | touched.mask, (known.value & ~touched.mask) | touched.value};
    }
  }
  if (subject.map == nullptr) return words;
  for (auto& [address, known] : words)
    if (const auto number = subject.map->find(address))
      known = {~0U, known.value | (subject.map->registers()[*number].reset & ~known.mask)};
  return words;
}

Known known_in(CommandSubject const& subject, Words const& words, std::uint32_t address) {
  if (const auto place = words.find(address); place != words.end()) return place->second;
  const auto number = subject.map == nullptr ? std::nullopt : subject.map->find(address);
  return number ? Known{~0U, subject.map->registers()[*number].reset} : Known{};
}

// `0x0000000f`, with the mask behind `/` where not all bits are known; empty if none is.
std::string known_text(Known const& known) {
  if (known.mask == 0) return {};
  return hex_word(known.value) + (known.mask == ~0U ? "" : "/" + hex_word(known.mask));
}

Record register_difference(CommandSubject const& subject, std::uint32_t address, Known const& first,
                           Known const& second) {
  Record record = Record::dictionary();
  record.set("address", hex_word(address));
  const auto number = subject.map == nullptr ? std::nullopt : subject.map->find(address);
  record.set("register", number ? subject.map->name(*number) : std::string());
  record.set("first", known_text(first)).set("second", known_text(second));
  Record fields = Record::list();
  if (number)
    for (RegisterField const& field : subject.map->registers()[*number].fields) {
      const std::uint32_t before = value_of(field, first.value), after = value_of(field, second.value);
      if (before == after) continue;
      fields.add(Record::dictionary()
                     .set("field", field.name)
                     .set("bits", bits_text(field))
                     .set("first", std::to_string(before))
                     .set("second", std::to_string(after))
                     .set("parameters", Record::list(deciding_parameters(subject, field, after))));
    }
  return record.set("fields", std::move(fields));
}

// --- the way there

// For each command of the first list the same one of the second, of equal ones the first with the first and so on.
std::vector<std::optional<std::size_t>> pairs_of(std::vector<std::string> const& first,
                                                 std::vector<std::string> const& second) {
  std::map<std::string_view, std::vector<std::size_t>> places;
  for (std::size_t i = second.size(); i-- > 0;) places[second[i]].push_back(i);
  std::vector<std::optional<std::size_t>> pairs(first.size());
  for (std::size_t i = 0; i < first.size(); ++i) {
    const auto place = places.find(first[i]);
    if (place == places.end() || place->second.empty()) continue;
    pairs[i] = place->second.back();
    place->second.pop_back();
  }
  return pairs;
}

// The longest run of pairs that are in the same order in both lists; the first elements, ascending. (M. L. Fredman, "On
// computing the length of longest increasing subsequences", Discrete Mathematics 11, 1975.)
std::set<std::size_t> in_order(std::vector<std::optional<std::size_t>> const& pairs) {
  std::vector<std::size_t> ends;  // by length, the element with the least partner that a run so long ends with
  std::vector<std::optional<std::size_t>> before(pairs.size());
  for (std::size_t i = 0; i < pairs.size(); ++i) {
    if (!pairs[i]) continue;
    const auto place = std::lower_bound(ends.begin(), ends.end(), *pairs[i],
                                        [&](std::size_t end, std::size_t partner) { return *pairs[end] < partner; });
    if (place != ends.begin()) before[i] = *(place - 1);
    if (place == ends.end())
      ends.push_back(i);
    else
      *place = i;
  }
  std::set<std::size_t> run;
  for (std::optional<std::size_t> at = ends.empty() ? std::nullopt : std::optional(ends.back()); at; at = before[*at])
    run.insert(*at);
  return run;
}

std::vector<std::string> lines_of(cdo::Commands const& commands) {
  std::vector<std::string> lines;
  for (cdo::Command const& command : commands) lines.push_back(cdo::line_of(command));
  return lines;
}

Record command_differences(cdo::Commands const& first, cdo::Commands const& second) {
  const std::vector<std::string> ours = lines_of(first), theirs = lines_of(second);
  const auto pairs = pairs_of(ours, theirs);
  const std::set<std::size_t> run = in_order(pairs);
  const auto number = [](std::optional<std::size_t> at) { return at ? std::to_string(*at) : std::string(); };
  Record all = Record::list();
  const auto add = [&](std::optional<std::size_t> ours_at, std::optional<std::size_t> theirs_at,
                       std::string const& line) {
    all.add(Record::dictionary().set("first", number(ours_at)).set("second", number(theirs_at)).set("line", line));
  };
  std::set<std::size_t> paired;
  for (std::size_t i = 0; i < ours.size(); ++i) {
    if (pairs[i]) paired.insert(*pairs[i]);
    if (!run.contains(i)) add(i, pairs[i], ours[i]);
  }
  for (std::size_t i = 0; i < theirs.size(); ++i)
    if (!paired.contains(i)) add(std::nullopt, i, theirs[i]);
  return all;
}

// What hardware would not do of one list alone, each fault as often as it has it more.
Record fault_differences(CommandSubject const& subject, cdo::Commands const& first, cdo::Commands const& second) {
  Record all = Record::list();
  if (subject.map == nullptr) return all;
  const Record ours = check_commands(subject, first), theirs = check_commands(subject, second);
  const auto key = [](Record const& fault) { return fault.find("line")->text() + "\n" + fault.find("fault")->text(); };
  const auto add_more = [&](char const* list, Record const& of, Record const& than) {
    std::map<std::string, int> left;
    for (Record const& fault : than.items()) ++left[key(fault)];
    for (Record const& fault : of.items()) {
      if (left[key(fault)]-- > 0) continue;
      Record copy = fault;
      all.add(std::move(copy.set("list", list)));
    }
  };
  add_more("first", ours, theirs);
  add_more("second", theirs, ours);
  return all;
}

}  // namespace

Record compare_commands(CommandSubject const& subject, cdo::Commands const& first, cdo::Commands const& second) {
  const Words ours = left_by(subject, first), theirs = left_by(subject, second);
  std::set<std::uint32_t> addresses;
  for (Words const* const words : {&ours, &theirs})
    for (auto const& [address, known] : *words) addresses.insert(address);
  Record registers = Record::list();
  for (const std::uint32_t address : addresses) {
    const Known before = known_in(subject, ours, address), after = known_in(subject, theirs, address);
    if (before != after) registers.add(register_difference(subject, address, before, after));
  }
  Record record = Record::dictionary();
  record.set("registers", std::move(registers)).set("commands", command_differences(first, second));
  record.set("faults", fault_differences(subject, first, second));
  return record;
}

}  // namespace kdi::cores
