// Registers that behave: what stands in for the hardware that configuration commands are for.
//
// Addresses that have no register, and polls that never come true, are faults. A locked block ignores writes, and so do
// status registers. A PLL is steady some reads after it was let out of reset, if it was bypassed then; one that is used
// before it is steady never will be, until it is reset. To change its settings outside of reset, or to reset it while
// it is used, is a fault.
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/cdo/Commands.h"
#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Registers.h"

namespace kdi::cores {

/// What hardware would not do.
class KDI_DOOR RegisterFault : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class KDI_DOOR RegisterMemory {
 public:
  static constexpr int kReadsToLock = 5;

  /// All registers as after a reset. The map outlives the memory.
  explicit RegisterMemory(RegisterMap const& map);

  /// Throw RegisterFault for an address without a register, and for what a PLL does not bear. Whether the write was
  /// taken: a locked block ignores it, and so does a status register.
  std::uint32_t read(std::uint32_t address);
  bool write(std::uint32_t address, std::uint32_t value);
  bool masked_write(std::uint32_t address, std::uint32_t mask, std::uint32_t value);
  /// One read a microsecond. Throws RegisterFault if it never comes true.
  void poll(std::uint32_t address, std::uint32_t mask, std::uint32_t value, std::uint32_t timeout_us);
  /// Carries commands out, as far as nothing is wrong.
  void run(cdo::Commands const& commands);

  /// Whether writes to the register are ignored for now.
  bool is_locked(std::uint32_t reg) const;

  /// What is there, without the side effects of a read; by `BLOCK.REGISTER`.
  std::uint32_t word(std::string_view name) const;
  std::uint32_t field(std::string_view name, std::string_view field) const;
  std::vector<std::uint32_t> const& words() const { return words_; }

 private:
  struct Pll {
    int reads_left = 0;  // until it is steady
    bool is_starting = false, is_steady = false;
  };
  std::uint32_t at(std::uint32_t address) const;
  bool bit(RegisterPll const& pll, std::uint32_t field) const;
  void follow(std::uint32_t reg, std::uint32_t before);

  RegisterMap const& map_;
  std::vector<std::uint32_t> words_;  // by register
  std::vector<Pll> plls_;
  std::set<std::uint32_t> read_only_;
};

}  // namespace kdi::cores
