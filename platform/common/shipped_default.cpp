#include "platform/common/shipped_default.h"

#include <cstdlib>

namespace kdi {
namespace {

bool is_given(char const* variable) {
  char const* const value = std::getenv(variable);
  return value != nullptr && *value != '\0';
}

}  // namespace

bool is_shipped_default(std::string const& name, bool value) {
  if (is_given("KDI_DATA_DIR") || is_given("KDI_PARAMS")) return false;
  return shipped_defaults().find("\n" + name + (value ? "=ON\n" : "=OFF\n")) != std::string_view::npos;
}

}  // namespace kdi
