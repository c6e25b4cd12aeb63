// Where things stand on this machine. Paths are compiled into one file, so that a compiler cache serves every other
// from any folder that the project is cloned into.
#pragma once

#include <string>

namespace places {

/// Files of the project, by their paths below its root, its data/ and its tests/golden/.
std::string source(std::string const& path);
std::string data(std::string const& path);
std::string golden(std::string const& path);

/// What this build made: a program and a shared library, by their file names.
std::string program(std::string const& name);
std::string library(std::string const& name);

/// The folder of the locales that were compiled for the tests: de_DE.UTF-8, de_DE.ISO-8859-1 and tr_TR.ISO-8859-9.
std::string locales();

}  // namespace places
