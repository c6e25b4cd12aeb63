// What stands in the files of tool parameters, and the texts that a value may have.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kdi/common/KdiJson.h"
#include "kdi/common/host/ParamHost.h"

namespace kdi {

/// The one text for a value that a person wrote as `text`; nothing if it is none of the type.
std::optional<std::string> canonical_value(param_host::Type type, std::string_view text);

/// The texts that canonical_value takes, in words.
char const* accepted_form(param_host::Type type);

/// The one value that is not true.
char const* false_value(param_host::Type type);

/// Whether `name` is one that a parameter may have.
bool is_parameter_name(std::string_view name);

/// A parameter that a file of the data folder declares.
struct FileDeclaration {
  param_host::Declaration declaration;
  std::string place;  // of its name: "<file>:<line>: <field path>"
};

/// The parameters that a file declares, in its order; one may stand twice. Throws JsonError.
std::vector<FileDeclaration> read_declarations(JsonFile const& file);

/// The value that a file of values gives to a parameter.
struct FileValue {
  std::string name;
  std::string value;
  std::string place;  // "<file>:<line>"
};

/// Says the type of a declared parameter, or fails with std::invalid_argument for one that is not.
using TypeLookup = std::function<param_host::Type(std::string const& name)>;

/// The values of a file. Throws JsonError.
std::vector<FileValue> read_values(JsonFile const& file, std::string const& path, TypeLookup const& type_of);

/// The text of a file that gives these values, which are canonical.
std::string values_text(std::vector<param_host::Parameter> const& parameters);

/// The one of `names` that a person who wrote `name` most likely meant; empty if none is like it.
std::string nearest_name(std::string_view name, std::vector<std::string> const& names);

}  // namespace kdi
