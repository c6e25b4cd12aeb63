// A stream into a file that is there whole or not at all.
#pragma once

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"

namespace isl::iostreams {

/// Writes beside the file `path`, which has the new content from `close` on. What a stream inserts follows the locale;
/// `add` takes bytes as they are.
class KDI_DOOR ofstream : public std::ostream {
 public:
  /// Opens for writing. Where nothing can be written the stream fails, and `path` is as it was.
  explicit ofstream(std::string const& path);
  /// Closes without a report.
  ~ofstream() override;

  bool is_open() const;
  void add(std::string_view bytes);
  /// False if it was not open, or if anything written was lost: then `path` is as it was.
  bool close();

 private:
  class Buffer;
  std::shared_ptr<Buffer> buffer_;
};

/// Writes `bytes` through such a stream. For the package, which calls functions alone: a class with a table would have
/// to be there when it is loaded. False as close() tells.
KDI_DOOR bool write_file(std::string const& path, std::string_view bytes);

}  // namespace isl::iostreams
