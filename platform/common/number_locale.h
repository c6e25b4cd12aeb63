// printf under any locale of the process.
#pragma once

#include <locale.h>

namespace kdi {

/// While it lives, this thread writes and reads numbers with a point and without groups. Letters stay as the process's
/// locale has them.
class point_numbers {
 public:
  point_numbers() {
    const locale_t copy = duplocale(uselocale(nullptr));
    if (copy == nullptr) return;
    mine_ = newlocale(LC_NUMERIC_MASK, "C", copy);
    if (mine_ == nullptr) freelocale(copy);
    before_ = uselocale(mine_);  // changes nothing where there is none
  }
  point_numbers(point_numbers const&) = delete;
  point_numbers& operator=(point_numbers const&) = delete;
  ~point_numbers() {
    if (mine_ == nullptr) return;
    uselocale(before_);
    freelocale(mine_);
  }

 private:
  locale_t mine_ = nullptr;
  locale_t before_ = nullptr;
};

}  // namespace kdi
