// A small core with clocks: two PLLs on two references, and four clocks, one of which takes a crossing.
#pragma once

#include <string>

namespace clock_core {

inline std::string parameter(std::string const& name, std::string const& type, std::string const& preset,
                             std::string const& more = "") {
  return R"({"name": ")" + name + R"(", "type": ")" + type +
         R"(", "widget": "EDIT", "description": "one", "default": ")" + preset + "\"" +
         (more.empty() ? "" : ", " + more) + "}";
}

inline std::string parameters() {
  std::string text = parameter("MANUAL", "truth", "0") + ",\n" + parameter("REF_MHZ", "decimal", "30") + ",\n" +
                     parameter("ALT_MHZ", "decimal", "0", R"("limits": ["0", "60"])") + ",\n" +
                     parameter("ALT_USED", "truth", "1") + ",\n";
  for (const std::string name : {"A", "B"})
    text += parameter(name + "_SRC", "text", "REF", R"("values": ["REF", "ALT"])") + ",\n" +
            parameter(name + "_FB", "integer", "20", R"("limits": ["20", "30"])") + ",\n" +
            parameter(name + "_DIV", "integer", "2", R"("values": ["2", "4"])") + ",\n";
  text +=
      parameter("A_MHZ", "decimal", "0") + ",\n" + parameter("A_CROSS", "integer", "1", R"("range": "[1, 3]")") + ",\n";
  const std::string clocks[][3] = {{"U", "50", "1"}, {"V", "75", "0"}, {"W", "12.5", "1"}, {"X", "40", "0"}};
  for (auto const& [name, mhz, on] : clocks)
    text += parameter(name + "_ON", "truth", on) + ",\n" +
            parameter(name + "_MHZ", "decimal", mhz, R"("limits": ["0", "400"])") + ",\n" +
            parameter(name + "_SRC", "text", "PLL A") + ",\n" +
            parameter(name + "_DIV", "integer", "7", R"("range": "if MANUAL then [1, 20] else [1, 12]")") + ",\n" +
            parameter(name + "_ACT", "decimal", "0", name == "V" ? R"("skips": true, "enabled": "V_ON")" : "") + ",\n";
  // What reads what was found.
  return text + parameter("FAST", "truth", "0", R"("derived": "U_ACT > 60 or V_ACT > 60")") + ",\n" +
         parameter("V_MOST", "decimal", "80");
}

inline std::string clocks() {
  return R"json({
  "manual": "MANUAL",
  "references": [{"name": "REF", "frequency": "REF_MHZ"}, {"name": "ALT", "frequency": "if ALT_USED then ALT_MHZ else 0"}],
  "plls": [
    {"name": "A", "source": "A_SRC", "references": {"REF": "REF", "ALT": "ALT"},
     "feedback": {"parameter": "A_FB", "values": "numbers(20, 30)"}, "divider": {"parameter": "A_DIV", "values": "[2, 4]"},
     "vco": ["600", "900"], "actual": "A_MHZ",
     "crossing": {"name": "AX", "parameter": "A_CROSS", "values": "numbers(1, 3)", "most": "300"}},
    {"name": "B", "source": "B_SRC", "references": {"REF": "REF", "ALT": "ALT"},
     "feedback": {"parameter": "B_FB", "values": "numbers(20, 30)"}, "divider": {"parameter": "B_DIV", "values": "[4, 2]"},
     "vco": ["600", "900"]}
  ],
  "outputs": [
    {"each": {"C": "{U,X}"}, "name": "${C}", "enabled": "${C}_ON", "requested": "${C}_MHZ", "actual": "${C}_ACT",
     "source": "${C}_SRC", "sources": {"A": "PLL A", "B": "PLL B"},
     "dividers": [{"parameter": "${C}_DIV", "values": "numbers(1, 12)"}]},
    {"name": "V", "enabled": "V_ON", "requested": "V_MHZ", "actual": "V_ACT", "source": "V_SRC",
     "sources": {"B": "PLL B", "REF": "the reference"}, "dividers": [{"parameter": "V_DIV", "values": "numbers(1, 12)"}],
     "most": "V_MOST"},
    {"name": "W", "enabled": "W_ON", "requested": "W_MHZ", "actual": "W_ACT", "source": "W_SRC",
     "sources": {"AX": "PLL A"}, "dividers": [{"parameter": "W_DIV", "values": "numbers(1, 12)"}, {"values": "[2, 3]"}],
     "exceeds": false}
  ]
})json";
}

inline std::string core(std::string const& section = clocks(), std::string const& described = parameters()) {
  return R"({"format": 1, "core": "made", "version": "1.0", "parameters": [)" + described + R"(], "clocks": )" +
         section + "}";
}

}  // namespace clock_core
