// A quad of transceivers as a picture: its lanes, the PLLs that they take, and the references of these.
#pragma once

#include <string>

#include "kdi/rule_engine/host/Quad.h"

namespace gttools {

/// SVG of a design's quad (counted from 0) at a rate. The design is packed.
std::string quad_picture(kdi::gt::Design const& design, int quad, std::size_t rate);

}  // namespace gttools
