#include "kdi/planning/Wanted.h"

namespace kdi::planning {

Asked::Asked(Wanted const& wanted) : interface_(interface_of(wanted.interface)) {
  request_.layout = wanted.layout;
  request_.interface = &interface_;
  request_.standards = wanted.standards;
  request_.rate_mbps = wanted.rate_mbps;
  request_.grade = wanted.grade;
  request_.internal_reference = wanted.internal_reference;
  request_.taken = wanted.taken;
  request_.banks = wanted.banks;
  if (!wanted.lane_of_group.empty()) request_.lane_of_unit.assign(interface_.units.size(), -1);
  for (auto const& [group, lane] : wanted.lane_of_group)
    if (const int unit = interface_.unit(group); unit >= 0)
      request_.lane_of_unit[static_cast<std::size_t>(unit)] = lane;
  if (!wanted.pad_of_signal.empty()) request_.pad_of_signal.assign(interface_.signals.size(), -1);
  for (auto const& [name, pad] : wanted.pad_of_signal)
    if (const int signal = interface_.signal(name); signal >= 0)
      request_.pad_of_signal[static_cast<std::size_t>(signal)] = pad;
}

}  // namespace kdi::planning
