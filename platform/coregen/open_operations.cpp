// Operations that the engine does not have yet. Each says so; one that comes leaves this file.
#include "kdi/coregen/memory_v1.h"

namespace memory::memory_v1 {
namespace {

[[noreturn]] void not_there(char const* operation) {
  throw std::string(operation) + " is not part of this version of the engine";
}

}  // namespace

OptionMap HIPMigInstance::advwizDefaultPinAssignment(OptionMap const&) { not_there("advwizDefaultPinAssignment"); }
PinMap HIPMigInstance::advwizNibbleGrouping(OptionMap const&) { not_there("advwizNibbleGrouping"); }
OptionMap HIPMigInstance::advwizGenerateMapData(std::string const&, std::string const&) {
  not_there("advwizGenerateMapData");
}
PinMap HIPMigInstance::adwizGetStrobeVsDataNibbles(OptionMap const&) { not_there("adwizGetStrobeVsDataNibbles"); }

}  // namespace memory::memory_v1
