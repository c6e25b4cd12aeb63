#include "kdi/planning/Constraints.h"

#include <initializer_list>
#include <map>
#include <string_view>

namespace kdi::planning {
namespace {

// A property of a port. Such texts are long and many: one allocation each.
std::string property(std::string_view name, std::string_view value, std::string_view port) {
  std::string text;
  text.reserve(40 + name.size() + value.size() + port.size());
  for (const std::string_view piece :
       std::initializer_list<std::string_view>{"set_property ", name, " ", value, " [get_ports {", port, "}]"})
    text += piece;
  return text;
}

}  // namespace

std::vector<IoStandard const*> standards_at(PlacementRequest const& request, std::vector<int> const& pads) {
  std::vector<IoStandard const*> standards(pads.size(), nullptr);
  for (std::size_t i = 0; i < pads.size(); ++i)
    if (pads[i] >= 0)
      standards[i] = find_standard(standard_of(request, static_cast<int>(i), request.layout->bank_of_pad(pads[i])));
  return standards;
}

std::vector<std::string> pin_constraints(PlacedSignals const& placed) {
  std::vector<std::string> lines;
  lines.reserve(placed.pads.size());
  for (std::size_t i = 0; i < placed.pads.size(); ++i)
    if (const int pad = placed.pads[i]; pad >= 0)
      lines.push_back(property("PACKAGE_PIN", placed.layout.pads[static_cast<std::size_t>(pad)].ball,
                               placed.interface.signals[i].name));
  return lines;
}

std::vector<std::string> standard_constraints(PlacedSignals const& placed) {
  std::vector<std::string> lines;
  lines.reserve(3 * placed.pads.size());
  for (std::size_t i = 0; i < placed.pads.size(); ++i) {
    Signal const& signal = placed.interface.signals[i];
    IoStandard const* const standard = placed.standards[i];
    if (standard == nullptr) continue;
    lines.push_back(property("IOSTANDARD", standard->name, signal.name));
    if (drives(signal) && !standard->output_impedance.empty())
      lines.push_back(property("OUTPUT_IMPEDANCE", standard->output_impedance[0], signal.name));
    if (receives(signal) && !standard->termination.empty())
      lines.push_back(property("ODT", standard->termination[0], signal.name));
  }
  return lines;
}

std::vector<std::string> reference_constraints(PlacedSignals const& placed) {
  std::map<int, std::string> volts;
  for (std::size_t i = 0; i < placed.pads.size(); ++i) {
    IoStandard const* const standard = placed.standards[i];
    if (standard != nullptr && receives(placed.interface.signals[i]) && !standard->differential &&
        !standard->vref_v.empty())
      volts[placed.layout.banks[static_cast<std::size_t>(placed.layout.bank_of_pad(placed.pads[i]))].number] =
          standard->vref_v;
  }
  std::vector<std::string> lines;
  for (auto const& [bank, vref] : volts)
    lines.push_back("set_property INTERNAL_VREF " + vref + " [get_iobanks " + std::to_string(bank) + "]");
  return lines;
}

}  // namespace kdi::planning
