// ducddcgen: writes the files of one up- or down-converter configuration, or lists the catalogue.
#include "tcltasks/dsp/ducddcgen/ducddcgen.h"

int main(int argc, char** argv) { return ducddcgen_init::main(argc, argv); }
