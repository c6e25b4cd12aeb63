// The binary form: little-endian words. A head, the commands, and a checksum over all that stands before it.
#include <zlib.h>

#include "kdi/common/KdiText.h"
#include "platform/cdo/checked.h"

namespace kdi::cdo {
namespace {

constexpr std::string_view kMagic = "CDO1";
constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kHeadWords = 4;  // magic, version, words of the whole, commands

enum Code : std::uint32_t { kEnd, kSection, kWrite, kMaskedWrite, kPoll, kDelay, kBlockWrite };

std::uint32_t checksum(std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32_z(0, reinterpret_cast<unsigned char const*>(bytes.data()), static_cast<z_size_t>(bytes.size())));
}

class Writer {
 public:
  std::string written(Commands const& commands) {
    check(commands);
    bytes_ = kMagic;
    word(kVersion);
    word(0);  // set below
    word(static_cast<std::uint32_t>(commands.size()));
    for (Command const& command : commands) std::visit(*this, command);
    head(kEnd, 0);
    const std::size_t words = bytes_.size() / 4 + 1;
    if (words * 4 > kLargestFile) throw CdoError("the binary would have more than 64 MiB");
    for (std::size_t i = 0; i < 4; ++i) bytes_[8 + i] = static_cast<char>(words >> (8 * i) & 0xFF);
    word(checksum(bytes_));
    return std::move(bytes_);
  }

  void operator()(Section const& section) {
    head(kSection, 1 + (section.name.size() + 3) / 4);
    word(static_cast<std::uint32_t>(section.name.size()));
    bytes_ += section.name;
    bytes_.resize((bytes_.size() + 3) / 4 * 4, '\0');
  }
  void operator()(Write const& write) { words(kWrite, {write.address, write.value}); }
  void operator()(MaskedWrite const& write) { words(kMaskedWrite, {write.address, write.mask, write.value}); }
  void operator()(Poll const& poll) { words(kPoll, {poll.address, poll.mask, poll.value, poll.timeout_us}); }
  void operator()(Delay const& delay) { words(kDelay, {delay.microseconds}); }
  void operator()(BlockWrite const& block) {
    head(kBlockWrite, 1 + block.words.size());
    word(block.address);
    for (const std::uint32_t value : block.words) word(value);
  }

 private:
  void word(std::uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes_ += static_cast<char>(value >> (8 * i) & 0xFF);
  }
  void head(Code code, std::size_t payload) { word(code << 24 | static_cast<std::uint32_t>(payload)); }
  void words(Code code, std::vector<std::uint32_t> const& payload) {
    head(code, payload.size());
    for (const std::uint32_t value : payload) word(value);
  }

  std::string bytes_;
};

class Reader {
 public:
  Reader(std::string_view bytes, std::string const& name) : bytes_(bytes), name_(name) {}

  Commands read() {
    const std::uint32_t count = head();
    // Each command has two words or more: what the head tells takes no memory that the content does not have.
    if (count > kMostCommands || count > words_ / 2) refuse("too many commands for the length", 12);
    commands_.reserve(count);
    while (true) {
      const std::size_t begin = at_;
      const std::uint32_t first = next();
      const std::uint32_t code = first >> 24;
      payload_ = first & 0xFFFFFF;
      if (payload_ > words_ - 1 - at_) refuse("the command is longer than the rest", begin * 4);
      if (code == kEnd) {
        expect(0, begin);
        break;
      }
      add(code, begin);
    }
    if (at_ != words_ - 1) refuse("something stands behind the end", at_ * 4);
    if (commands_.size() != count) refuse("the head tells another number of commands", 12);
    return std::move(commands_);
  }

 private:
  [[noreturn]] void refuse(std::string const& what, std::size_t offset) const {
    throw CdoError(name_ + ": byte " + std::to_string(offset) + ": " + what);
  }

