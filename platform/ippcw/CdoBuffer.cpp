#include "kdi/ippcw/CdoBuffer.h"

#include <algorithm>
#include <limits>

namespace hardip_eng {

CdoBuffer::CdoBuffer(std::size_t block, std::size_t capacity)
    : block_(std::max<std::size_t>(block, 1)),
      room_(capacity > std::numeric_limits<std::size_t>::max() / block_ ? std::numeric_limits<std::size_t>::max()
                                                                        : capacity * block_) {}

bool CdoBuffer::append(std::string_view bytes) {
  if (bytes.size() > room_ - bytes_.size()) return false;
  const std::size_t needed = bytes_.size() + bytes.size();
  if (needed > bytes_.capacity()) bytes_.reserve(std::max(2 * bytes_.capacity(), (needed / block_ + 1) * block_));
  bytes_ += bytes;
  return true;
}

}  // namespace hardip_eng
