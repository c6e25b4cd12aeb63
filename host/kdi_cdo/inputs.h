// Files that a person names, and `-` for the standard streams.
#pragma once

#include <string>
#include <string_view>

#include "kdi/cdo/Commands.h"

namespace kdi_cdo {

/// The whole of a regular file, or of standard input. Throws kdi::FileError.
std::string read(std::string const& path);
/// For messages.
std::string named(std::string const& path);

/// Commands in any form. Throws kdi::FileError, kdi::cdo::CdoError.
kdi::cdo::Commands read_commands(std::string const& path);

/// To a file, which then is whole or as it was, or to standard output. Throws kdi::FileError.
void write(std::string const& path, std::string_view content);

}  // namespace kdi_cdo
