// Where a core puts its configuration data.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kdi/common/KdiDoor.h"

namespace hardip_eng {

/// Bytes in blocks, as many as there is room for.
class KDI_DOOR CdoBuffer {
 public:
  /// At most `capacity` blocks of `block` bytes.
  CdoBuffer(std::size_t block, std::size_t capacity);

  /// Adds all of `bytes`, or nothing: false where they do not fit.
  bool append(std::string_view bytes);
  std::string const& bytes() const { return bytes_; }
  /// How many bytes fit in all.
  std::size_t room() const { return room_; }

 private:
  std::size_t block_, room_;
  std::string bytes_;
};

}  // namespace hardip_eng
