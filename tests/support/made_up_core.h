// Cores at random whose rules are of the kinds that descriptions of real cores have: what enables a parameter, modes
// that choose ranges, sums with ceilings, and pairs that cannot coexist.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "kdi/cores/Instance.h"

namespace test_support {

class MadeUpCore {
 public:
  /// Parameters P0, P1, ...; rules read those before their own.
  MadeUpCore(std::uint64_t seed, int parameters) : random_(seed) {
    while (static_cast<int>(types_.size()) < parameters) {
      const std::string before = text_;
      const char type = "tttiixd"[below(7)];
      text_ += (types_.empty() ? "" : ",") + parameter(type);
      types_ += type;
      if (types_.size() > 1 && is_refused()) {
        types_.pop_back();
        text_ = before;
      }
    }
  }

  std::string text() const {
    return R"({"format": 1, "core": "made", "version": "1.0", "definitions": {)" + definitions() +
           R"(}, "parameters": [)" + text_ + "]}";
  }
  std::uint64_t below(std::uint64_t bound) { return random_() % bound; }

  /// A text that a user might write for a parameter, at times one that is out of range or no value.
  std::string value(kdi::cores::Parameter const& parameter) {
    if (below(12) == 0) return "99";
    if (parameter.type == kdi::cores::Type(kdi::cores::Kind::truth)) return below(2) == 0 ? "0" : "1";
    if (!parameter.values().empty()) return parameter.values()[below(parameter.values().size())];
    return std::to_string(below(13));
  }

 private:
  static constexpr char const* kWords[] = {"red", "green", "blue"};

  bool is_refused() const {
    try {
      kdi::cores::Core::parse(text(), "made.json");
      return false;
    } catch (std::exception const& error) {
      if (std::string(error.what()).find("with all defaults") == std::string::npos) throw;
      return true;
    }
  }

  std::string name(std::size_t number) const { return "P" + std::to_string(number); }
  std::string some(char type) {
    std::vector<std::size_t> fitting;
    for (std::size_t i = 0; i < types_.size(); ++i)
      if (types_[i] == type) fitting.push_back(i);
    return fitting.empty() ? "" : name(fitting[below(fitting.size())]);
  }
  // How many of the truths among the first parameters are on.
  std::string definitions() const {
    std::string list;
    for (std::size_t i = 0; i < types_.size() && i < 6; ++i)
      if (types_[i] == 't') list += (list.empty() ? "" : ", ") + name(i);
    return types_.size() < 6 || list.empty() ? "" : "\"ON\": \"count(on in [" + list + "]: on)\"";
  }

  std::string simple() {
    const std::string truth = some('t'), integer = some('i'), word = some('x'), decimal = some('d');
    const std::string sign = below(2) == 0 ? " >= " : " < ";
    switch (below(8)) {
      case 0:
        if (!integer.empty()) return integer + sign + std::to_string(below(13));
        break;
      case 1:
        if (!word.empty()) return word + " == '" + kWords[below(3)] + "'";
        break;
      case 2:
        if (!word.empty()) return word + " in ['" + kWords[below(2)] + "', 'blue']";
        break;
      case 3:
        if (!integer.empty()) return integer + " * 2" + sign + some('i') + " + " + std::to_string(below(9));
        break;
      case 4:
        if (!decimal.empty()) return decimal + sign + std::to_string(below(9)) + ".5";
        break;
      case 5:
        if (!truth.empty()) return "enabled(" + truth + ") and " + truth;
        break;
      case 6:
        if (!definitions().empty()) return "ON" + sign + std::to_string(below(4));
        break;
      default:
        break;
    }
    if (truth.empty()) return "true";
    return below(3) == 0 ? "not " + truth : truth;
  }

  std::string condition() {
    const std::uint64_t parts = below(4);
    std::string text = simple();
    for (std::uint64_t i = 0; i < parts; ++i)
      text = "(" + text + (below(3) == 0 ? ") or (" : ") and (") + simple() + ")";
    if (below(6) == 0) text = "if " + simple() + " then " + text + " else " + simple();
    return text;
  }

  std::string parameter(char type) {
    const auto field = [](char const* key, std::string const& value) {
      return std::string(", \"") + key + "\": \"" + value + "\"";
    };
    const std::string own = name(types_.size());
    std::string text = "\n{\"name\": \"" + own + R"(", "description": "one")";
    if (type == 't') {
      text += field("type", "truth") + field("widget", "CHECKBOX") + field("default", below(2) == 0 ? "0" : "1");
      if (below(8) == 0) text += field("derived", condition());
    } else if (type == 'x') {
      text += field("type", "text") + field("widget", "COMBO") + field("default", kWords[below(2)]);
      if (below(3) == 0)
        text += field("range", "if " + simple() + " then ['red', 'green'] else ['green', 'blue', 'red']");
      else
        text += R"(, "values": ["red", "green", "blue"])";
    } else {
      text += field("type", type == 'i' ? "integer" : "decimal") + field("widget", "EDIT") +
              field("default", std::to_string(below(5)));
      if (below(3) == 0)
        text += field("range", "[0, if " + simple() + " then " + std::to_string(4 + below(4)) + " else 12]");
      else
        text += R"(, "limits": ["0", "12"])";
    }
    if (below(2) == 0) text += field("enabled", condition());
    if (below(3) != 0) {
      const std::string mine = type == 't'   ? own
                               : type == 'x' ? own + " == 'red'"
                                             : own + " > " + std::to_string(2 + below(8));
      text += R"(, "messages": [{"name": "clash", "severity": ")" + std::string(below(4) == 0 ? "warning" : "error") +
              "\"" + field("when", "(" + mine + ") and (" + simple() + ") and (" + condition() + ")") +
              field("text", own + " is {" + own + "}") + "}]";
    }
    return text + "}";
  }

  std::mt19937_64 random_;
  std::string types_;  // t truth, i integer, d decimal, x text
  std::string text_;
};

}  // namespace test_support
