#include "platform/common/param_files.h"

#include <algorithm>
#include <stdexcept>

#include "kdi/common/KdiJsonText.h"
#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi {
namespace {

using param_host::Declaration;
using param_host::Type;

constexpr std::string_view kTruths[] = {"true", "yes", "on"};
constexpr std::string_view kFalsehoods[] = {"false", "no", "off"};

template <class Words>
bool has(Words const& words, std::string_view word) {
  return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

// The canonical text of a value in a file, which is written in the parameter's own type.
std::string value_in_file(JsonValue value, Type type) {
  if (type == Type::integer) return std::to_string(value.integer());
  if (type == Type::text) {
    if (!canonical_value(type, value.text())) value.refuse(accepted_form(type));
    return std::string(value.text());
  }
  return value.boolean() ? "true" : "false";
}

}  // namespace

std::optional<std::string> canonical_value(Type type, std::string_view text) {
  if (type == Type::text) {
    constexpr std::size_t kLongest = 4096;
    const bool is_shown = text.size() <= kLongest && text::is_utf8(text) &&
                          std::none_of(text.begin(), text.end(), [](char c) { return text::is_control(c); });
    return is_shown ? std::optional(std::string(text)) : std::nullopt;
  }
  const auto number = number::whole<std::int64_t>(number::without_plus(text));
  if (type == Type::integer) return number ? std::optional(std::to_string(*number)) : std::nullopt;
  if (number) return *number != 0 ? "true" : "false";
  const std::string word = text::lowered(text);
  if (has(kTruths, word)) return "true";
  if (has(kFalsehoods, word)) return "false";
  return std::nullopt;
}

char const* accepted_form(Type type) {
  switch (type) {
    case Type::integer:
      return "an integer within 64 bits";
    case Type::text:
      return "a text of at most 4096 bytes without control characters";
    case Type::boolean:
      break;
  }
  return "true, yes, on, false, no, off or an integer";
}

char const* false_value(Type type) { return type == Type::integer ? "0" : type == Type::text ? "" : "false"; }

bool is_parameter_name(std::string_view name) {
  constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
  return !name.empty() && name.find_first_not_of(kLetters) == std::string_view::npos;
}

std::vector<FileDeclaration> read_declarations(JsonFile const& file) {
  std::vector<FileDeclaration> declarations;
  for (const JsonValue entry : file.root().items()) {
    entry.allow_only({"name", "type", "default", "documentation", "effect"});
    Declaration read;
    read.name = entry.member("name").text();
    if (!is_parameter_name(read.name)) entry.member("name").refuse("a name of letters, digits, _, . and -");
    constexpr Type kTypes[] = {Type::boolean, Type::integer, Type::text};
    read.type = kTypes[entry.member("type").choice({"boolean", "integer", "text"})];
    read.default_value = value_in_file(entry.member("default"), read.type);
    for (auto const& [field, text] :
         {std::pair{"documentation", &read.documentation}, std::pair{"effect", &read.effect}}) {
      *text = entry.member(field).text();
      if (text->empty()) entry.member(field).refuse("a sentence");
    }
    declarations.push_back({std::move(read), entry.member("name").place()});
  }
  return declarations;
}

std::vector<FileValue> read_values(JsonFile const& file, std::string const& path, TypeLookup const& type_of) {
  std::vector<FileValue> values;
  for (const JsonValue value : file.root().members()) {
    Type type{};
    try {
      type = type_of(std::string(value.name()));
    } catch (std::invalid_argument const& unknown) {
      throw JsonError(value.place() + ": expected the name of a declared parameter: " + unknown.what());
    }
    values.push_back(
        {std::string(value.name()), value_in_file(value, type), path + ":" + std::to_string(value.line())});
  }
  return values;
}

std::string values_text(std::vector<param_host::Parameter> const& parameters) {
  if (parameters.empty()) return "{\n}\n";
  std::vector<std::string> members;
  for (param_host::Parameter const& parameter : parameters)
    members.push_back("  " + text::quoted(parameter.name) + ": " +
                      (parameter.type == Type::text ? text::json_text(parameter.value) : parameter.value));
  return "{\n" + text::joined(members, ",\n") + "\n}\n";
}

std::string nearest_name(std::string_view name, std::vector<std::string> const& names) {
  std::string nearest;
  std::size_t least = name.size() / 3 + 1;  // farther than a third of its letters is no slip of the pen
  for (std::string const& candidate : names) {
    const std::size_t difference = std::max(candidate.size(), name.size()) - std::min(candidate.size(), name.size());
    if (difference >= least) continue;
    const std::size_t distance = text::edit_distance(name, candidate);
    if (distance >= least) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

}  // namespace kdi
