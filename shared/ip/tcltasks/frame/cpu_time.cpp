#include "tcltasks/frame/cpu_time.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include "kdi/common/KdiNumber.h"

void frame::CpuTime::print_if_asked(char const* variable, std::string text) const {
  char const* const value = std::getenv(variable);
  if (value == nullptr || std::string_view(value) != "TRUE") return;
  const double milliseconds = static_cast<double>(std::clock() - begin_) / 1000000.0 * 1000.0;
  text += kdi::number::fixed(milliseconds, 0) + "\n";
  std::fputs(text.c_str(), stdout);
  std::fflush(stdout);  // a script's own lines go past this buffer
}

void frame::CpuTime::print_init() const {
  print_if_asked(kInitTimeVariable, "ZORVAN_INIT time : Approx milliseconds: ");
}

void frame::CpuTime::print_range() const {
  print_if_asked(kRangeTimeVariable, "ZORVAN GETRANGE time : Approx milliseconds: ");
}
