// What configuration commands say of registers: with names of registers and fields, and what of a configuration each
// field holds; what tells two lists of commands apart; whether hardware would do what they say. docs/cdo.md tells the
// records.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kdi/cdo/Commands.h"
#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Record.h"
#include "kdi/cores/Registers.h"

namespace kdi::cores {

/// The core whose registers addresses are of. Without one, addresses are all that there is.
struct CommandSubject {
  std::shared_ptr<Core const> core;
  std::shared_ptr<RegisterMap const> map;

  CommandSubject() = default;
  explicit CommandSubject(std::shared_ptr<Core const> described)
      : core(std::move(described)), map(RegisterMap::of(core)) {}
};

/// One record for each command: `command` and its arguments, and `registers`, those of the core that it is about.
KDI_DOOR Record command_records(CommandSubject const& subject, cdo::Commands const& commands);

/// The text form of the commands, with the registers of each as remarks for people below it: every reader of the form
/// reads it back. Throws cdo::CdoError if it would be larger than a text may be.
KDI_DOOR std::string disassembled(CommandSubject const& subject, cdo::Commands const& commands);

/// What differs: `registers` that are left otherwise, by what is written; `commands` that only one has, or has
/// elsewhere; and, of a core, `faults` of check_commands that only one of the lists has, with `list` first or second.
KDI_DOOR Record compare_commands(CommandSubject const& subject, cdo::Commands const& first,
                                 cdo::Commands const& second);

/// A list of what hardware would not do, or would pass over: `command` (its number, from 0), `line` and `fault`.
/// `image` may be null; else registers that the commands write and that do not come to hold it are told as well,
/// without a command. What follows a poll that never comes true is not looked at.
KDI_DOOR Record check_commands(CommandSubject const& subject, cdo::Commands const& commands,
                               RegisterImage const* image = nullptr);

/// One of several cores whose commands stand in one list, as those of a wizard's sub-cores.
struct CommandsOf {
  CommandSubject subject;
  RegisterImage const* image = nullptr;  ///< may be null
  std::string section;                   ///< that its commands stand in; may be empty
};
/// The same of several cores: a command is the business of the core whose section it stands in, or else of the first
/// one that has its register.
KDI_DOOR Record check_commands(std::vector<CommandsOf> const& cores, cdo::Commands const& commands);

/// The registers of a core, each as a record. `image` may be null: what a configuration has there is left out then.
KDI_DOOR Record register_records(CommandSubject const& subject, RegisterImage const* image);

}  // namespace kdi::cores
