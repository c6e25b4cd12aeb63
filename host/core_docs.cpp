// Writes the reference of all cores that the data roots have: core_docs REFERENCE_FOLDER
#include <cstdio>
#include <exception>
#include <filesystem>

#include "kdi/common/KdiFile.h"
#include "kdi/corepages/Reference.h"
#include "kdi/cores/Store.h"

namespace {

// The pages, one whole page after the other; what other pages are there goes.
void write(std::map<std::string, std::string> const& pages, std::string const& folder) {
  namespace fs = std::filesystem;
  fs::create_directories(folder);
  for (auto const& [name, text] : pages) kdi::write_file(folder + "/" + name, text);
  for (std::string const& name : kdi::list_directory(folder, ".md"))
    if (!pages.contains(name)) fs::remove(folder + "/" + name);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fputs("usage: core_docs reference_folder\n", stderr);
    return 2;
  }
  try {
    std::vector<std::shared_ptr<kdi::cores::Core const>> cores;
    for (std::string const& name : kdi::cores::core_names())
      for (std::string const& version : kdi::cores::core_versions(name))
        cores.push_back(kdi::cores::core_description(name, version));
    write(kdi::corepages::reference_pages(cores), argv[1]);
    return 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "core_docs: %s\n", error.what());
    return 1;
  }
}
