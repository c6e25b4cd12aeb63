// An instance of I/O planning for a test, and what its operations take.
#pragma once

#include <string>

#include "kdi/place/kelvane_io_v1.h"
#include "platform/place/dictionary.h"

namespace place_instance {

constexpr char kNibbles[] = "brvn3716-b1764-2LHP-e-S", kOctads[] = "brvn6112-c2209-2LHP-e-S";

/// What is thrown as a text; empty if nothing is.
template <class Do>
std::string thrown(Do what) {
  try {
    what();
  } catch (std::string const& text) {
    return text;
  }
  return {};
}

/// Lives as long as this.
class Interface {
 public:
  explicit Interface(char const* part, OptionMap more = {}) {
    more.insert({{"-instance_name", "made"}, {"-part", part}});
    kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::loadMigPkgData(more);
  }
  Interface(Interface const&) = delete;
  Interface& operator=(Interface const&) = delete;
  ~Interface() { kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::releasePkgData({{"-instance_name", "made"}}); }
  kelvane_io::kelvane_io_v1::HIPKelvaneIoInstance* operator->() const {
    return kelvane_io::kelvane_io_v1::HIPKelvaneIPMgr::getIPInstance("made");
  }
};

inline std::string dictionary(OptionMap const& map) {
  return kdi::place::write_dictionary(kdi::place::Pairs(map.begin(), map.end()));
}

inline ParamMap words(std::string const& settings, std::string const& ports = {}) {
  return {{"IP_NAME", "ip"}, {"SW_DIR_PATH", "."}, {"XGUI_CONFIG", settings}, {"PORT_LOCS", ports}};
}

}  // namespace place_instance
