// The named options of a clocking command.
#pragma once

#include <tcl.h>

#include <initializer_list>
#include <string>
#include <variant>
#include <vector>

#include "kdi/common/KdiTypes.h"

namespace Ip_Clocking {

/// Where an option's value goes; its type is the one that the schema gives the option.
struct Option {
  char const* name;
  std::variant<std::string*, double*, long*, bool*, StrVec*> value;
};

/// Parses the words behind the command's name by `schema` and stores the values. False: they do not fit the schema,
/// and nothing was stored. All options of the schema are among `options`.
bool read_options(std::string const& schema, int objc, Tcl_Obj* const objv[], std::initializer_list<Option> options);

/// The elements of a word that holds a list, as options of the type list are split.
StrVec split_words(std::string const& text);

}  // namespace Ip_Clocking
