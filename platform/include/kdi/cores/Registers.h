// The registers of a core as data: blocks, registers and fields, what of a configuration each field holds, and in which
// order they are written. data/cores/REGISTERS.md tells the form.
//
//   const auto map = RegisterMap::of(core);
//   const RegisterImage image(*map, instance);
//   image.word(*map->find("CRL.UART0_CLOCK"));
//   for (RegisterCommand const& command : image.commands("lpd_data")) ...
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cdo/Commands.h"
#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Core.h"
#include "kdi/cores/Instance.h"

namespace kdi::cores {

/// A configuration that a register cannot hold: a rule has a fault, or gives more than its field takes.
class KDI_DOOR RegisterError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Some bits of a register.
struct RegisterField {
  std::string name;
  std::uint32_t low, width;  ///< bits from `low` on
  std::uint32_t reset;       ///< of the field alone
  std::string meaning;
  std::optional<Rule> value;  ///< truth or integer; none: what steps say, or the reset value
  std::optional<std::pair<std::uint32_t, std::uint32_t>>
      pad;                                ///< instead: bank and number of a pad, whose function it is
  std::vector<std::uint32_t> parameters;  ///< those that `value` reads, by itself or by definitions; ascending

  std::uint32_t mask() const { return (width == 32 ? ~0U : (1U << width) - 1) << low; }
};

struct KDI_DOOR Register {
  std::string name;
  std::uint32_t block;
  std::uint32_t address;
  std::string meaning;
  std::vector<RegisterField> fields;  ///< by `low`
  std::uint32_t reset;

  /// The number of the field with this name.
  std::optional<std::uint32_t> find(std::string_view field) const;
};

struct RegisterBlock {
  std::string name;
  std::uint32_t base;
  std::string meaning;
};

/// A field of a register, and what a step says that it is.
struct FieldValue {
  std::uint32_t field;
  std::optional<Rule> value;  ///< none: what the field's own rule says
};

/// One step of a sequence.
struct RegisterStep {
  enum class Kind : std::uint8_t {
    write,  ///< the whole register
    set,    ///< the fields alone
    poll,   ///< until the fields are so
    delay,
    block,  ///< `count` registers beside one another
  };
  Kind kind;
  std::optional<Rule> when;
  std::uint32_t reg = 0;
  std::vector<FieldValue> fields;
  std::uint32_t microseconds = 0;  ///< of a delay, and the most of a poll
  std::uint32_t count = 1;
  bool unless_reset = false;  ///< left out while it would write what the registers hold after a reset
};

/// Steps that make one section of an output.
struct RegisterSequence {
  std::string output, section;
  std::int64_t order;  ///< among the sections of the output; equal ones as they are described
  std::optional<Rule> when;
  std::vector<RegisterStep> steps;
  std::string place;
};

/// How hardware answers, for what stands in for it.
struct RegisterLock {
  std::uint32_t block;  ///< its registers ignore writes unless the lock holds the key
  std::uint32_t reg, key;
};
struct RegisterPll {
  std::uint32_t reg, bypass, reset;     ///< fields of the control register
  std::uint32_t status_reg, status;     ///< says that it runs: after reset was let go while bypassed
  std::vector<std::uint32_t> settings;  ///< registers that may not change while it is out of reset
};

/// What becomes of parameters that no field holds.
struct Elsewhere {
  std::string file;    ///< that has them; or
  std::string reason;  ///< why nothing has
};

/// A line of Tcl for the design around the core.
struct DescribedConstraint {
  std::optional<Rule> when;
  Rule text;
};

/// What a part of the core draws from a supply.
struct DescribedPower {
  std::string item, supply;
  std::optional<Rule> when;
  Rule milliwatts;  ///< integer or decimal
};

/// What one command of an output holds of a register.
struct RegisterSetting {
  std::uint32_t reg, field, value;
  friend bool operator==(RegisterSetting const&, RegisterSetting const&) = default;
};

struct RegisterCommand {
  cdo::Command command;
  std::vector<RegisterSetting> settings;
};

class KDI_DOOR RegisterMap {
 public:
  /// The registers of a core, read when they are first asked for; empty for a core that has none. Throws
  /// kdi::FileError, kdi::JsonError. Safe for use from several threads.
  static std::shared_ptr<RegisterMap const> of(std::shared_ptr<Core const> const& core);
  /// The same from one text; errors call it `file`.
  static std::shared_ptr<RegisterMap const> parse(Core const& core, std::string_view text, std::string const& file);

  std::vector<RegisterBlock> const& blocks() const { return blocks_; }
  /// By address.
  std::vector<Register> const& registers() const { return registers_; }
  /// By output and order.
  std::vector<RegisterSequence> const& sequences() const { return sequences_; }
  std::vector<RegisterLock> const& locks() const { return locks_; }
  std::vector<RegisterPll> const& plls() const { return plls_; }
  /// By parameter.
  std::map<std::uint32_t, Elsewhere> const& elsewhere() const { return elsewhere_; }
  std::vector<DescribedConstraint> const& constraints() const { return constraints_; }
  std::vector<DescribedPower> const& power() const { return power_; }
  /// Names of functions of pads, each with the value that pads show for it.
  std::map<std::string, std::uint32_t, std::less<>> const& pad_functions() const { return pad_functions_; }

  /// By `BLOCK.REGISTER`, and by address.
  std::optional<std::uint32_t> find(std::string_view name) const;
  std::optional<std::uint32_t> find(std::uint32_t address) const;
  /// `BLOCK.REGISTER`.
  std::string name(std::uint32_t reg) const;
  /// In byte order.
  std::vector<std::string> outputs() const;

 private:
  friend class RegisterReader;
  RegisterMap() = default;

  std::vector<RegisterBlock> blocks_;
  std::vector<Register> registers_;
  std::vector<RegisterSequence> sequences_;
  std::vector<RegisterLock> locks_;
  std::vector<RegisterPll> plls_;
  std::map<std::uint32_t, Elsewhere> elsewhere_;
  std::vector<DescribedConstraint> constraints_;
  std::vector<DescribedPower> power_;
  std::map<std::string, std::uint32_t, std::less<>> pad_functions_;
  std::map<std::string, std::uint32_t, std::less<>> numbers_;
};

/// What the registers are for a configuration.
class KDI_DOOR RegisterImage {
 public:
  /// `map` and `instance` have the same core, and outlive the image. Throws RegisterError.
  RegisterImage(RegisterMap const& map, Instance const& instance);

  /// A field's value, and the whole register: fields that nothing but steps sets are as after a reset.
  std::uint32_t field(std::uint32_t reg, std::uint32_t field) const { return values_[reg][field]; }
  std::uint32_t word(std::uint32_t reg) const;

  /// What brings a device there, for one output, and for all in the order given. Throws RegisterError.
  std::vector<RegisterCommand> commands(std::string_view output) const;
  std::vector<RegisterCommand> commands(std::vector<std::string> const& outputs) const;

 private:
  class Commander;
  RegisterMap const& map_;
  Instance const& instance_;
  std::vector<std::vector<std::uint32_t>> values_;
};

/// The commands alone.
KDI_DOOR cdo::Commands plain(std::vector<RegisterCommand> const& commands);
/// For people: `CRL.UART0_CLOCK SOURCE=2 DIVIDER=12`.
KDI_DOOR std::string words_of(RegisterMap const& map, RegisterCommand const& command);

}  // namespace kdi::cores
