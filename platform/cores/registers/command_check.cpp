// Whether hardware would do what commands say.
#include <set>
#include <string>

#include "kdi/cdo/Cdo.h"
#include "kdi/cores/CommandReading.h"
#include "kdi/cores/RegisterMemory.h"
#include "platform/cores/registers/command_words.h"

namespace kdi::cores {
namespace {

class Checker {
 public:
  Checker(CommandSubject const& subject, cdo::Commands const& commands)
      : map_(*subject.map), commands_(commands), memory_(map_) {}

  Record faults(RegisterImage const* image) {
    bool goes_on = true;
    for (at_ = 0; at_ < commands_.size() && goes_on; ++at_) goes_on = carry_out(commands_[at_]);
    if (goes_on && image != nullptr) compare(*image);
    return std::move(faults_);
  }

 private:
  void tell(std::string const& fault) {
    faults_.add(Record::dictionary()
                    .set("command", std::to_string(at_))
                    .set("line", cdo::line_of(commands_[at_]))
                    .set("fault", fault));
  }

  // Whether what follows may be done.
  bool carry_out(cdo::Command const& command) {
    auto const* const poll = std::get_if<cdo::Poll>(&command);
    for (Touched const& touched : touched_by(command)) {
      const auto number = map_.find(touched.address);
      if (!number) {
        tell("no register at " + hex_word(touched.address));
        if (poll != nullptr) return false;
        continue;
      }
      Register const& reg = map_.registers()[*number];
      // A whole word is written with zeros where there are no fields.
      const std::uint32_t said = touched.mask == ~0U ? touched.value : touched.mask;
      if (const std::uint32_t stray = said & ~described_bits(reg); stray != 0)
        tell("no field of " + map_.name(*number) + " has the bits " + hex_word(stray));
      if (poll == nullptr)
        write(*number, touched);
      else if (!comes_true(*poll))
        return false;
    }
    return true;
  }

  void write(std::uint32_t number, Touched const& touched) {
    const bool is_locked = memory_.is_locked(number);
    written_.insert(number);
    try {
      if (memory_.masked_write(touched.address, touched.mask, touched.value)) return;
    } catch (RegisterFault const& fault) {
      return tell(fault.what());
    }
    tell(map_.name(number) + (is_locked ? " ignores it: its block is locked" : " ignores it: it is a status"));
  }

  bool comes_true(cdo::Poll const& poll) {
    try {
      memory_.poll(poll.address, poll.mask, poll.value, poll.timeout_us);
      return true;
    } catch (RegisterFault const& fault) {
      tell(fault.what());
      return false;
    }
  }

  // Fields that steps alone set are as the steps left them.
  void compare(RegisterImage const& image) {
    for (const std::uint32_t number : written_) {
      Register const& reg = map_.registers()[number];
      for (std::uint32_t f = 0; f < reg.fields.size(); ++f) {
        RegisterField const& field = reg.fields[f];
        if (!field.value && !field.pad) continue;
        const std::uint32_t held = value_of(field, memory_.words()[number]), meant = image.field(number, f);
        if (held != meant)
          faults_.add(Record::dictionary()
                          .set("command", "")
                          .set("line", "")
                          .set("fault", map_.name(number) + "." + field.name + " is left at " + std::to_string(held) +
                                            ", and the configuration has " + std::to_string(meant)));
      }
    }
  }

  RegisterMap const& map_;
  cdo::Commands const& commands_;
  RegisterMemory memory_;
  std::size_t at_ = 0;
  std::set<std::uint32_t> written_;
  Record faults_ = Record::list();
};

}  // namespace

Record check_commands(CommandSubject const& subject, cdo::Commands const& commands, RegisterImage const* image) {
  return Checker(subject, commands).faults(image);
}

}  // namespace kdi::cores
