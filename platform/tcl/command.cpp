#include "kdi/tcl/command.h"

#include <exception>

namespace tcl {

int fail_with_current_exception(Tcl_Interp* interp) {
  try {
    throw;
  } catch (std::exception const& error) {
    return fail(interp, error.what());
  } catch (std::string const& text) {
    return fail(interp, text);
  } catch (char const* text) {
    return fail(interp, text);
  } catch (...) {
    return fail(interp, "unknown exception");
  }
}

}  // namespace tcl
