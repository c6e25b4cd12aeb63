// Writes the made-up model as C++: write_model FILE.
#include <cstdlib>
#include <fstream>

#include "bench/made_up_model.h"
#include "bench/written_model.h"

int main(int argc, char** argv) {
  if (argc != 2) return EXIT_FAILURE;
  std::ofstream file(argv[1]);
  file << made_up::source(made_up::kWrittenParameters);
  return file.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}
