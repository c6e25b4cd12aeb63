// Numbers in messages are the same under every locale.
#pragma once

#include <locale.h>

namespace kdi {

/// While one lives, this thread's C library writes numbers as in the C locale, and all else as before.
class NumbersOfC {
 public:
  NumbersOfC() : before_(uselocale(nullptr)), own_(newlocale(LC_NUMERIC_MASK, "C", duplocale(before_))) {
    uselocale(own_);
  }
  NumbersOfC(NumbersOfC const&) = delete;
  NumbersOfC& operator=(NumbersOfC const&) = delete;
  ~NumbersOfC() {
    uselocale(before_);
    freelocale(own_);
  }

 private:
  locale_t before_;
  locale_t own_;
};

}  // namespace kdi
