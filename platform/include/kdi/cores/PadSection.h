// The pads of a core as its description gives them: which functions there are, and which parameters say where they sit.
// data/cores/README.md tells the form.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "kdi/cores/Pads.h"
#include "kdi/cores/SearchSection.h"

namespace kdi::cores {

struct PadBank {
  std::string name;
  std::uint32_t first, last;           ///< as people count its pads
  std::uint32_t offset;                ///< the number of its first pad among all
  std::optional<Rule> enabled;         ///< whether the device has it
  std::vector<std::uint32_t> showing;  ///< by pad: the parameter that shows who sits there; empty: none does
};

struct DescribedFunction {
  std::string name, peripheral;
  std::optional<Rule> enabled;
  std::optional<std::uint32_t> enabler;    ///< the parameter that `enabled` consists of
  std::optional<std::uint32_t> parameter;  ///< says where it sits; without one it has one group
  std::uint32_t told_at;                   ///< the parameter at which conflicts are told
  std::vector<PadGroup> groups;
};

/// What is seated, and how.
struct PadFindings : Findings {
  std::vector<char> banks;             ///< by bank: whether the device has it
  std::vector<PadFunction> functions;  ///< those in use; `present` and the groups are as they are described
  std::vector<std::size_t> described;  ///< their numbers in the section
  std::vector<PadConflict> conflicts;  ///< of the functions
  std::vector<PadFunction> seats;  ///< functions with one parameter taken together, and the groups that are permitted
  std::vector<std::optional<std::uint32_t>> parameters;  ///< of the seats
};

class KDI_DOOR PadSection : public SearchSection {
 public:
  std::string_view name() const override { return "pads"; }
  std::string_view message() const override { return "pads"; }
  std::shared_ptr<Findings const> run(SearchInput const& input) const override;

  /// `PMC_MIO 7`.
  std::string pad_name(std::uint32_t pad) const;
  /// `PMC_MIO 0 .. 3 and PMC_MIO 7`.
  std::string pad_names(std::vector<std::uint32_t> const& pads) const;

  std::vector<PadBank> banks;
  std::vector<DescribedFunction> functions;
};

/// What to do so that nobody wants another's pads: parameters that say where functions sit, each with its text, and
/// peripherals to be given up, each with the parameter that enables it where one alone does.
struct PadAdvice {
  std::vector<std::pair<std::uint32_t, std::string>> moves;
  std::vector<std::pair<std::string, std::optional<std::uint32_t>>> given_up;
  std::vector<std::string> moved;  ///< peripherals
  std::string doubt;               ///< what is not proven of it, in words; empty if all is
};

/// The least that has to be moved; nothing if moving does not help. Throws PadEffortError if neither was found.
KDI_DOOR std::optional<PadAdvice> free_assignment(PadSection const& section, PadFindings const& findings);
/// The nearest repair.
KDI_DOOR PadAdvice nearest_repair(PadSection const& section, PadFindings const& findings, PadRepair repair);

}  // namespace kdi::cores
