// What of an ELF file is loaded (System V ABI, chapter 5): segments of the type PT_LOAD, at their physical addresses,
// as they are put into memories.
#include <gelf.h>

#include <algorithm>
#include <memory>

#include "kdi/common/KdiFile.h"
#include "platform/place/memory_file.h"

namespace kdi::place {
namespace {

constexpr std::size_t kLargestImage = std::size_t{1} << 26;  // bytes

struct End {
  void operator()(Elf* elf) const { elf_end(elf); }
};

std::vector<Segment> segments_of(Elf* elf, std::size_t told, std::string const& bytes, std::string const& path) {
  const std::string damage = path + " has damaged program headers";
  std::size_t count = 0;
  if (elf_getphdrnum(elf, &count) != 0 || count < told) throw damage;
  std::vector<Segment> segments;
  for (std::size_t i = 0; i < count; ++i) {
    GElf_Phdr header;
    if (gelf_getphdr(elf, static_cast<int>(i), &header) == nullptr) throw damage;
    if (header.p_type != PT_LOAD || header.p_memsz == 0) continue;
    if (header.p_offset > bytes.size() || header.p_filesz > bytes.size() - header.p_offset)
      throw path + " has a segment that ends behind the file";
    if (header.p_filesz > header.p_memsz || header.p_paddr + header.p_memsz < header.p_paddr)
      throw path + " has a segment that does not fit into its memory";
    segments.push_back({header.p_paddr, bytes.substr(header.p_offset, header.p_filesz), header.p_memsz});
  }
  return segments;
}

}  // namespace

ProgramImage program_image(std::string const& path) {
  std::string bytes = read_file(path, kLargestImage);
  std::string looked_at = bytes;  // libelf may turn what it looks at
  elf_version(EV_CURRENT);
  const std::unique_ptr<Elf, End> elf(elf_memory(looked_at.data(), looked_at.size()));
  GElf_Ehdr header;
  if (!elf || elf_kind(elf.get()) != ELF_K_ELF || gelf_getehdr(elf.get(), &header) == nullptr)
    throw path + " is no ELF image";
  ProgramImage image{header.e_entry, segments_of(elf.get(), header.e_phnum, bytes, path)};
  if (image.segments.empty()) throw path + " has nothing to be loaded";
  std::sort(image.segments.begin(), image.segments.end(),
            [](Segment const& a, Segment const& b) { return a.address < b.address; });
  for (std::size_t i = 1; i < image.segments.size(); ++i)
    if (image.segments[i - 1].address + image.segments[i - 1].size > image.segments[i].address)
      throw path + " has segments that overlap";
  return image;
}

}  // namespace kdi::place
