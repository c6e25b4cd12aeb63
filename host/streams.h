// The standard streams of a program for people.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

namespace host {

/// Else the first file that is opened would take the place of a standard stream, and get what is written to that. What
/// stands in its place can be neither read nor written.
inline void fill_standard_streams() {
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) == -1 && ::open("/", O_PATH | O_DIRECTORY) != descriptor) std::abort();
}

}  // namespace host
