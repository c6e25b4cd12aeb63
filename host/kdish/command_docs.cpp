// Writes the command reference: command_docs TABLE_FOLDER REFERENCE_FOLDER
#include <cstdio>
#include <exception>

#include "host/kdish/command_table.h"
#include "host/kdish/reference.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: command_docs table_folder reference_folder\n", stderr);
    return 2;
  }
  try {
    kdish::write_reference(kdish::Table({argv[1]}), argv[2]);
    return 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "command_docs: %s\n", error.what());
    return 1;
  }
}
