// ZIP archives in memory, over libzip.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kdi::hdf {

class ZipError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct ZipEntry {
  std::string name;
  std::string content;
};

/// An archive of the entries in their order, stored as they are and with one time stamp for all, so that equal entries
/// give equal bytes. Throws ZipError.
std::string zipped(std::vector<ZipEntry> const& entries);

/// The entries of an archive. Throws ZipError where it is damaged, where it has more than `most_entries`, where they
/// have more than `most_bytes` together, and where one is encrypted.
std::vector<ZipEntry> unzipped(std::string_view archive, std::size_t most_entries, std::size_t most_bytes);

}  // namespace kdi::hdf
