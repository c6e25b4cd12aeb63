#include "tests/support/places.h"

namespace places {

std::string source(std::string const& path) { return IPTASKS_SOURCE_DIR "/" + path; }
std::string data(std::string const& path) { return source("data/" + path); }
std::string golden(std::string const& path) { return source("tests/golden/" + path); }

std::string program(std::string const& name) { return IPTASKS_PROGRAM_DIR "/" + name; }
std::string library(std::string const& name) { return IPTASKS_LIBRARY_DIR "/" + name; }

std::string locales() { return IPTASKS_LOCALE_DIR; }

}  // namespace places
