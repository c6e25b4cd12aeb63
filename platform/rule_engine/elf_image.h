// Sections of ELF images.
#pragma once

#include <string>
#include <string_view>

namespace kdi::gt {

/// Makes `bytes` the begin of a section of the image and zeros the rest of it; the new image, otherwise the same to the
/// byte, becomes the file `output`, which may be the image. Throws a std::string for what is no image, for a section
/// that is not there once, holds nothing in the file, is too small or shares bytes with anything else, and
/// kdi::FileError for files.
void update_elf(std::string const& image, std::string const& section, std::string_view bytes,
                std::string const& output);

}  // namespace kdi::gt
