// The reference of a core: all that its description and its registers say, as pages in Markdown, with rules in words.
#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "kdi/common/KdiDoor.h"
#include "kdi/cores/Core.h"

namespace kdi::corepages {

/// All pages by the names of their files: README.md, which lists the cores, and for each <core>-<version>.md and, if it
/// has registers, <core>-<version>-registers.md. Throws kdi::FileError and kdi::JsonError for registers that cannot be
/// read.
KDI_DOOR std::map<std::string, std::string> reference_pages(
    std::vector<std::shared_ptr<cores::Core const>> const& cores);

}  // namespace kdi::corepages
