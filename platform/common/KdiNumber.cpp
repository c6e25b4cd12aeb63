#include "kdi/common/KdiNumber.h"

#include <cstdio>

namespace kdi::number {

std::string vprinted(char const* format, va_list list) {
  va_list measured;
  va_copy(measured, list);
  const int size = std::vsnprintf(nullptr, 0, format, measured);
  va_end(measured);
  if (size < 0) return format;
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  std::vsnprintf(text.data(), text.size(), format, list);
  text.pop_back();
  return text;
}

std::string printed(char const* format, ...) {
  va_list list;
  va_start(list, format);
  std::string text = vprinted(format, list);
  va_end(list);
  return text;
}

PointNumbers::PointNumbers() {
  const locale_t copy = duplocale(uselocale(nullptr));
  if (copy == nullptr) return;
  mine_ = newlocale(LC_NUMERIC_MASK, "C", copy);
  if (mine_ == nullptr) freelocale(copy);
  before_ = uselocale(mine_);  // changes nothing where there is none
}

PointNumbers::~PointNumbers() {
  if (mine_ == nullptr) return;
  uselocale(before_);
  freelocale(mine_);
}

}  // namespace kdi::number