  std::uint32_t word(std::size_t at) const {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i)
      value |= std::uint32_t{static_cast<unsigned char>(bytes_[4 * at + i])} << (8 * i);
    return value;
  }

  // How many commands there are.
  std::uint32_t head() {
    if (bytes_.size() > kLargestFile) throw CdoError(name_ + ": more than 64 MiB");
    if (!bytes_.starts_with(kMagic)) refuse("CDO1 is expected", 0);
    if (bytes_.size() % 4 != 0 || bytes_.size() < 4 * (kHeadWords + 2)) refuse("it is cut off", bytes_.size());
    words_ = bytes_.size() / 4;
    if (word(2) != words_)
      refuse("the head tells " + std::to_string(word(2)) + " words, and there are " + std::to_string(words_), 8);
    if (word(words_ - 1) != checksum(bytes_.substr(0, bytes_.size() - 4)))
      refuse("the checksum does not fit: the content was changed", bytes_.size() - 4);
    if (word(1) != kVersion) refuse("version 1 is expected", 4);
    at_ = kHeadWords;
    return word(3);
  }

  // The checksum is no part of any command.
  std::uint32_t next() {
    if (at_ >= words_ - 1) refuse("the end is missing", at_ * 4);
    return word(at_++);
  }

  void expect(std::uint32_t payload, std::size_t begin) const {
    if (payload_ != payload)
      refuse("the command has " + std::to_string(payload) + " words behind the first", begin * 4);
  }

  void add(std::uint32_t code, std::size_t begin) {
    Command command = read_command(code, begin);
    if (const std::string fault = fault_of(command); !fault.empty()) refuse(fault, begin * 4);
    commands_.push_back(std::move(command));
  }

  Command read_command(std::uint32_t code, std::size_t begin) {
    switch (code) {
      case kSection:
        return section(begin);
      case kWrite:
        expect(2, begin);
        return Write{word(begin + 1), word(take(2) + 1)};
      case kMaskedWrite:
        expect(3, begin);
        return MaskedWrite{word(begin + 1), word(begin + 2), word(take(3) + 2)};
      case kPoll:
        expect(4, begin);
        return Poll{word(begin + 1), word(begin + 2), word(begin + 3), word(take(4) + 3)};
      case kDelay:
        expect(1, begin);
        return Delay{word(take(1))};
      case kBlockWrite: {
        if (payload_ < 2 || payload_ > kMostWords + 1) refuse("a block has 1 to 65535 words", begin * 4);
        BlockWrite block{next(), {}};
        block.words.reserve(payload_ - 1);
        for (std::uint32_t i = 1; i < payload_; ++i) block.words.push_back(next());
        return block;
      }
      default:
        refuse("no command has the code " + std::to_string(code), begin * 4);
    }
  }

  // Steps over so many words. Where they began.
  std::size_t take(std::size_t count) {
    at_ += count;
    return at_ - count;
  }

  Section section(std::size_t begin) {
    const std::uint32_t length = payload_ == 0 ? 0 : next();
    if (length == 0 || length > kLongestName || payload_ != 1 + (length + 3) / 4)
      refuse("a section's name has 1 to 200 characters", begin * 4);
    const std::string_view padded = bytes_.substr(4 * take(payload_ - 1), std::size_t{4} * (payload_ - 1));
    if (padded.find_first_not_of('\0', length) != std::string_view::npos)
      refuse("zeros are expected behind a section's name", begin * 4);
    return Section{std::string(padded.substr(0, length))};
  }

  std::string_view bytes_;
  std::string const& name_;
  std::size_t words_ = 0;
  std::size_t at_ = 0;  // in words
  std::uint32_t payload_ = 0;
  Commands commands_;
};

}  // namespace

std::string to_binary(Commands const& commands) { return Writer().written(commands); }

Commands from_binary(std::string_view bytes, std::string const& name) { return Reader(bytes, name).read(); }

}  // namespace kdi::cdo
