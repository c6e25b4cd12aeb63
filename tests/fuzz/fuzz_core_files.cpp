// Fuzzes the reader of cores with versions that extend one another and parts. A line "=== <path>" begins a file; the
// version 1.0 of the core `made` is asked for. What is refused is refused with the file and the line, or because a file
// is not there; what is taken is a core whose instances live.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiJson.h"
#include "kdi/cores/Instance.h"
#include "tests/fuzz/require.h"

namespace {

namespace fs = std::filesystem;
using namespace kdi::cores;

constexpr std::size_t kLongestText = 65536;
constexpr int kMostFiles = 8;

// In memory where there is such a folder; this process's own, which ends with it.
class Folder {
 public:
  Folder() : path_((fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path()) / name()) {
    clear();
  }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  ~Folder() { fs::remove_all(path_); }

  void clear() const {
    fs::remove_all(path_);
    for (char const* const folder : {"made", "other", "parts"}) fs::create_directories(path_ / folder);
  }
  // Passed over where it would lie elsewhere.
  void write(std::string const& file, std::string const& text) const {
    for (char const* const folder : {"made/", "other/", "parts/"})
      if (file.starts_with(folder) && file.size() < 100 && file.find('/', 6) == std::string::npos &&
          file.find('\0') == std::string::npos)
        std::ofstream(path_ / file, std::ios::binary) << text;
  }
  std::string path() const { return path_.string(); }

 private:
  static std::string name() { return "iptasks_fuzz_" + std::to_string(::getpid()); }
  fs::path path_;
};

void lay_out(Folder const& folder, std::string_view text) {
  constexpr std::string_view kBegin = "=== ";
  std::string file = "made/1.0.json", content;
  int count = 0;
  while (!text.empty() && count < kMostFiles) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    if (line.starts_with(kBegin)) {
      folder.write(file, content);
      file = line.substr(kBegin.size());
      content.clear();
      ++count;
    } else {
      content.append(line).append("\n");
    }
  }
  folder.write(file, content);
}

void live(std::shared_ptr<Core const> const& core) {
  Instance instance(core);
  for (Due const& due : instance.messages())
    fuzz::require(due.name != "range" && due.name != "rule", "a core with faults", due.text);
  for (std::uint32_t i = 0; i < core->parameters().size() && i < 100; ++i)
    for (char const* const text : {"1", "0", "a", "-7.5"}) instance.set({{i, text}});
  std::vector<std::uint32_t> all;
  for (std::uint32_t i = 0; i < core->parameters().size(); ++i) all.push_back(i);
  instance.take_back(all);
  fuzz::require(instance.messages() == Instance(core).messages(), "what was taken back is not as it was");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  if (size > kLongestText) return 0;
  static Folder const folder;
  folder.clear();
  lay_out(folder, {reinterpret_cast<char const*>(data), size});
  try {
    live(Core::read(folder.path(), "made", "1.0"));
  } catch (kdi::JsonError const& error) {
    const std::string text = error.what();
    const std::size_t colon = text.find(".json:");
    fuzz::require(text.starts_with(folder.path() + "/") && colon != std::string::npos, "a fault without a file", text);
    fuzz::require(std::atoi(text.c_str() + colon + 6) > 0, "a fault without a line", text);
  } catch (kdi::FileError const& error) {
    fuzz::require(std::string(error.what()).find(folder.path()) != std::string::npos, "a fault without a file");
  }
  return 0;
}
