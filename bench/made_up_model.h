// A made-up model of parameters: blocks of four, each block below another. It is written out in three ways, as the
// description of a core, in the language of Kconfig, and as C++ as one would write it by hand.
#pragma once

#include <string>

namespace made_up {

constexpr int kOfABlock = 4;  // a switch, a width that it enables, a size with a range by width, and a level by size

inline std::string name(int block, char const* what) { return "B" + std::to_string(block) + "_" + what; }
inline int above(int block) { return block / 2; }

/// The description of a core.
inline std::string description(int parameters) {
  std::string text = R"({"format": 1, "core": "made_up", "version": "1.0", "parameters": [)";
  const auto add = [&](std::string const& own, std::string const& type, std::string const& widget,
                       std::string const& value, std::string const& rules) {
    text += text.back() == '[' ? "\n" : ",\n";
    text += R"({"name": ")" + own + R"(", "type": ")" + type + R"(", "widget": ")" + widget +
            R"(", "description": "made up", "default": ")" + value + "\"" + rules + "}";
  };
  for (int b = 0; b < parameters / kOfABlock; ++b) {
    const std::string on = name(b, "ENABLE"), wide = name(b, "WIDE"), size = name(b, "SIZE");
    add(on, "truth", "CHECKBOX", "1", b == 0 ? "" : R"(, "enabled": ")" + name(above(b), "ENABLE") + "\"");
    add(wide, "truth", "CHECKBOX", b % 2 == 0 ? "1" : "0", R"(, "enabled": ")" + on + "\"");
    add(size, "integer", "EDIT", "16",
        R"(, "enabled": ")" + on + R"(", "range": "if )" + wide + R"( then [1, 256] else [1, 64]")");
    add(name(b, "LEVEL"), "integer", "EDIT", "1",
        R"(, "enabled": ")" + on + R"(", "derived": "if )" + size + " > 32 and " + name(above(b), "WIDE") +
            R"( then 3 else if )" + size + R"( > 8 then 2 else 1")");
  }
  return text + "]}";
}

/// The same for Kconfig.
inline std::string kconfig(int parameters) {
  std::string text = "mainmenu \"made up\"\n";
  for (int b = 0; b < parameters / kOfABlock; ++b) {
    const std::string on = name(b, "ENABLE"), wide = name(b, "WIDE"), size = name(b, "SIZE"), level = name(b, "LEVEL");
    text += "config " + on + "\n\tbool \"" + on + "\"\n\tdefault y\n";
    if (b != 0) text += "\tdepends on " + name(above(b), "ENABLE") + "\n";
    text += "config " + wide + "\n\tbool \"" + wide + "\"\n\tdefault " + (b % 2 == 0 ? "y" : "n") + "\n\tdepends on " +
            on + "\n";
    text += "config " + size + "\n\tint \"" + size + "\"\n\trange 1 256 if " + wide +
            "\n\trange 1 64\n\tdefault 16\n\tdepends on " + on + "\n";
    text += "config " + level + "\n\tint\n\tdefault 3 if " + size + " > 32 && " + name(above(b), "WIDE") +
            "\n\tdefault 2 if " + size + " > 8\n\tdefault 1\n\tdepends on " + on + "\n";
  }
  return text;
}

/// The same as C++: `evaluate` of bench/written_model.h.
inline std::string source(int parameters) {
  std::string text = "#include \"bench/written_model.h\"\n\nnamespace made_up {\n";
  std::string calls;
  // Functions of some blocks each: one of thousands of lines would be compiled for minutes.
  constexpr int kBlocksOfAFunction = 25;
  const int blocks = parameters / kOfABlock;
  for (int first = 0; first < blocks; first += kBlocksOfAFunction) {
    const std::string function = "evaluate_" + std::to_string(first);
    text += "static void " + function + "(Given const& given, Answers& a) {\n";
    calls += "  " + function + "(given, a);\n";
    for (int b = first; b < blocks && b < first + kBlocksOfAFunction; ++b) {
      const auto at = [](int block, int what) { return "a[" + std::to_string(block * kOfABlock + what) + "]"; };
      const auto own = [&](int what) { return std::to_string(b * kOfABlock + what); };
      const std::string on = at(b, 0), wide = at(b, 1), size = at(b, 2), level = at(b, 3);
      text += "  " + on + ".enabled = " + (b == 0 ? "true" : at(above(b), 0) + ".value != 0") + ";\n";
      text += "  " + on + ".value = taken(given[" + own(0) + "], 1);\n";
      text += "  " + wide + ".enabled = " + on + ".value != 0;\n";
      text += "  " + wide + ".value = taken(given[" + own(1) + "], " + (b % 2 == 0 ? "1" : "0") + ");\n";
      text += "  " + size + ".enabled = " + on + ".value != 0;\n";
      text += "  " + size + ".range = {1, " + wide + ".value != 0 ? 256 : 64};\n";
      text += "  " + size + ".value = taken(given[" + own(2) + "], 16, " + size + ".range);\n";
      text += "  " + level + ".enabled = " + on + ".value != 0;\n";
      text += "  " + level + ".value = " + size + ".value > 32 && " + at(above(b), 1) + ".value != 0 ? 3 : " + size +
              ".value > 8 ? 2 : 1;\n";
    }
    text += "}\n";
  }
  return text + "void evaluate(Given const& given, Answers& a) {\n" + calls + "}\n}  // namespace made_up\n";
}

}  // namespace made_up
