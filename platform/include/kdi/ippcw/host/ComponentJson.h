// Descriptions of components in XML as JSON, in memory (docs/component-json.md).
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"

namespace hardip_eng {

/// "<file>:<line>: <what is wrong>".
class KDI_DOOR ComponentError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

constexpr std::size_t kMostComponentBytes = std::size_t{1} << 26;  ///< of the XML
constexpr std::size_t kMostComponentJson = std::size_t{1} << 28;   ///< bytes of the JSON
constexpr int kDeepestComponent = 200;                             ///< elements within one another

/// The JSON with the tree of an XML document; errors call it `name`. Throws ComponentError for what is no well-formed
/// XML, for a document type declaration (and so for entities of its own), and where a bound is exceeded.
KDI_DOOR std::string component_json(std::string_view xml, std::string const& name);

}  // namespace hardip_eng
