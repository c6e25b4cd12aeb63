// A small core whose functions sit on pads of two banks.
#pragma once

#include <string>

#include "tests/support/clock_core.h"

namespace pad_core {

inline std::string parameters() {
  using clock_core::parameter;
  std::string text = parameter("PS_THERE", "truth", "1") + ",\n" + parameter("WIDE", "truth", "0") + ",\n" +
                     parameter("KEY_ON", "truth", "0") + ",\n";
  const std::string functions[][3] = {
      {"UART0", "MIO 0 .. 1", "1"}, {"UART1", "MIO 4 .. 5", "0"}, {"SPI0", "MIO 2 .. 5", "0"}};
  for (auto const& [name, io, on] : functions)
    text +=
        parameter(name + "_ON", "truth", on) + ",\n" +
        parameter(name + "_IO", "text", io, name == "SPI0" ? R"("range": "['MIO 2 .. 5', 'PS 0 .. 3', 'EMIO']")" : "") +
        ",\n";
  for (int pad = 0; pad < 8; ++pad) text += parameter("MIO_" + std::to_string(pad) + "_USE", "text", "") + ",\n";
  return text + parameter("BUSY", "truth", "0", R"("derived": "MIO_4_USE != ''")");
}

inline std::string pads() {
  return R"json({
  "banks": [{"name": "MIO", "pads": [0, 7], "shows": "MIO_${pad}_USE"}, {"name": "PS", "pads": [0, 5], "enabled": "PS_THERE"}],
  "functions": [
    {"each": {"n": "{0..1}"}, "name": "UART${n}", "enabled": "UART${n}_ON", "parameter": "UART${n}_IO",
     "groups": ["MIO 0 .. 1", "MIO 4 .. 5", "PS 0 .. 1"]},
    {"name": "SPI0", "enabled": "SPI0_ON", "parameter": "SPI0_IO", "groups": ["MIO 2 .. 5", "PS 0 .. 3"], "fabric": "EMIO"},
    {"name": "SPI0 upper", "peripheral": "SPI0", "enabled": "SPI0_ON and WIDE", "parameter": "SPI0_IO",
     "groups": [{"text": "MIO 2 .. 5", "pads": ["MIO 6 .. 7", "MIO 0"]}, {"text": "PS 0 .. 3", "pads": ["PS 4 .. 5"]}]},
    {"name": "key", "enabled": "KEY_ON", "groups": ["PS 1"]}
  ]
})json";
}

inline std::string core(std::string const& section = pads(), std::string const& described = parameters()) {
  return R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + described + R"(], "pads": )" + section +
         "}";
}

}  // namespace pad_core
