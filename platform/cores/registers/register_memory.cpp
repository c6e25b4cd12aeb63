#include <algorithm>

#include "kdi/common/KdiNumber.h"
#include "kdi/cores/RegisterMemory.h"

namespace kdi::cores {

RegisterMemory::RegisterMemory(RegisterMap const& map) : map_(map), plls_(map.plls().size()) {
  for (Register const& reg : map.registers()) words_.push_back(reg.reset);
  for (RegisterPll const& pll : map.plls()) read_only_.insert(pll.status_reg);
}

std::uint32_t RegisterMemory::at(std::uint32_t address) const {
  const auto reg = map_.find(address);
  if (!reg) throw RegisterFault("no register at " + number::hexadecimal(address, 8));
  return *reg;
}

std::uint32_t RegisterMemory::read(std::uint32_t address) {
  const std::uint32_t reg = at(address);
  for (std::size_t i = 0; i < plls_.size(); ++i) {
    if (map_.plls()[i].status_reg != reg || !plls_[i].is_starting || --plls_[i].reads_left > 0) continue;
    plls_[i] = {0, false, true};
    words_[reg] |= map_.registers()[reg].fields[map_.plls()[i].status].mask();
  }
  return words_[reg];
}

bool RegisterMemory::is_locked(std::uint32_t reg) const {
  return std::any_of(map_.locks().begin(), map_.locks().end(), [&](RegisterLock const& lock) {
    return lock.block == map_.registers()[reg].block && lock.reg != reg && words_[lock.reg] != lock.key;
  });
}

bool RegisterMemory::write(std::uint32_t address, std::uint32_t value) {
  const std::uint32_t reg = at(address);
  if (is_locked(reg) || read_only_.contains(reg)) return false;
  const std::uint32_t before = words_[reg];
  words_[reg] = value;
  follow(reg, before);
  return true;
}

bool RegisterMemory::masked_write(std::uint32_t address, std::uint32_t mask, std::uint32_t value) {
  return write(address, (words_[at(address)] & ~mask) | value);
}

bool RegisterMemory::bit(RegisterPll const& pll, std::uint32_t field) const {
  return (words_[pll.reg] & map_.registers()[pll.reg].fields[field].mask()) != 0;
}

// What a PLL does when its control or its settings are written.
void RegisterMemory::follow(std::uint32_t reg, std::uint32_t before) {
  for (std::size_t i = 0; i < plls_.size(); ++i) {
    RegisterPll const& pll = map_.plls()[i];
    const bool is_control = pll.reg == reg;
    const bool is_setting = std::find(pll.settings.begin(), pll.settings.end(), reg) != pll.settings.end();
    if ((!is_control && !is_setting) || words_[reg] == before) continue;
    const bool was_reset =
        is_control ? (before & map_.registers()[reg].fields[pll.reset].mask()) != 0 : bit(pll, pll.reset);
    if (was_reset && !bit(pll, pll.reset)) {
      plls_[i] = {kReadsToLock, bit(pll, pll.bypass), false};
      continue;
    }
    if (is_setting && !bit(pll, pll.reset)) throw RegisterFault(map_.name(reg) + " changes while its PLL runs");
    if (is_control && !was_reset && bit(pll, pll.reset) && plls_[i].is_steady && !bit(pll, pll.bypass))
      throw RegisterFault(map_.name(reg) + " stops a PLL that is used");
    const bool is_used_early = is_control && !bit(pll, pll.bypass) && !plls_[i].is_steady;
    if (!bit(pll, pll.reset) && !is_used_early && !is_setting) continue;
    plls_[i] = {};
    words_[pll.status_reg] &= ~map_.registers()[pll.status_reg].fields[pll.status].mask();
  }
}

void RegisterMemory::poll(std::uint32_t address, std::uint32_t mask, std::uint32_t value, std::uint32_t timeout_us) {
  // What has not come by as many reads as a PLL takes never will.
  for (std::uint32_t time = 0; time < std::min<std::uint32_t>(timeout_us, kReadsToLock + 1); ++time)
    if ((read(address) & mask) == value) return;
  throw RegisterFault(map_.name(at(address)) + " never came to be " + number::hexadecimal(value, 8));
}

namespace {

struct Runner {
  RegisterMemory& memory;

  void operator()(cdo::Section const&) const {}
  void operator()(cdo::Write const& write) const { memory.write(write.address, write.value); }
  void operator()(cdo::MaskedWrite const& write) const { memory.masked_write(write.address, write.mask, write.value); }
  void operator()(cdo::Poll const& poll) const { memory.poll(poll.address, poll.mask, poll.value, poll.timeout_us); }
  void operator()(cdo::Delay const&) const {}
  void operator()(cdo::BlockWrite const& block) const {
    for (cdo::Write const& write : cdo::writes_of(block)) (*this)(write);
  }
};

}  // namespace

void RegisterMemory::run(cdo::Commands const& commands) {
  for (cdo::Command const& command : commands) std::visit(Runner{*this}, command);
}

std::uint32_t RegisterMemory::word(std::string_view name) const {
  const auto reg = map_.find(name);
  if (!reg) throw RegisterFault("no register " + std::string(name));
  return words_[*reg];
}

std::uint32_t RegisterMemory::field(std::string_view name, std::string_view field) const {
  const std::uint32_t held = word(name);
  Register const& reg = map_.registers()[*map_.find(name)];
  const auto number = reg.find(field);
  if (!number) throw RegisterFault("no field " + std::string(name) + "." + std::string(field));
  return (held & reg.fields[*number].mask()) >> reg.fields[*number].low;
}

}  // namespace kdi::cores
