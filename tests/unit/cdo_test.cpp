// Files of configuration commands: what is written is read back, and what was damaged is refused with its place.
#include "kdi/cdo/Cdo.h"

#include <gtest/gtest.h>

#include "tests/support/cdo_access.h"
#include "tests/support/golden.h"
#include "tests/support/random.h"
#include "tests/support/sanitized.h"

namespace {

using namespace kdi::cdo;

std::string refused(auto read) {
  try {
    read();
  } catch (CdoError const& error) {
    return error.what();
  }
  return "accepted";
}

std::string text_refused(std::string const& text) {
  return refused([&] { from_text(text, "a.cdo"); });
}

std::string binary_refused(std::string const& bytes) {
  return refused([&] { from_binary(bytes, "a.bin"); });
}

std::string source_refused(std::string const& source) {
  return refused([&] { from_c(source, "a.c"); });
}

std::string written_refused(Command const& command) {
  return refused([&] { to_text({Delay{1}, command}); });
}

std::uint32_t word(test_support::Random& random) {
  return static_cast<std::uint32_t>(random.below(0x10000) << 16 | random.below(0x10000));
}

Command random_command(test_support::Random& random) {
  const std::uint32_t address = word(random) & 0xFFFFFFFC, mask = word(random);
  switch (random.below(6)) {
    case 0: {
      Section section;
      for (unsigned i = random.below(kLongestName) + 1; i > 0; --i) {
        const char c = static_cast<char>(' ' + random.below(95));
        section.name += c == '"' || c == '\\' ? '#' : c;
      }
      return section;
    }
    case 1:
      return Write{address, word(random)};
    case 2:
      return MaskedWrite{address, mask, word(random) & mask};
    case 3:
      return Poll{address, mask, word(random) & mask, random.below(kLongestTime + 1)};
    case 4:
      return Delay{random.below(kLongestTime + 1)};
    default: {
      BlockWrite block{address & 0x7FFFFFFC, {}};
      for (unsigned i = random.below(20) + 1; i > 0; --i) block.words.push_back(word(random));
      return block;
    }
  }
}

Commands random_commands(test_support::Random& random) {
  Commands commands;
  for (unsigned i = random.below(30); i > 0; --i) commands.push_back(random_command(random));
  return commands;
}

const Commands kSome{
    Section{"PLL A"}, MaskedWrite{0xF0001000, 0x2, 0x2}, Write{0xF0001004, 0x12345678}, Poll{0xF000100C, 1, 1, 1000},
    Delay{10},        BlockWrite{0xF0002000, {1, 2, 3}}};

TEST(CdoText, IsALineForEachCommand) {
  EXPECT_EQ(to_text(kSome),
            "cdo 1\n"
            "section \"PLL A\"\n"
            "mask_write 0xf0001000 0x00000002 0x00000002\n"
            "write 0xf0001004 0x12345678\n"
            "poll 0xf000100c 0x00000001 0x00000001 1000\n"
            "delay 10\n"
            "block_write 0xf0002000 0x00000001 0x00000002 0x00000003\n"
            "end 6\n");
  EXPECT_EQ(to_text({Delay{1}, Delay{2}}, [](std::size_t i) { return i == 0 ? "one\ntwo" : ""; }),
            "cdo 1\ndelay 1  # one two\ndelay 2\nend 2\n");
  EXPECT_EQ(line_of(kSome[4]), "delay 10");
}

TEST(CdoText, IsReadWithRemarksBlanksAndEitherKindOfNumber) {
  const std::string text = "# made by hand\n\ncdo 1\r\n  write\t16 0X\n";
  EXPECT_EQ(text_refused(text), "a.cdo:4: a number of 32 bits is expected, not \"0X\"");
  EXPECT_EQ(from_text("# made by hand\n\ncdo 1\r\n  write\t16 0xFf#x\n\n section \"# 1\" # 2\nend 2\n# done", "a"),
            (Commands{Write{16, 255}, Section{"# 1"}}));
}

TEST(CdoText, RefusesWithTheLine) {
  EXPECT_EQ(text_refused(""), "a.cdo:0: the line end is missing");
  EXPECT_EQ(text_refused("cdo 2\n"), "a.cdo:1: the first line has to be cdo 1");
  EXPECT_EQ(text_refused("cdo 1\nwrite 0x10 1\n"), "a.cdo:2: the line end is missing");
  EXPECT_EQ(text_refused("cdo 1\nend 0\ndelay 1\n"), "a.cdo:3: nothing may stand behind the line end");
  EXPECT_EQ(text_refused("cdo 1\nend 1\n"), "a.cdo:2: the line end tells 1 commands, and there are 0");
  EXPECT_EQ(text_refused("cdo 1\nend\n"), "a.cdo:2: end takes the number of commands");
  EXPECT_EQ(text_refused("cdo 1\njump 1\n"), "a.cdo:2: no command is called \"jump\"");
  EXPECT_EQ(text_refused("cdo 1\nsection x\n"), "a.cdo:2: section takes a name in quotation marks");
  EXPECT_EQ(text_refused("cdo 1\nsection\n"), "a.cdo:2: section takes a name in quotation marks");
  EXPECT_EQ(text_refused("cdo 1\nsection \"x\n"), "a.cdo:2: a quotation mark without its partner");
  EXPECT_EQ(text_refused("cdo 1\nwrite 1\n"), "a.cdo:2: write takes address and value");
  EXPECT_EQ(text_refused("cdo 1\nmask_write 4 1\n"), "a.cdo:2: mask_write takes address, mask and value");
  EXPECT_EQ(text_refused("cdo 1\npoll 4 1 1\n"), "a.cdo:2: poll takes address, mask, value and the most microseconds");
  EXPECT_EQ(text_refused("cdo 1\ndelay\n"), "a.cdo:2: delay takes microseconds");
  EXPECT_EQ(text_refused("cdo 1\nblock_write 4\n"), "a.cdo:2: block_write takes an address and values");
  for (const std::string number : {"x", "0x", "-1", "4294967296", "0x100000000", "00000000001", "0x1g", "1a"})
    EXPECT_EQ(text_refused("cdo 1\nwrite 4 " + number + "\n"),
              "a.cdo:2: a number of 32 bits is expected, not \"" + number + "\"");
  EXPECT_EQ(text_refused("cdo 1\nwrite 6 1\n"), "a.cdo:2: the address 0x00000006 is no multiple of 4");
  std::string block = "cdo 1\nblock_write 0";
  for (std::size_t i = 0; i <= kMostWords; ++i) block += " 0";
  EXPECT_EQ(text_refused(block), "a.cdo:2: a block has 1 to 65535 words");
}

TEST(Cdo, WritersRefuseWhatNoReaderTakes) {
  const std::string one = "command 1: ";
  EXPECT_EQ(written_refused(Section{""}), one + "a section's name has 1 to 200 characters");
  EXPECT_EQ(written_refused(Section{std::string(201, 'x')}), one + "a section's name has 1 to 200 characters");
  for (const std::string name : {"a\"b", "a\\b", "a\nb", "\xC3\xA4"})
    EXPECT_EQ(written_refused(Section{name}),
              one + "a section's name has printable ASCII characters without \" and \\ alone");
  EXPECT_EQ(written_refused(MaskedWrite{4, 1, 3}), one + "the value has bits outside of the mask");
  EXPECT_EQ(written_refused(Poll{4, 1, 2, 1}), one + "the value has bits outside of the mask");
  EXPECT_EQ(written_refused(Poll{5, 1, 1, 1}), one + "the address 0x00000005 is no multiple of 4");
  EXPECT_EQ(written_refused(Delay{kLongestTime + 1}), one + "a time of more than 60000000 us");
  EXPECT_EQ(written_refused(BlockWrite{4, {}}), one + "a block has 1 to 65535 words");
  EXPECT_EQ(written_refused(BlockWrite{0xFFFFFFFC, {1, 2}}), one + "the block reaches beyond the last address");
  EXPECT_EQ(written_refused(BlockWrite{0xFFFFFFFC, {1}}), "accepted");
  EXPECT_EQ(refused([] { to_binary({Write{2, 0}}); }), "command 0: the address 0x00000002 is no multiple of 4");
  EXPECT_EQ(refused([] { to_c({}, "1x"); }), "\"1x\" is no C name");
  EXPECT_EQ(refused([] { to_binary(Commands(kMostCommands + 1, Delay{1})); }), "more than 1000000 commands");
}

TEST(CdoBinary, IsWordsOfTheStatedForm) {
  const std::string bytes = to_binary({Write{0x10, 0x04030201}});
  const unsigned char stated[] = {'C', 'D', 'O', '1', 1,    0, 0, 0, 9, 0, 0, 0, 1, 0, 0, 0,
                                  2,   0,   0,   2,   0x10, 0, 0, 0, 1, 2, 3, 4, 0, 0, 0, 0};
  EXPECT_EQ(bytes.size(), sizeof stated + 4);
  EXPECT_EQ(bytes.substr(0, sizeof stated), std::string(reinterpret_cast<char const*>(stated), sizeof stated));
}

// The polynomial of IEEE 802.3, bit by bit.
std::uint32_t plain_checksum(std::string_view bytes) {
  std::uint32_t rest = ~0U;
  for (const char c : bytes) {
    rest ^= static_cast<unsigned char>(c);
    for (int bit = 0; bit < 8; ++bit) rest = rest >> 1 ^ ((rest & 1) != 0 ? 0xEDB88320 : 0);
  }
  return ~rest;
}

// A binary of these words, with the head and the checksum that belong to it.
std::string made(std::uint32_t commands, std::vector<std::uint32_t> const& words, std::uint32_t version = 1) {
  std::string bytes = "CDO1";
  const auto add = [&](std::uint32_t value) {
    for (int i = 0; i < 4; ++i) bytes += static_cast<char>(value >> (8 * i) & 0xFF);
  };
  add(version);
  add(static_cast<std::uint32_t>(words.size() + 5));
  add(commands);
  for (const std::uint32_t value : words) add(value);
  add(plain_checksum(bytes));
  return bytes;
}

TEST(CdoBinary, RefusesWithTheByte) {
  EXPECT_EQ(made(1, {0x02000002, 0x10, 7, 0}), to_binary({Write{0x10, 7}}));
  EXPECT_EQ(binary_refused("CDO2"), "a.bin: byte 0: CDO1 is expected");
  EXPECT_EQ(binary_refused("CDO1"), "a.bin: byte 4: it is cut off");
  EXPECT_EQ(binary_refused(made(0, {0}) + "abcd"), "a.bin: byte 8: the head tells 6 words, and there are 7");
  std::string changed = made(0, {0});
  changed[12] = 1;
  EXPECT_EQ(binary_refused(changed), "a.bin: byte 20: the checksum does not fit: the content was changed");
  EXPECT_EQ(binary_refused(made(0, {0}, 2)), "a.bin: byte 4: version 1 is expected");
  EXPECT_EQ(binary_refused(made(4, {0})), "a.bin: byte 12: too many commands for the length");
  EXPECT_EQ(binary_refused(made(1, {0})), "a.bin: byte 12: the head tells another number of commands");
  EXPECT_EQ(binary_refused(made(0, {0, 0})), "a.bin: byte 20: something stands behind the end");
  EXPECT_EQ(binary_refused(made(0, {1, 0})), "a.bin: byte 16: the command has 0 words behind the first");
  EXPECT_EQ(binary_refused(made(1, {0x05000001, 1})), "a.bin: byte 24: the end is missing");
  EXPECT_EQ(binary_refused(made(1, {0x02000009, 0})), "a.bin: byte 16: the command is longer than the rest");
  EXPECT_EQ(binary_refused(made(1, {0x02000001, 0, 0})), "a.bin: byte 16: the command has 2 words behind the first");
  EXPECT_EQ(binary_refused(made(1, {0x09000000, 0})), "a.bin: byte 16: no command has the code 9");
  EXPECT_EQ(binary_refused(made(1, {0x02000002, 1, 0, 0})),
            "a.bin: byte 16: the address 0x00000001 is no multiple of 4");
  EXPECT_EQ(binary_refused(made(1, {0x06000001, 0, 0})), "a.bin: byte 16: a block has 1 to 65535 words");
  EXPECT_EQ(binary_refused(made(1, {0x01000002, 9, 0, 0})), "a.bin: byte 16: a section's name has 1 to 200 characters");
  EXPECT_EQ(binary_refused(made(1, {0x01000002, 1, 0x00004141, 0})),
            "a.bin: byte 16: zeros are expected behind a section's name");
}

TEST(CdoBinary, IsRefusedForEachChangedByte) {
  std::string bytes = to_binary(kSome);
  for (std::size_t i = 0; i < bytes.size(); ++i)
    for (int difference = 1; difference < 256; ++difference) {
      bytes[i] = static_cast<char>(bytes[i] ^ difference);
      ASSERT_NE(binary_refused(bytes), "accepted") << "byte " << i;
      bytes[i] = static_cast<char>(bytes[i] ^ difference);
    }
  EXPECT_EQ(from_binary(bytes, "a.bin"), kSome);
  for (std::size_t length = 0; length < bytes.size(); ++length)
    EXPECT_NE(binary_refused(bytes.substr(0, length)), "accepted") << length;
  EXPECT_NE(binary_refused(bytes + '\0'), "accepted");
}

TEST(Cdo, TextAndBinaryHoldTheSame) {
  test_support::Random random(test_support::fresh_seed());
  for (int round = 0; round < 300; ++round) {
    const Commands commands = random_commands(random);
    const std::string text = to_text(commands), binary = to_binary(commands);
    ASSERT_EQ(from_text(text, "a.cdo"), commands);
    ASSERT_EQ(from_binary(binary, "a.bin"), commands);
    ASSERT_EQ(to_text(from_any(binary, "a")), text);
    ASSERT_EQ(to_binary(from_any(text, "a")), binary);
  }
}

// Names and remarks of few characters, so that they hold what would end a comment.
TEST(Cdo, ACSourceHoldsTheSame) {
  test_support::Random random(test_support::fresh_seed());
  const auto signs = [&] {
    std::string text;
    for (unsigned i = random.below(9) + 1; i > 0; --i) text += "*/ ?;}"[random.below(6)];
    return text;
  };
  for (int round = 0; round < 300; ++round) {
    Commands commands = random_commands(random);
    for (Command& command : commands)
      if (auto* const section = std::get_if<Section>(&command); section != nullptr && random.below(2) == 0)
        section->name = signs();
    const bool is_long = round % 100 == 99;
    if (is_long) commands.insert(commands.end(), 500, Poll{4, 1, 1, 1});
    const std::string source =
        to_c(commands, "made", [&](std::size_t) { return random.below(2) == 0 ? std::string() : "\\" + signs(); });
    const Source read = from_c(source, "a.c");
    ASSERT_EQ(read.name, "made");
    ASSERT_EQ(read.commands, commands) << source;
    ASSERT_EQ(from_any(source, "a"), commands);
  }
}

TEST(CdoC, RefusesWithTheLine) {
  const std::string source = to_c(kSome, "board", [](std::size_t) { return "why"; });
  const auto changed = [&](std::string const& from, std::string const& to) {
    std::string other = source;
    return source_refused(other.replace(other.find(from), from.size(), to));
  };
  EXPECT_EQ(source_refused(""), "a.c:0: a source ends with the function that carries the commands out");
  EXPECT_EQ(source_refused("cdo 1\nend 0\n"), "a.c:2: a source ends with the function that carries the commands out");
  EXPECT_EQ(source_refused(source + "\n"), "a.c:42: nothing may stand behind the source");
  EXPECT_EQ(source_refused(source.substr(0, source.size() - 13)), "a.c:40: \"  return 0;\" is expected");
  EXPECT_EQ(changed("int board_configure", "int 1board_configure"), "a.c:35: \"1board\" is no C name");
  EXPECT_EQ(changed("0xf0001004U", "0xf0001006U"), "a.c:21: the address 0xf0001006 is no multiple of 4");
  EXPECT_EQ(changed("0xf0001004U", "0xF0001004U"),
            "a.c:21: \"  access->write(access->context, 0xf0001004U, 0x12345678U);\" is expected");
  EXPECT_EQ(changed("!= 0) return 4;", "!= 0) return 5;"),
            "a.c:22: \"  if (access->poll(access->context, 0xf000100cU, 0x00000001U, 0x00000001U, 1000U) != 0) return "
            "4;\" is expected");
  EXPECT_EQ(changed("i < 3", "i < 2"), "a.c:28: \"    for (i = 0; i < 3; ++i)\" is expected");
  EXPECT_EQ(changed("/* why */", "/* why */ abort(); /* */"),
            "a.c:19: \"  /* PLL A *\\/  /\\* why *\\/ abort(); /\\* */\" is expected")
      << "what is no remark";
  EXPECT_EQ(source_refused(std::string(kLargestFile + 1, ' ')), "a.c: more than 64 MiB");
}

// As of text: a change is refused, or it is one of a number, a name or a remark, and means what it says.
TEST(CdoC, IsRefusedOrWrittenBackEqualAfterAnyChange) {
  test_support::Random random(test_support::fresh_seed());
  const std::string source = to_c(kSome, "board", [](std::size_t) { return "why"; });
  int accepted = 0;
  for (std::size_t at = 0; at < source.size(); ++at) {
    std::string changed = source;
    changed[at] = static_cast<char>(random.below(2) == 0 ? random.below(256) : "0123456789abcdef"[random.below(16)]);
    try {
      const Source read = from_c(changed, "a.c");
      ++accepted;
      ASSERT_EQ(from_c(to_c(read.commands, read.name), "a.c"), read);
      ASSERT_TRUE(changed.size() == source.size() && to_c(read.commands, read.name).size() < source.size());
    } catch (CdoError const& error) {
      ASSERT_NE(std::string(error.what()).find("a.c:"), std::string::npos) << error.what();
    }
    const bool is_whole = at + 1 == source.size();  // but for the end of its last line
    ASSERT_EQ(source_refused(source.substr(0, at)) == "accepted", is_whole) << at;
  }
  EXPECT_GT(accepted, 20);
  EXPECT_LT(accepted, 200) << "of some 1700 characters";
}

// What is accepted after a change of a character means what it says: written, it is read again.
TEST(CdoText, IsRefusedOrWrittenBackEqualAfterAnyChange) {
  test_support::Random random(test_support::fresh_seed());
  int accepted = 0;
  for (int round = 0; round < 3000; ++round) {
    std::string text = to_text(kSome, [](std::size_t) { return "why"; });
    text[random.below(static_cast<unsigned>(text.size()))] = static_cast<char>(random.below(256));
    try {
      const Commands commands = from_text(text, "a.cdo");
      ++accepted;
      ASSERT_EQ(from_text(to_text(commands), "a.cdo"), commands);
    } catch (CdoError const& error) {
      ASSERT_NE(std::string(error.what()).find("a.cdo:"), std::string::npos) << error.what();
    }
  }
  EXPECT_GT(accepted, 100);
}

TEST(Cdo, NobodyMakesOrTakesMoreThanAFileMayHave) {
  // Takes sanitizers many seconds, and they see the same in less.
  const Commands blocks(test_support::kSanitized ? 0 : 300, BlockWrite{0, std::vector<std::uint32_t>(kMostWords, 7)});
  if (!blocks.empty()) {
    EXPECT_EQ(refused([&] { to_text(blocks); }), "the text would have more than 64 MiB");
    EXPECT_EQ(refused([&] { to_binary(blocks); }), "the binary would have more than 64 MiB");
    EXPECT_EQ(refused([&] { to_c(blocks, "big"); }), "the source would have more than 64 MiB");
  }
  EXPECT_EQ(text_refused(std::string(kLargestFile + 1, ' ')), "a.cdo: more than 64 MiB");
  EXPECT_EQ(binary_refused(std::string(kLargestFile + 4, ' ')), "a.bin: more than 64 MiB");
}

extern "C" int board_configure(cdo_access const* access);

struct Recorder {
  Commands done;
  bool comes_true = true;
  static Recorder& of(void* context) { return *static_cast<Recorder*>(context); }
  cdo_access access() {
    return {[](void* to, std::uint32_t address, std::uint32_t value) {
              of(to).done.push_back(Write{address, value});
            },
            [](void* to, std::uint32_t address, std::uint32_t mask, std::uint32_t value) {
              of(to).done.push_back(MaskedWrite{address, mask, value});
            },
            [](void* to, std::uint32_t address, std::uint32_t mask, std::uint32_t value, std::uint32_t timeout_us) {
              of(to).done.push_back(Poll{address, mask, value, timeout_us});
              return of(to).comes_true ? 0 : 1;
            },
            [](void* to, std::uint32_t microseconds) { of(to).done.push_back(Delay{microseconds}); }, this};
  }
};

// The golden file is compiled into this test, by a C compiler.
TEST(CdoC, IsCarriedOutAsItIsWritten) {
  test_support::expect_golden("cdo/board.c.txt",
                              to_c(kSome, "board", [](std::size_t i) { return i == 1 ? "A.CONTROL" : ""; }));
  Recorder recorder;
  const cdo_access access = recorder.access();
  EXPECT_EQ(board_configure(&access), 0);
  const Commands wanted{
      kSome[1], kSome[2], kSome[3], kSome[4], Write{0xF0002000, 1}, Write{0xF0002004, 2}, Write{0xF0002008, 3}};
  EXPECT_EQ(recorder.done, wanted);
  recorder.done.clear();
  recorder.comes_true = false;
  EXPECT_EQ(board_configure(&access), 4) << "the fourth command";
  EXPECT_EQ(recorder.done.size(), 3U) << "and nothing behind it";
}

TEST(CdoC, IsASourceThatStandsAlone) {
  const std::string source = to_c({Section{"end */ here"}, Write{4, 5}}, "board", [](std::size_t) { return "/* x"; });
  EXPECT_NE(source.find("  /* end *\\/ here */  /* /\\* x */\n"), std::string::npos) << source;
  EXPECT_NE(source.find("  access->write(access->context, 0x00000004U, 0x00000005U);  /* /\\* x */\n"),
            std::string::npos)
      << source;
  EXPECT_NE(source.find("int board_configure(const struct cdo_access *access) {\n"), std::string::npos) << source;
}

}  // namespace
