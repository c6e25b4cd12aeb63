// The part of the made-up engine that is nowhere when it is called.
#include "tests/support/made_up_engine.h"

int made_up::absent(int, int, int, int, int, int, int, std::string) { return 1; }
