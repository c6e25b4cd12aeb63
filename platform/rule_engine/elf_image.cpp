#include "platform/rule_engine/elf_image.h"

#include <gelf.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>

#include "kdi/common/KdiFile.h"
#include "kdi/common/KdiText.h"
#include "platform/rule_engine/texts.h"

namespace kdi::gt {
namespace {

struct Range {
  std::uint64_t begin = 0, size = 0;
  bool overlaps(Range other) const {
    return size != 0 && other.size != 0 && begin < other.begin + other.size && other.begin < begin + size;
  }
};

class Image {
 public:
  Image(std::string const& path, std::string& bytes) : path_(path), size_(bytes.size()) {
    elf_version(EV_CURRENT);
    elf_.reset(elf_memory(bytes.data(), bytes.size()));
    if (!elf_ || elf_kind(elf_.get()) != ELF_K_ELF || gelf_getehdr(elf_.get(), &header_) == nullptr)
      refuse(path_ + " is no ELF image");
    if (elf_getshdrstrndx(elf_.get(), &names_) != 0 || elf_getshdrnum(elf_.get(), &count_) != 0 || count_ == 0)
      refuse(path_ + " has no sections");
  }

  Range section(std::string const& name) const {
    std::optional<GElf_Shdr> found;
    for (std::size_t i = 0; i < count_; ++i)
      if (name == name_of(i)) {
        if (found) refuse(path_ + " has two sections " + text::shown(name));
        found = header(i);
      }
    if (!found) refuse(path_ + " has no section " + text::shown(name));
    if (found->sh_type != SHT_PROGBITS) refuse("section " + text::shown(name) + " of " + path_ + " holds no contents");
    const Range range{found->sh_offset, found->sh_size};
    if (range.begin > size_ || range.size > size_ - range.begin)
      refuse("section " + text::shown(name) + " of " + path_ + " ends behind the file");
    require_alone(name, range);
    return range;
  }

 private:
  GElf_Shdr header(std::size_t index) const {
    GElf_Shdr header;
    Elf_Scn* const section = elf_getscn(elf_.get(), index);
    if (section == nullptr || gelf_getshdr(section, &header) == nullptr)
      refuse(path_ + " has a damaged section header");
    return header;
  }
  char const* name_of(std::size_t index) const {
    char const* const name = elf_strptr(elf_.get(), names_, header(index).sh_name);
    return name == nullptr ? "" : name;
  }

  void require_alone(std::string const& name, Range range) const {
    const auto check = [&](Range other, char const* what) {
      if (range.overlaps(other)) refuse("section " + text::shown(name) + " of " + path_ + " shares bytes with " + what);
    };
    check({0, header_.e_ehsize}, "the header");
    std::size_t segments = 0;
    if (elf_getphdrnum(elf_.get(), &segments) != 0) refuse(path_ + " has a damaged header");
    check({header_.e_phoff, segments * header_.e_phentsize}, "the program headers");
    check({header_.e_shoff, count_ * header_.e_shentsize}, "the section headers");
    for (std::size_t i = 1; i < count_; ++i) {
      const GElf_Shdr other = header(i);
      if (other.sh_type != SHT_NOBITS && name != name_of(i)) check({other.sh_offset, other.sh_size}, name_of(i));
    }
  }

  struct End {
    void operator()(Elf* elf) const { elf_end(elf); }
  };
  std::string path_;
  std::uint64_t size_;
  std::unique_ptr<Elf, End> elf_;
  GElf_Ehdr header_{};
  std::size_t names_ = 0, count_ = 0;
};

}  // namespace

void update_elf(std::string const& image, std::string const& section, std::string_view bytes,
                std::string const& output) {
  std::string changed = read_file(image);
  std::string looked_at = changed;  // libelf may turn what it looks at
  const Range range = Image(image, looked_at).section(section);
  if (bytes.size() > range.size)
    refuse("section " + text::shown(section) + " of " + image + " has " + std::to_string(range.size) +
           " bytes, and the content has " + std::to_string(bytes.size()));
  const auto begin = changed.begin() + static_cast<std::ptrdiff_t>(range.begin);
  std::copy(bytes.begin(), bytes.end(), begin);
  std::fill(begin + static_cast<std::ptrdiff_t>(bytes.size()), begin + static_cast<std::ptrdiff_t>(range.size), '\0');
  write_file(output, changed);
}

}  // namespace kdi::gt
