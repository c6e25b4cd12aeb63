// Engines are loaded when a command first calls one: a script that needs none does not pay for them. The stubs that
// tools/import_stubs.sh makes of each engine come here for the address behind a name.
#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>
#include <string>

extern "C" {

/// The address of the engine's function `name`. One that the process already has comes first, as with plain linking:
/// that is how a test, or a site, puts another engine in place. Else `library` is loaded from where this library is.
/// Throws std::runtime_error if there is neither.
__attribute__((visibility("hidden"))) void* kdi_resolve_import(char const* library, char const* name) {
  if (void* const address = dlsym(RTLD_DEFAULT, name)) return address;
  Dl_info info{};
  std::filesystem::path path = library;
  if (dladdr(reinterpret_cast<void const*>(&kdi_resolve_import), &info) != 0 && info.dli_fname != nullptr)
    path = std::filesystem::path(info.dli_fname).parent_path() / library;
  void* const handle = dlopen(path.c_str(), RTLD_NOW | RTLD_GLOBAL);  // never closed: its functions are in use
  void* const address = handle != nullptr ? dlsym(handle, name) : nullptr;
  if (address == nullptr) throw std::runtime_error(std::string("engine not available: ") + dlerror());
  return address;
}

}  // extern "C"
