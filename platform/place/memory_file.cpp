#include "platform/place/memory_file.h"

#include <array>
#include <charconv>
#include <limits>

#include "kdi/common/KdiNumber.h"
#include "kdi/common/KdiText.h"

namespace kdi::place {
namespace {

constexpr std::string_view kFirstLine = "// memory file 1";
constexpr std::string_view kEnd = "// end ";
constexpr std::size_t kBytesOfLine = 16;
constexpr std::size_t kAddressDigits = 8, kSumDigits = 8;

// CRC-32 (IEEE 802.3), the reflected form.
constexpr std::array<std::uint32_t, 256> kSums = [] {
  std::array<std::uint32_t, 256> sums{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t sum = byte;
    for (int bit = 0; bit < 8; ++bit) sum = (sum & 1) != 0 ? sum >> 1 ^ 0xEDB88320u : sum >> 1;
    sums[byte] = sum;
  }
  return sums;
}();

std::uint32_t sum_of(std::string_view text) {
  std::uint32_t sum = 0xFFFFFFFFu;
  for (const char c : text) sum = sum >> 8 ^ kSums[(sum ^ static_cast<unsigned char>(c)) & 0xFF];
  return ~sum;
}

std::string hex(std::uint64_t value, std::size_t digits) { return text::uppered(number::hexadecimal(value, digits)); }

void append_bytes(std::string& text, std::string const& bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
    text += (i + 1) % kBytesOfLine == 0 || i + 1 == bytes.size() ? '\n' : ' ';
  }
}

class Reader {
 public:
  Reader(std::string_view text, std::string const& path) : text_(text), path_(path) {}

  MemoryFile read() {
    check_end();
    if (!next() || line_ != kFirstLine) refuse("the first line is " + text::quoted(kFirstLine));
    while (next()) read_line();
    if (!has_interface_) refuse("there is no interface");
    for (std::size_t i = 0; i < sizes_.size(); ++i)
      if (file_.image->segments[i].bytes.size() != sizes_[i])
        refuse("segment " + std::to_string(i) + " has not as many bytes as it says");
    return std::move(file_);
  }

 private:
  [[noreturn]] void refuse(std::string const& fault) const {
    throw path_ + ":" + std::to_string(number_) + ": " + fault;
  }

  void check_end() {
    const std::size_t at = text_.rfind(kEnd);
    number_ = 1;
    if (at == std::string_view::npos || (at > 0 && text_[at - 1] != '\n') ||
        text_.substr(at + kEnd.size()) != hex(sum_of(text_.substr(0, at)), kSumDigits) + "\n")
      refuse("the file is not whole: its last line has not the checksum of the others");
    text_ = text_.substr(0, at);
    number_ = 0;
  }

  bool next() {
    if (text_.empty()) return false;
    const std::size_t end = text_.find('\n');
    line_ = text_.substr(0, end);
    text_.remove_prefix(end == std::string_view::npos ? text_.size() : end + 1);
    ++number_;
    return true;
  }

  void read_line() {
    if (line_.starts_with('@')) return read_address();
    if (!line_.starts_with("// ")) return read_bytes();
    const std::vector<std::string> words = place::read_list(line_.substr(3), path_ + ":" + std::to_string(number_));
    if (words.size() == 2 && words[0] == "interface" && !has_interface_) {
      file_.interface = words[1];
      has_interface_ = true;
    } else if (words.size() == 3 && words[0] == "setting") {
      file_.settings.emplace_back(words[1], words[2]);
    } else if (words.size() == 3 && words[0] == "port") {
      file_.ports.emplace_back(words[1], words[2]);
    } else if (words.size() == 2 && words[0] == "entry" && !file_.image) {
      file_.image.emplace().entry = number_of(words[1]);
    } else if (words.size() == 4 && words[0] == "segment" && file_.image) {
      file_.image->segments.push_back({number_of(words[1]), {}, number_of(words[3])});
      sizes_.push_back(number_of(words[2]));
    } else {
      refuse("this is no line of a memory file");
    }
  }

  void read_address() {
    const std::uint64_t address = number_of(line_.substr(1));
    at_ = nullptr;
    if (file_.image)
      for (Segment& one : file_.image->segments)
        if (one.address == address && one.bytes.empty()) at_ = &one;
    if (at_ == nullptr) refuse("there is no segment at this address, or its bytes were there");
  }

  void read_bytes() {
    if (at_ == nullptr) refuse("these bytes are of no segment");
    for (const std::string_view word : text::words(line_)) {
      const std::uint64_t byte = number_of(word);
      if (word.size() != 2) refuse("bytes have two digits");
      at_->bytes += static_cast<char>(static_cast<unsigned char>(byte));
    }
  }

  std::uint64_t number_of(std::string_view word) const {
    std::uint64_t value = 0;
    const auto [end, fault] = std::from_chars(word.data(), word.data() + word.size(), value, 16);
    if (word.empty() || fault != std::errc() || end != word.data() + word.size())
      refuse(text::shown(word) + " is no hexadecimal number");
    return value;
  }

  std::string_view text_;
  std::string const& path_;
  std::string_view line_;
  std::size_t number_ = 0;
  bool has_interface_ = false;
  Segment* at_ = nullptr;
  std::vector<std::uint64_t> sizes_;
  MemoryFile file_;
};

}  // namespace

std::string written(MemoryFile const& file) {
  std::string text = std::string(kFirstLine) + "\n";
  const auto line = [&](std::vector<std::string> const& words) { text += "// " + write_list(words) + "\n"; };
  line({"interface", file.interface});
  for (auto const& [name, value] : file.settings) line({"setting", name, value});
  for (auto const& [port, place] : file.ports) line({"port", port, place});
  if (file.image) {
    line({"entry", hex(file.image->entry, kAddressDigits)});
    for (Segment const& one : file.image->segments)
      line({"segment", hex(one.address, kAddressDigits), hex(one.bytes.size(), 1), hex(one.size, 1)});
    for (Segment const& one : file.image->segments) {
      if (one.bytes.empty()) continue;
      text += "@" + hex(one.address, kAddressDigits) + "\n";
      append_bytes(text, one.bytes);
    }
  }
  return text + std::string(kEnd) + hex(sum_of(text), kSumDigits) + "\n";
}

MemoryFile read_memory_file(std::string_view text, std::string const& path) { return Reader(text, path).read(); }

}  // namespace kdi::place
