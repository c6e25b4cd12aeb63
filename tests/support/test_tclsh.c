/* A plain Tcl shell. The Tcl tests run in it, so that a build with sanitizers has their runtime in the process. */
#include <tcl.h>

int main(int argc, char** argv) {
  Tcl_Main(argc, argv, Tcl_Init);
  return 0;
}
