// What a parameter's value is before anybody has read the files that declare all of them.
#pragma once

#include <string>
#include <string_view>

namespace kdi {

/// A line feed, a name, an equals sign and ON or OFF for each boolean declaration of data/params, and a line feed. Made
/// of these when the project is built.
std::string_view shipped_defaults();

/// Whether the boolean parameter `name` has the default `value` in the declarations that this library was built with,
/// and the environment names no other ones and no file of values. It knows nothing of values that a program has set.
///
/// For a question that is put while libraries are loaded: to read the files would take as long as half of the loading.
/// So a change of an installed declaration, in place of one in a data root of the site's own, is not seen there.
bool is_shipped_default(std::string const& name, bool value);

}  // namespace kdi
