// Words of commands to values.
#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"
#include "kdi/ip/HIPClocking.h"
#include "platform/ip/clock_faces/number_lists.h"

namespace Ip_Clocking {
namespace {

std::optional<bool> read_bool(std::string_view word) {
  for (char const* yes : {"true", "yes", "on", "1"})
    if (kdi::text::same_but_case(word, yes)) return true;
  for (char const* no : {"false", "no", "off", "0"})
    if (kdi::text::same_but_case(word, no)) return false;
  return std::nullopt;
}

std::optional<long> read_long(std::string_view word) {
  return kdi::number::whole<long>(kdi::number::without_plus(word));
}

using Values = std::map<std::string, void*>;

// One type of option: how its value is made from a word and deleted again.
struct Type {
  char const* name;
  void* (*make)(std::string const& word);  ///< null if the word is of another type
  void (*destroy)(void* value);
};

template <class Value>
void destroy(void* value) {
  delete static_cast<Value*>(value);
}
template <class Value>
void* make_if(std::optional<Value> value) {
  return value ? new Value(std::move(*value)) : nullptr;
}

constexpr Type kTypes[] = {
    {"string", [](std::string const& word) -> void* { return new std::string(word); }, destroy<std::string>},
    {"double", [](std::string const& word) { return make_if(kdi::clocking::read_number(word)); }, destroy<double>},
    {"long", [](std::string const& word) { return make_if(read_long(word)); }, destroy<long>},
    {"bool", [](std::string const& word) { return make_if(read_bool(word)); }, destroy<bool>},
    {"list", [](std::string const& word) -> void* { return new StrVec(kdi::clocking::split_words(word)); },
     destroy<StrVec>},
};

struct OptionSpec {
  Type const* type = nullptr;
  bool is_mandatory = false;
  std::string default_word;
};
using Schema = std::map<std::string, OptionSpec>;

bool is_option_name(std::string_view word) {
  return word.size() > 1 && word[0] == '-' &&
         std::all_of(word.begin() + 1, word.end(), [](char c) { return kdi::text::is_letter_or_digit(c) || c == '_'; });
}

// "<mandatory:double:10.00>"
std::optional<OptionSpec> read_spec(std::string_view text) {
  if (text.size() < 2 || text.front() != '<' || text.back() != '>') return std::nullopt;
  const std::size_t first = text.find(':'), second = text.find(':', first + 1);
  if (first == std::string::npos || second == std::string::npos) return std::nullopt;
  OptionSpec spec;
  const std::string_view necessity = text.substr(1, first - 1), type = text.substr(first + 1, second - first - 1);
  if (necessity != "mandatory" && necessity != "optional") return std::nullopt;
  spec.is_mandatory = necessity == "mandatory";
  const auto found = std::ranges::find(kTypes, type, [](Type const& known) { return std::string_view(known.name); });
  if (found == std::end(kTypes)) return std::nullopt;
  spec.type = found;
  spec.default_word = text.substr(second + 1, text.size() - second - 2);
  if (spec.default_word == "\"\"") spec.default_word.clear();
  return spec;
}

std::optional<Schema> read_schema(std::string const& text) {
  Schema schema;
  const std::vector<std::string_view> parts = kdi::text::words(text, " ");
  if (parts.size() % 2 != 0) return std::nullopt;
  for (std::size_t i = 0; i < parts.size(); i += 2) {
    const auto spec = read_spec(parts[i + 1]);
    if (!is_option_name(parts[i]) || !spec || !schema.emplace(std::string(parts[i]), *spec).second) return std::nullopt;
  }
  return schema;
}

// Values that are deleted by type unless they are handed over.
class TypedValues {
 public:
  explicit TypedValues(Schema const& schema) : schema_(schema) {}
  TypedValues(TypedValues const&) = delete;
  TypedValues& operator=(TypedValues const&) = delete;
  ~TypedValues() {
    for (auto const& [name, value] : values_)
      if (value != nullptr) schema_.at(name).type->destroy(value);
  }

  bool has(std::string const& name) const { return values_.contains(name); }
  bool add(std::string const& name, std::string const& word) {
    void*& place = values_[name];
    return (place = schema_.at(name).type->make(word)) != nullptr;
  }
  Values release() { return std::exchange(values_, {}); }

 private:
  Schema const& schema_;
  Values values_;
};

}  // namespace

bool HIPClockingUtils::parseArgs(std::string const& schema, StrVec const& words, std::map<std::string, void*>& values) {
  values.clear();
  const auto options = read_schema(schema);
  if (!options || words.size() % 2 != 0) return false;
  TypedValues typed(*options);
  for (std::size_t i = 0; i < words.size(); i += 2) {
    if (!options->contains(words[i]) || typed.has(words[i]) || options->contains(words[i + 1])) return false;
    if (!typed.add(words[i], words[i + 1])) return false;
  }
  for (auto const& [name, spec] : *options) {
    if (typed.has(name)) continue;
    if (spec.is_mandatory || !typed.add(name, spec.default_word)) return false;
  }
  values = typed.release();
  return true;
}

bool HIPClockingUtils::validateAndConvertDouble(std::string const& text, double& value) {
  const auto number = kdi::clocking::read_number(text);
  if (number) value = *number;
  return number.has_value();
}

bool HIPClockingUtils::convertDoubleToString(double const& value, std::string& text) {
  if (!std::isfinite(value)) return false;
  text = kdi::number::fixed(value, 3);
  return true;
}

bool HIPClockingUtils::validateSSArgs(std::string& text, bool& enabled, std::string& mode, double& modFreq,
                                      std::string& error) {
  const std::vector<std::string> words = kdi::clocking::split_words(text);
  enabled = false;
  if (words.empty() || (words.size() == 1 && words.front() == "NONE")) return true;
  const auto frequency = words.size() == 2 ? kdi::clocking::read_number(words.back()) : std::nullopt;
  if (!frequency || *frequency <= 0) {
    error = "Ip_Clocking_Calc_M_D: Spread spectrum '" + kdi::text::shortened(text) +
            "' needs to be a mode and a modulation frequency in kHz above 0, or NONE\n";
    return false;
  }
  enabled = true;
  mode = words.front();
  modFreq = *frequency;
  return true;
}

}  // namespace Ip_Clocking
