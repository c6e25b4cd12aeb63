// Writes the command reference: command_docs TABLE_FOLDER REFERENCE_FOLDER ?--check?
//
// With --check nothing is written; a page that is missing, stale or of no family is named, and the exit status is 1.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>

#include "command_table.h"
#include "common/KdiFile.h"
#include "reference.h"

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNotes = ".notes.md";

std::map<std::string, std::string> pages_of(kdish::Table const& table, fs::path const& folder) {
  std::map<std::string, std::string> pages;
  pages["README.md"] = kdish::reference_index(table);
  for (auto const& family : table.families())
    pages[family->name + ".md"] =
        kdish::reference_page(*family, fs::exists(folder / (family->name + std::string(kNotes))));
  return pages;
}

std::string content(fs::path const& path) { return fs::exists(path) ? kdi::read_file(path.string()) : std::string(); }

int run(fs::path const& data, fs::path const& folder, bool only_checks) {
  const kdish::Table table({data.string()});
  const std::map<std::string, std::string> pages = pages_of(table, folder);
  int faults = 0;
  for (auto const& [name, text] : pages) {
    if (content(folder / name) == text) continue;
    if (only_checks) {
      ++faults;
      std::printf("%s is not what the table says: run `make docs`\n", (folder / name).c_str());
    } else {
      kdi::write_file((folder / name).string(), text);
    }
  }
  for (fs::directory_entry const& entry : fs::directory_iterator(folder)) {
    const std::string name = entry.path().filename().string();
    const bool is_note = name.ends_with(kNotes) && table.family(name.substr(0, name.size() - kNotes.size())) != nullptr;
    if (is_note || pages.contains(name)) continue;
    ++faults;
    std::printf("%s belongs to no family of the table\n", entry.path().c_str());
  }
  return faults == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  const bool only_checks = argc == 4 && std::string_view(argv[3]) == "--check";
  if (argc != 3 && !only_checks) {
    std::fputs("usage: command_docs table_folder reference_folder ?--check?\n", stderr);
    return 2;
  }
  try {
    return run(argv[1], argv[2], only_checks);
  } catch (std::exception const& error) {
    std::fprintf(stderr, "command_docs: %s\n", error.what());
    return 1;
  }
}
