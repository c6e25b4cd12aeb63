/* Stands where a library of ours might be looked for by mistake; ends the process that loads it. */
#include <unistd.h>

__attribute__((constructor)) static void tell(void) {
  static const char kText[] = "a planted library was loaded\n";
  _exit(write(STDERR_FILENO, kText, sizeof kText - 1) < 0 ? 98 : 99);
}
