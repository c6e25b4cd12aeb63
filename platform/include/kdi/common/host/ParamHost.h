// The host's side of the tool parameters: declaring, setting and listing them.
//
// Values are texts here: `true` and `false` for a boolean, decimal digits for an integer, the same under every locale.
// All operations may be called from several threads.
#pragma once

#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"

namespace param_host {

enum class Type { boolean, integer, text };

/// Who gave a value: nobody, so that the declared default holds; a file; or the program. The later one prevails.
enum class Origin { declared, file, program };

/// What the data folder params/ tells of a parameter.
struct Declaration {
  std::string name;
  Type type = Type::boolean;
  std::string default_value;
  std::string documentation;  ///< what it is about
  std::string effect;         ///< what happens when it is true, or not 0; of a text, what it names
};

struct Parameter : Declaration {
  std::string value;
  Origin origin = Origin::declared;
  std::string place;  ///< for Origin::file: "<file>:<line>"
};

/// "boolean", "integer", "text"; "default", "file", "program".
KDI_DOOR char const* name_of(Type type);
KDI_DOOR char const* name_of(Origin origin);

/// Adds a parameter. Throws std::invalid_argument if there is one of that name, if the name is not made of letters,
/// digits, `_`, `.` and `-`, or if the default is none of its type.
KDI_DOOR void declare(Declaration declaration);

/// Sets a value on behalf of the program. Accepted are, for a boolean, `true`, `yes`, `on`, `false`, `no`, `off`
/// without regard to case, and an integer, of which 0 is false; for an integer, decimal digits with or without a sign,
/// within 64 bits; for a text, UTF-8 of at most 4096 bytes without control characters. Throws std::invalid_argument,
/// and changes nothing, if `name` is not declared or `value` is not accepted.
KDI_DOOR void set(std::string const& name, std::string const& value);

/// Takes back what the program set, so that the value of a file or the default holds again. Throws
/// std::invalid_argument if `name` is not declared.
KDI_DOOR void unset(std::string const& name);

/// One parameter. Throws std::invalid_argument if `name` is not declared.
KDI_DOOR Parameter get(std::string const& name);

/// All parameters in byte order of their names.
KDI_DOOR std::vector<Parameter> list();

/// Takes the values in the file `path`, over those of earlier files: a JSON object of names to true, false or integers,
/// as each parameter's type asks. Throws kdi::FileError or kdi::JsonError (common/KdiJson.h), with file, line, field
/// and accepted form, and then changes nothing.
KDI_DOOR void load_file(std::string const& path);

/// Writes the values that are not mere defaults as such a file. Throws kdi::FileError if it cannot be written whole.
KDI_DOOR void save_file(std::string const& path);

}  // namespace param_host
