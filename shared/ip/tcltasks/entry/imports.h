// Engines are loaded when a command first calls one: a script that needs none does not pay for them. The stubs that
// tools/import_stubs.sh makes of each engine ask here for the address behind a name.
#pragma once

namespace frame {

/// While one lives, no engine is opened: a call of one that the process does not have throws, as if it were missing.
class EnginesStayOut {
 public:
  EnginesStayOut();
  EnginesStayOut(EnginesStayOut const&) = delete;
  EnginesStayOut& operator=(EnginesStayOut const&) = delete;
  ~EnginesStayOut();
};

/// Whether the process is going down. From then on no engine is opened for what other threads still run: the loader
/// would set up once more what it has just taken down.
void set_going_down(bool is_going_down);

}  // namespace frame

/// The address of the engine's function `name`. One that the process already has comes first, as with plain linking:
/// that is how a test, or a site, puts another engine in place. Else `library` is opened by its bare name, which this
/// library's run path looks up beside it, wherever the working directory is by then and whatever the environment says.
/// Throws std::runtime_error if there is neither.
extern "C" [[gnu::visibility("hidden")]] void* kdi_resolve_import(char const* library, char const* name);
