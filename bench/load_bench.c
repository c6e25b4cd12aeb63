/*
 * What `load` of the package costs against `load` of an empty C++ extension: load_bench PACKAGE EMPTY.
 *
 * Each sample is taken in a child process that has neither library nor the C++ runtime in it yet, as in a plain tclsh;
 * that is why this program is C. The two sides run in turn, and the ratio is the median over the pairs.
 */
#include <stdio.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <tcl.h>
#include <time.h>
#include <unistd.h>

enum { kPairs = 101 };

static double now(void) {
  struct timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

/* Seconds of one `load` in a fresh child. */
static double load_seconds(const char* path) {
  int ends[2];
  double seconds = -1;
  if (pipe(ends) != 0) exit(2);
  const pid_t child = fork();
  if (child == 0) {
    Tcl_Interp* interp = Tcl_CreateInterp();
    Tcl_Obj* words[] = {Tcl_NewStringObj("load", -1), Tcl_NewStringObj(path, -1)};
    Tcl_IncrRefCount(words[0]);
    Tcl_IncrRefCount(words[1]);
    const double begin = now();
    const int status = Tcl_EvalObjv(interp, 2, words, 0);
    seconds = now() - begin;
    if (status != TCL_OK) {
      fprintf(stderr, "%s\n", Tcl_GetStringResult(interp));
      seconds = -1;
    }
    _exit(write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
  }
  close(ends[1]);
  if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds) seconds = -1;
  close(ends[0]);
  waitpid(child, NULL, 0);
  if (seconds < 0) exit(2);
  return seconds;
}

static int ascending(const void* a, const void* b) {
  const double x = *(const double*)a, y = *(const double*)b;
  return (x > y) - (x < y);
}

static double median(double* values) {
  qsort(values, kPairs, sizeof *values, ascending);
  return values[kPairs / 2];
}

int main(int argc, char** argv) {
  static double package[kPairs], empty[kPairs], ratios[kPairs];
  if (argc != 3) {
    fprintf(stderr, "usage: load_bench PACKAGE EMPTY\n");
    return 2;
  }
  Tcl_FindExecutable(argv[0]);
  load_seconds(argv[1]);
  load_seconds(argv[2]);
  for (int i = 0; i < kPairs; ++i) {
    package[i] = load_seconds(argv[1]);
    empty[i] = load_seconds(argv[2]);
    ratios[i] = package[i] / empty[i];
  }
  const double ratio = median(ratios);
  const double bar = 1.3;
  printf("\nLoading (medians of %d fresh processes each)\n", kPairs);
  printf("%-58s %10.3f ms %10.3f ms %8.3f   <= %-5.2f %s\n", "load of the package / load of an empty C++ extension",
         median(package) * 1e3, median(empty) * 1e3, ratio, bar, ratio <= bar ? "ok" : "MISSED");
  return ratio <= bar ? 0 : 1;
}
