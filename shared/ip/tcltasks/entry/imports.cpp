#include "tcltasks/entry/imports.h"

#include <dlfcn.h>

#include <atomic>
#include <stdexcept>
#include <string>

#include "kdi/common/KdiText.h"

namespace {

std::atomic<int> engines_stay_out = 0;
std::atomic<bool> goes_down = false;

}  // namespace

namespace frame {

EnginesStayOut::EnginesStayOut() { ++engines_stay_out; }
EnginesStayOut::~EnginesStayOut() { --engines_stay_out; }
void set_going_down(bool is_going_down) { goes_down = is_going_down; }

}  // namespace frame

void* kdi_resolve_import(char const* library, char const* name) {
  if (void* const address = dlsym(RTLD_DEFAULT, name)) return address;
  if (goes_down || engines_stay_out > 0) throw std::runtime_error(std::string("engine not in use: ") + library);
  void* const handle = dlopen(library, RTLD_NOW | RTLD_GLOBAL);  // never closed: its functions are in use
  void* const address = handle != nullptr ? dlsym(handle, name) : nullptr;
  if (address == nullptr) throw std::runtime_error("engine not available: " + kdi::text::loader_reason());
  return address;
}
