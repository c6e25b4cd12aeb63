// Whether hardware would do what commands say.
#include <set>
#include <string>
#include <vector>

#include "kdi/cdo/Cdo.h"
#include "kdi/cores/CommandReading.h"
#include "kdi/cores/RegisterMemory.h"
#include "platform/cores/registers/command_words.h"

namespace kdi::cores {
namespace {

struct Place {  // of a command in its list
  std::size_t at;
  cdo::Command const& command;
};

// Of one core: its registers, and what commands do to them.
class Checker {
 public:
  Checker(CommandsOf const& core, Record& faults)
      : core_(core), map_(*core.subject.map), memory_(map_), faults_(faults) {}

  bool has(Touched const& touched) const { return map_.find(touched.address).has_value(); }
  std::string const& section() const { return core_.section; }

  void tell(Place const& place, std::string const& fault) {
    faults_.add(Record::dictionary()
                    .set("command", std::to_string(place.at))
                    .set("line", cdo::line_of(place.command))
                    .set("fault", fault));
  }

  // Whether what follows may be done.
  bool carry_out(Place const& place, Touched const& touched) {
    auto const* const poll = std::get_if<cdo::Poll>(&place.command);
    const auto number = map_.find(touched.address);
    if (!number) {
      tell(place, "no register at " + hex_word(touched.address));
      return poll == nullptr;
    }
    Register const& reg = map_.registers()[*number];
    // A whole word is written with zeros where there are no fields.
    const std::uint32_t said = touched.mask == ~0U ? touched.value : touched.mask;
    if (const std::uint32_t stray = said & ~described_bits(reg); stray != 0)
      tell(place, "no field of " + map_.name(*number) + " has the bits " + hex_word(stray));
    if (poll != nullptr) return comes_true(place, *poll);
    write(place, *number, touched);
    return true;
  }

  // Fields that steps alone set are as the steps left them.
  void compare_with_configuration() {
    if (core_.image == nullptr) return;
    for (const std::uint32_t number : written_) {
      Register const& reg = map_.registers()[number];
      for (std::uint32_t f = 0; f < reg.fields.size(); ++f) {
        RegisterField const& field = reg.fields[f];
        if (!field.value && !field.pad) continue;
        const std::uint32_t held = value_of(field, memory_.words()[number]), meant = core_.image->field(number, f);
        if (held != meant)
          faults_.add(Record::dictionary()
                          .set("command", "")
                          .set("line", "")
                          .set("fault", map_.name(number) + "." + field.name + " is left at " + std::to_string(held) +
                                            ", and the configuration has " + std::to_string(meant)));
      }
    }
  }

 private:
  void write(Place const& place, std::uint32_t number, Touched const& touched) {
    const bool is_locked = memory_.is_locked(number);
    written_.insert(number);
    try {
      if (memory_.masked_write(touched.address, touched.mask, touched.value)) return;
    } catch (RegisterFault const& fault) {
      return tell(place, fault.what());
    }
    tell(place, map_.name(number) + (is_locked ? " ignores it: its block is locked" : " ignores it: it is a status"));
  }

  bool comes_true(Place const& place, cdo::Poll const& poll) {
    try {
      memory_.poll(poll.address, poll.mask, poll.value, poll.timeout_us);
      return true;
    } catch (RegisterFault const& fault) {
      tell(place, fault.what());
      return false;
    }
  }

  CommandsOf const& core_;
  RegisterMap const& map_;
  RegisterMemory memory_;
  std::set<std::uint32_t> written_;
  Record& faults_;
};

// The core that a section is of, by its name or as the engine has it, which is `region 1 u1_name`: that whose name is
// the longest of those that fit. Null for a section that tells of none.
std::string const* core_of(std::vector<CommandsOf> const& cores, std::string const& section) {
  std::string const* of = nullptr;
  for (CommandsOf const& core : cores) {
    const bool fits =
        !core.section.empty() &&
        (core.section == section || (section.starts_with("region ") && section.ends_with("_" + core.section)));
    if (fits && (of == nullptr || of->size() < core.section.size())) of = &core.section;
  }
  return of;
}

// Whose business what a command touches is: of the section that it stands in, or else of who has the register.
Checker& responsible(std::vector<Checker>& checkers, std::string const& section, Touched const& touched) {
  for (Checker& one : checkers)
    if (!section.empty() && one.section() == section) return one;
  for (Checker& one : checkers)
    if (one.has(touched)) return one;
  return checkers.front();  // which tells that there is none
}

}  // namespace

Record check_commands(std::vector<CommandsOf> const& cores, cdo::Commands const& commands) {
  Record faults = Record::list();
  std::vector<Checker> checkers;
  for (CommandsOf const& core : cores)
    if (core.subject.map != nullptr) checkers.emplace_back(core, faults);
  if (checkers.empty()) return faults;
  std::string section;
  for (std::size_t at = 0; at < commands.size(); ++at) {
    if (auto const* const begun = std::get_if<cdo::Section>(&commands[at]))
      if (std::string const* const of = core_of(cores, begun->name)) section = *of;
    for (Touched const& touched : touched_by(commands[at]))
      if (!responsible(checkers, section, touched).carry_out({at, commands[at]}, touched)) return faults;
  }
  for (Checker& one : checkers) one.compare_with_configuration();
  return faults;
}

Record check_commands(CommandSubject const& subject, cdo::Commands const& commands, RegisterImage const* image) {
  return check_commands({{subject, image, {}}}, commands);
}

}  // namespace kdi::cores
