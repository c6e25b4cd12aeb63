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

/// Eight clocks far off, and no few settings that are near for the others.
inline ClockRequest several_far_off() {
  return of_two_domains({{"SATA_REF", "0.1", "", true},
                         {"CPU", "1236.24", "", true},
                         {"DDR_REF", "148.5", "161.535"},
                         {"PCIE_REF", "1383.14078", "0.5", true},
                         {"DP_VIDEO", "1200", "110", true},
                         {"TOPSW", "533.333333", "", true}},
                        {{"I2C_REF", "1447.10272", "", true},
                         {"SDIO_REF", "949.396"},
                         {"LSBUS", "266.666666"},
                         {"FCLK2", "151.97553", "74.468", true},
                         {"NAND_REF", "1066.666666", "1205", true},
                         {"CAN_REF", "24.576", "", true},
                         {"UART_REF", "600", "195.3333", true},
                         {"RPU", "0.09804", "0.1057"},
                         {"USB_REF", "600", "", true},
                         {"ENET3_REF", "333.333333", "98", true},
                         {"FCLK0", "9.9", "", true},
                         {"SPI_REF", "600", "216.1111"},
                         {"FCLK1", "50"},
                         {"ENET0_REF", "225", "245.25", true},
                         {"ENET2_REF", "125"},
                         {"ENET1_REF", "1421.7336", "197.8772"},
                         {"QSPI_REF", "156.25", "84.2014"}});
}

/// What changing requests step by step to those that take longest came to.
inline ClockRequest hardest() {
  return of_two_domains({{"DP_VIDEO", "450"},
                         {"TOPSW", "150", "30.0066"},
                         {"CPU", "666.666666", "", true},
                         {"DDR_REF", "1110.61333"},
                         {"PCIE_REF", "266.666666", "326.1111"}},
                        {{"UART_REF", "0.32495"},
                         {"QSPI_REF", "266.666666", "450"},
                         {"ENET2_REF", "0.5", "0.1878", true},
                         {"FCLK1", "161.1328125", "155.9408"},
                         {"I2C_REF", "100", "79.2222", true},
                         {"ENET1_REF", "160.14", "", true},
                         {"SDIO_REF", "1130.4", "66.1111"},
                         {"LSBUS", "300", "", true},
                         {"CAN_REF", "91.24", "108.8889"},
                         {"RPU", "659", "84.5"},
                         {"FCLK3", "200"},
                         {"FCLK2", "622.284"},
                         {"FCLK0", "100", "", true},
                         {"USB_REF", "205.2444"},
                         {"ENET0_REF", "125", "", true}});
}

/// Clocks of both domains at random, many of which cannot be met: with limits below what they ask for, or with requests
/// above all that PLLs give.
class RandomAdverse {
 public:
  explicit RandomAdverse(std::uint64_t seed) : random_(seed) {}

  ClockRequest request() {
    std::vector<Asked> first, second;
    const std::uint64_t clocks = random_.below(19) + 6;
    for (std::uint64_t c = 0; c < clocks; ++c) (c % 4 == 0 ? first : second).push_back(asked("C" + std::to_string(c)));
    ClockRequest request = of_two_domains(first, second);
    if (random_.one_in(3)) request.references[1].mhz = random_.mhz(20, 60, 3);
    return request;
  }

 private:
  Asked asked(std::string const& name) {
    static char const* const kUsual[] = {"1200",       "1066.666666", "726.75482", "533.333333", "350",        "300",
                                         "266.666666", "250",         "225",       "200",        "166.666666", "125",
                                         "100",        "75",          "50",        "33.333333",  "24.576",     "12.288",
                                         "148.5",      "161.1328125", "0.5"};
    Asked clock{name, random_.one_of(kUsual)};
    if (random_.one_in(3)) clock.mhz = random_.mhz(1, random_.one_in(2) ? 1600 : 100, 3).text();
    if (random_.one_in(3)) clock.most = random_.one_in(2) ? random_.mhz(1, 400, 3).text() : random_.one_of(kUsual);
    clock.may_exceed = random_.one_in(3);
    return clock;
  }

  random_clocks::RandomClocks random_;
};

}  // namespace adverse_clocks
