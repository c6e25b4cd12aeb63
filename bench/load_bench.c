/*
 * What `load` of the package costs against `load` of an empty C++ extension, and of one that registers as many
 * commands, which tells what is not Tcl's share: load_bench PACKAGE EMPTY BARE.
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

/* In seconds of the processor, with what the system does for the process: what else the machine does has no say. */
static double now(void) {
  struct timespec t;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
  return (double)t.tv_sec + (double)t.tv_nsec * 1e-9;
}

/* Seconds of one `load` in a fresh child, and of the script behind it if there is one. */
static double load_seconds(const char* path, const char* script) {
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
    int status = Tcl_EvalObjv(interp, 2, words, 0);
    if (status == TCL_OK && script != NULL) status = Tcl_Eval(interp, script);
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

struct side {
  const char* path;
  const char* script;
};

/* The two sides in turn; false if the bar is missed. A bar of 0 is none. */
static int compare(const char* what, struct side first, struct side second, double bar) {
  static double first_seconds[kPairs], second_seconds[kPairs], ratios[kPairs];
  load_seconds(first.path, first.script);
  load_seconds(second.path, second.script);
  for (int i = 0; i < kPairs; ++i) {
    first_seconds[i] = load_seconds(first.path, first.script);
    second_seconds[i] = load_seconds(second.path, second.script);
    ratios[i] = first_seconds[i] / second_seconds[i];
  }
  const double ratio = median(ratios);
  printf("%-58s %10.3f ms %10.3f ms %8.3f", what, median(first_seconds) * 1e3, median(second_seconds) * 1e3, ratio);
  if (bar > 0) printf("   <= %-5.2f %s", bar, ratio <= bar ? "ok" : "MISSED");
  printf("\n");
  return bar == 0 || ratio <= bar;
}

int main(int argc, char** argv) {
  if (argc != 4) {
    fprintf(stderr, "usage: load_bench PACKAGE EMPTY BARE\n");
    return 2;
  }
  /* An estimate reads the part's device and family files, and the model's. */
  const struct side package = {argv[1], NULL}, empty = {argv[2], NULL}, bare = {argv[3], NULL},
                    one_part = {argv[1], "Ip_power_est_get_power_estimation {Power_PART zrv7030-c484-1-c} GT"},
                    two_parts = {argv[1],
                                 "Ip_power_est_get_power_estimation {Power_PART zrv7030-c484-1-c} GT;"
                                 "Ip_power_est_get_power_estimation {Power_PART zrv7030-f676-2-i} GT"};
  Tcl_FindExecutable(argv[0]);
  printf("\nLoading (medians of %d fresh processes each)\n", kPairs);
  /* What Tcl takes for the commands themselves grows with them: 1.17 of the empty extension for 367. */
  compare("load of the package / load of an empty C++ extension", package, empty, 0);
  int kept = compare("the same / load of as many commands that do nothing", package, bare, 1.3);
  kept &= compare("load, and a first use of device data / load alone", one_part, package, 6);
  kept &= compare("the same with a second part of the device / with one", two_parts, one_part, 1.2);
  return kept ? 0 : 1;
}
