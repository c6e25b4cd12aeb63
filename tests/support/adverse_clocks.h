// Clock requests that are hard to search: five PLLs of two domains, each of which all clocks may take.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "kdi/cores/Clocks.h"
#include "tests/support/random_clocks.h"

namespace adverse_clocks {

using namespace kdi::cores;

struct Asked {
  std::string name, mhz;
  std::string most = {};  // none where empty
  bool may_exceed = false;
};

/// Clocks of the first domain take three of the PLLs as they are and two behind their crossings, those of the second
/// the other way round. PLLs of a domain are alike.
inline ClockRequest of_two_domains(std::vector<Asked> const& first, std::vector<Asked> const& second) {
  ClockRequest request;
  request.references = {{"REF", 50}, {"ALT", *Decimal::read("33.333333")}};
  const std::vector<std::string> names = {"A", "B", "C", "D", "E"};
  for (std::string const& name : names)
    request.plls.push_back({name,
                            {"REF", "ALT"},
                            random_clocks::RandomClocks::numbers(20, 160),
                            {2, 4, 8, 16},
                            2160,
                            4320,
                            Decimal(1600),
                            Crossing{name + "X", {1, 2, 3, 4}, Decimal(1200)}});
  const auto add = [&](std::vector<Asked> const& list, std::vector<std::string> const& sources) {
    for (Asked const& asked : list)
      request.clocks.push_back({asked.name,
                                *Decimal::read(asked.mhz),
                                sources,
                                {random_clocks::RandomClocks::numbers(1, 1023)},
                                asked.most.empty() ? std::nullopt : Decimal::read(asked.most),
                                asked.may_exceed});
  };
  add(first, {"A", "B", "C", "DX", "EX"});
  add(second, {"D", "E", "AX", "BX", "CX"});
  return request;
}

/// One clock far off, whose limit is far below what it asks for: it alone decides the worst error, within which all
/// others may be nearly anything.
inline ClockRequest one_far_off() {
  return of_two_domains(
      {{"CPU", "1200"}, {"DDR", "726.75482"}, {"TOP", "225"}, {"VIDEO", "300", "98"}, {"PCIE", "250"}},
      {{"RPU", "500", "", true},
       {"BUS", "100"},
       {"UART", "100"},
       {"QSPI", "200"},
       {"USB", "250"},
       {"ENET", "125"},
       {"FABRIC2", "33.333333", "", true},
       {"FABRIC3", "350"}});
}

}  // namespace adverse_clocks
