// Writes the command reference: command_docs TABLE_FOLDER REFERENCE_FOLDER ?--check?
//
// With --check nothing is written; a page that is missing, stale or of no family is named, and the exit status is 1.
#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "host/kdish/command_table.h"
#include "host/kdish/reference.h"

int main(int argc, char** argv) {
  const bool only_checks = argc == 4 && std::string_view(argv[3]) == "--check";
  if (argc != 3 && !only_checks) {
    std::fputs("usage: command_docs table_folder reference_folder ?--check?\n", stderr);
    return 2;
  }
  try {
    const std::vector<std::string> faults = kdish::update_reference(kdish::Table({argv[1]}), argv[2], only_checks);
    for (std::string const& fault : faults) std::printf("%s\n", fault.c_str());
    return faults.empty() ? 0 : 1;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "command_docs: %s\n", error.what());
    return 1;
  }
}
