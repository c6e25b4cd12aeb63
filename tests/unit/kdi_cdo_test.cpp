// kdi_cdo as a person or a script runs it: answers, exit statuses, and what is left where something is wrong.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <filesystem>

#include "kdi/cdo/Cdo.h"
#include "kdi/common/KdiText.h"
#include "tests/support/golden.h"
#include "tests/support/places.h"
#include "tests/support/program.h"
#include "tests/support/scratch.h"

namespace {

using Texts = std::vector<std::string>;

constexpr char kUart[] = "ps_core_name,psxl\nPSX_UART0_PERIPHERAL_ENABLE,1\n";

class KdiCdo : public testing::Test {
 protected:
  Outcome run(Texts words, std::string const& input = "", std::string const& output = "") const {
    words.insert(words.begin(), places::program("kdi_cdo"));
    Surroundings around;
    around.folder = work.folder();
    around.input = input;
    around.output = output;
    return run_program(words, around);
  }
  // What stands on standard error behind the program's name.
  std::string refused(Texts const& words, int status) const {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, status) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.starts_with("kdi_cdo: ")) << outcome.err;
    return outcome.err.substr(std::string_view("kdi_cdo: ").size());
  }
  void generate(std::string const& parameters, std::string const& folder, std::string const& form) const {
    const Outcome outcome = run({"generate", work.file("parameters", parameters), folder, "--form", form});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
  }
  Scratch work;
};

TEST_F(KdiCdo, TellsWhatItDoes) {
  const Outcome help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  EXPECT_NE(help.out.find("SYNOPSIS\n"), std::string::npos);
  Texts described;
  for (std::string_view const line : kdi::text::lines(help.out)) {
    EXPECT_LE(line.size(), 79U) << line;
    if (line.starts_with("       kdi_cdo ") && line.find("--help") == std::string_view::npos)
      described.emplace_back(kdi::text::words(line)[1]);
  }
  // the first line of NAME is `kdi_cdo -`
  described.erase(described.begin());
  EXPECT_EQ(described, (Texts{"generate", "decode", "encode", "disassemble", "compare", "check"}));
  std::string all = help.out;
  for (std::string const& command : described) {
    const Outcome told = run({command, "--help"});
    EXPECT_EQ(told.status, 0);
    for (char const* const part : {"NAME\n", "SYNOPSIS\n", "DESCRIPTION\n", "EXIT STATUS\n", "EXAMPLE\n"})
      EXPECT_NE(told.out.find(part), std::string::npos) << command << " " << part;
    EXPECT_NE(told.out.find("kdi_cdo " + command), std::string::npos);
    all += "==== " + command + "\n" + told.out;
  }
  test_support::expect_golden("kdi_cdo/help.txt", all);
  EXPECT_TRUE(run({"--version"}).out.starts_with("kdi_cdo "));
}

TEST_F(KdiCdo, RefusesWordsThatItDoesNotTake) {
  const std::string more = "\nkdi_cdo --help tells the commands\n";
  EXPECT_EQ(refused({}, 2), "which command?" + more);
  EXPECT_EQ(refused({"x"}, 2), "no command \"x\"" + more);
  EXPECT_EQ(refused({"decode"}, 2), "should be: kdi_cdo decode CDO [TEXT]" + more);
  EXPECT_EQ(refused({"decode", "a", "b", "c"}, 2), "should be: kdi_cdo decode CDO [TEXT]" + more);
  EXPECT_EQ(refused({"decode", ""}, 2), "an empty name of a file" + more);
  EXPECT_EQ(refused({"decode", "a", "--core", "x"}, 2), "decode has no option --core" + more);
  EXPECT_EQ(refused({"check", "a", "--core"}, 2), "no value for --core" + more);
  EXPECT_EQ(refused({"check", "a", "--core", ""}, 2), "an empty value for --core" + more);
  EXPECT_EQ(refused({"check", "a", "--json", "--json"}, 2), "--json is given twice" + more);
  EXPECT_EQ(refused({"generate", "a", "b", "--form", "x"}, 2), "--form takes one of c text binary, not \"x\"" + more);
  EXPECT_EQ(refused({"decode", "--", "--none"}, 3), "--none: cannot be opened: No such file or directory\n");
}

TEST_F(KdiCdo, GeneratesWhatTheDriverDoes) {
  generate(kUart, "ours", "c");
  Surroundings around;
  around.folder = work.folder();
  ASSERT_EQ(run_program({places::program("cdo_driver"), work.file("parameters", kUart), "theirs"}, around).status, 0);
  std::size_t sources = 0;
  for (auto const& file : std::filesystem::directory_iterator(work.path("theirs"))) {
    const std::string name = file.path().filename();
    EXPECT_EQ(work.content("ours/" + name), work.content("theirs/" + name)) << name;
    ++sources;
  }
  EXPECT_EQ(sources, 3U);
  EXPECT_EQ(work.content("ours/psxl_mask_definitions.h"), work.content("psxl_mask_definitions.h"));
}

TEST_F(KdiCdo, ChangesFormsWithoutLoss) {
  generate(kUart, "text", "text");
  generate(kUart, "binary", "binary");
  const std::string binary = work.content("binary/lpd_data.bin");
  const Outcome decoded = run({"decode", "binary/lpd_data.bin"});
  EXPECT_EQ(decoded.out, kdi::cdo::to_text(kdi::cdo::from_binary(binary, "binary")));
  EXPECT_EQ(run({"decode", "binary/lpd_data.bin", "a.cdo"}).status, 0);
  EXPECT_EQ(work.content("a.cdo"), decoded.out);
  EXPECT_EQ(run({"encode", "a.cdo", "a.bin"}).status, 0);
  EXPECT_EQ(work.content("a.bin"), binary);
  EXPECT_EQ(run({"encode", "-"}, decoded.out).out, binary) << "from standard input";
  EXPECT_EQ(run({"encode", "text/lpd_data.cdo"}).out, binary) << "remarks are left out";
  EXPECT_EQ(run({"encode", "-"}, run({"disassemble", "a.bin", "--core", "psxl"}).out).out, binary);
}

TEST_F(KdiCdo, TellsRegistersByName) {
  generate(kUart, "out", "binary");
  const Outcome told = run({"disassemble", "out/lpd_data.bin", "--core", "psxl:1.0"});
  EXPECT_NE(told.out.find("#   UART0.CONTROL: "), std::string::npos);
  EXPECT_NE(told.out.find(" (PSX_UART0_PERIPHERAL_ENABLE)\n"), std::string::npos);
  EXPECT_NE(
      run({"disassemble", "out/lpd_data.bin", "--core", "psxl", "--json"}).out.find("\"register\": \"UART0.BAUD\""),
      std::string::npos);
  EXPECT_TRUE(
      refused({"disassemble", "out/lpd_data.bin", "--core", "none"}, 3).starts_with("no core \"none\"; there are "));
  EXPECT_TRUE(refused({"disassemble", "out/lpd_data.bin", "--core", "psxl:7"}, 3)
                  .starts_with("psxl has no version \"7\"; there are "));
}

TEST_F(KdiCdo, ComparesRegisterByRegister) {
  generate(kUart, "with", "binary");
  generate("ps_core_name,psxl\n", "without", "text");
  EXPECT_EQ(run({"compare", "with/pmc_data.bin", "without/pmc_data.cdo"}).status, 0);
  const Outcome told = run({"compare", "without/lpd_data.cdo", "with/lpd_data.bin", "--core", "psxl"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find(" UART0.CONTROL: 0x00000000, 0x0000000"), std::string::npos) << told.out;
  EXPECT_NE(told.out.find("  0 ENABLE: 0, 1  (PSX_UART0_PERIPHERAL_ENABLE)\n"), std::string::npos) << told.out;
  EXPECT_NE(told.out.find("+ 14: section \"UART 0\"\n"), std::string::npos) << told.out;
  EXPECT_EQ(run({"compare", "-", "without/lpd_data.cdo", "--json"}, "cdo 1\nend 0\n").status, 1);
  work.file("a", "cdo 1\nwrite 4 1\nwrite 8 2\nmask_write 12 1 1\nend 3\n");
  work.file("b", "cdo 1\nwrite 8 2\nwrite 4 1\nend 2\n");
  EXPECT_EQ(run({"compare", "a", "b"}).out,
            "0x0000000c: 0x00000001/0x00000001, not written\n~ 0 1: write 0x00000004 0x00000001\n"
            "- 2: mask_write 0x0000000c 0x00000001 0x00000001\n");
}

// Several regions have the same core: files are told apart by the sub-cores' names.
TEST_F(KdiCdo, GeneratesAFileOfEachSubCore) {
  generate("ps_core_name,ps_wizard\npart,brvn5130-b1936-2LHP-e-S\n", "out", "text");
  for (char const* const name : {"pmcps_0_pmc_data.cdo", "pmcps_1_pmc_data.cdo", "pmcps_2_pmc_data.cdo"})
    EXPECT_FALSE(work.content(std::string("out/") + name).empty()) << name;
  EXPECT_EQ(run({"check", "out/pmcps_1_pmc_data.cdo", "--core", "pmcps"}).status, 0);

  // The first region has another clock: by their sections the others' files are not held to it.
  const std::string other = "ps_core_name,ps_wizard\npart,brvn5130-b1936-2LHP-e-S\nPMC_CRP_CFU_REF_CTRL_FREQMHZ,200\n";
  generate(other, "other", "text");
  const auto faults = [&](std::string const& content) {
    return run({"check", "-", "--core", "ps_wizard", "--configuration", work.file("p", other)}, content).out;
  };
  EXPECT_EQ(work.content("out/pmcps_1_pmc_data.cdo"), work.content("other/pmcps_1_pmc_data.cdo"));
  std::string text = work.content("other/pmcps_1_pmc_data.cdo");
  const std::string begin = "cdo 1\nsection \"pmcps_1\"\n";
  ASSERT_TRUE(text.starts_with(begin));
  EXPECT_EQ(faults(text), "");
  EXPECT_EQ(faults("cdo 1\nsection \"region 1 u_pmcps_1\"\n" + text.substr(begin.size())), "");
  text.replace(0, begin.size(), "cdo 1\nsection \"region 1 u_pmcps_0\"\n");
  EXPECT_NE(faults(text).find("CRP.PMC_CRP_CFU_REF_CTRL.DIVIDER is left at "), std::string::npos);
}

TEST_F(KdiCdo, ChecksWhatHardwareWouldDo) {
  generate(kUart, "out", "binary");
  work.file("uart", kUart);
  EXPECT_EQ(run({"check", "out/lpd_data.bin"}).status, 0);
  EXPECT_EQ(run({"check", "out/lpd_data.bin", "--core", "psxl", "--configuration", "uart"}).status, 0);
  work.file("other", "PSX_UART0_PERIPHERAL_ENABLE,1\nPSX_UART0_BAUD_RATE,9600\n");
  const Outcome told = run({"check", "out/lpd_data.bin", "--configuration", "other"});
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("UART0.BAUD.DIVIDER is left at "), std::string::npos) << told.out;
  const Outcome stray = run({"check", "-", "--core", "psxl"}, "cdo 1\nwrite 0x44 1\nend 1\n");
  EXPECT_EQ(stray.status, 1);
  EXPECT_EQ(stray.out, "0: write 0x00000044 0x00000001: no register at 0x00000044\n");
}

// Each byte of a binary cut off, and each of them changed, is refused with nothing written.
TEST_F(KdiCdo, RefusesDamage) {
  const std::string binary = kdi::cdo::to_binary({kdi::cdo::Section{"s"}, kdi::cdo::Write{4, 5}});
  for (std::size_t i = 1; i < binary.size(); i += 7) {
    work.file("cut", binary.substr(0, i));
    EXPECT_EQ(run({"decode", "cut", "out"}).status, 3) << i;
    std::string changed = binary;
    changed[i] = static_cast<char>(changed[i] ^ 16);
    work.file("changed", changed);
    EXPECT_EQ(run({"decode", "changed", "out"}).status, 3) << i;
  }
  EXPECT_FALSE(std::filesystem::exists(work.path("out")));
  work.file("text", "cdo 1\nwrite 4\nend 1\n");
  EXPECT_TRUE(refused({"check", "text"}, 3).starts_with("text:2: "));
  work.file("parameters", "PSX_UART0_PERIPHERAL_ENABLE\n");
  EXPECT_EQ(refused({"generate", "parameters", "out"}, 3),
            "parameters:1: a parameter, a comma and its value are expected, found \"PSX_UART0_PERIPHERAL_ENABLE\"\n");
  work.file("parameters", "PSX_UART0_PERIPHERAL_ENABLE,1\n\nPSX_UART0_PERIPHERAL_ENABLE,0\n");
  EXPECT_EQ(refused({"generate", "parameters", "out"}, 3),
            "parameters:3: \"PSX_UART0_PERIPHERAL_ENABLE\" was given in line 1 already\n");
  work.file("parameters", "PSX_UART0_PERIPHERAL_ENABL,1\n");
  EXPECT_EQ(refused({"generate", "parameters", "out"}, 3),
            "parameters:1: psxl 1.0 has no parameter \"PSX_UART0_PERIPHERAL_ENABL\"; there is "
            "PSX_UART0_PERIPHERAL_ENABLE\n");
  work.file("parameters", "PSX_UART0_PERIPHERAL_ENABLE,maybe\n");
  const std::string told = refused({"generate", "parameters", "out"}, 1);
  EXPECT_TRUE(told.starts_with("error: PSX_UART0_PERIPHERAL_ENABLE: ")) << told;
  EXPECT_TRUE(told.ends_with("kdi_cdo: the configuration has 1 error\n")) << told;
  EXPECT_TRUE(refused({"generate", "parameters", "out", "--core", "pspmc"}, 3)
                  .starts_with("the part brvn3716-die-2LHP-e-S-es1 does not have the core pspmc; it has "));
  EXPECT_EQ(refused({"generate", work.file("parameters", ""), "out", "--core", "tap"}, 3),
            "the core has no registers\n");
  EXPECT_FALSE(std::filesystem::exists(work.path("out")));
}

TEST_F(KdiCdo, WaitsForNobodyAndLosesNothing) {
  work.file("a.cdo", "cdo 1\nwrite 4 5\nend 1\n");
  std::filesystem::create_directory(work.path("folder"));
  ASSERT_EQ(::mkfifo(work.path("pipe").c_str(), 0600), 0);
  EXPECT_EQ(refused({"decode", "folder"}, 3), "folder: cannot be read: Is a directory\n");
  EXPECT_EQ(refused({"decode", "pipe"}, 3), "pipe: cannot be read: it is no regular file\n");
  EXPECT_EQ(refused({"encode", "a.cdo", "/dev/full"}, 3), "/dev/full: cannot be written: No space left on device\n");
  const Outcome full = run({"decode", "a.cdo"}, "", "/dev/full");
  EXPECT_EQ(full.status, 3);
  EXPECT_EQ(full.err, "kdi_cdo: standard output: cannot be written: No space left on device\n");
  EXPECT_EQ(run({"--help"}, "", "/dev/full").status, 3);
  EXPECT_TRUE(
      refused({"generate", work.file("p", kUart), "a.cdo"}, 3).starts_with("a.cdo: cannot be made a directory: "));
  // A file that may not grow: what stood there stays.
  work.file("b.cdo", "before");
  const Outcome limited = run_apart([&] {
    const rlimit none{4, 4};
    ::setrlimit(RLIMIT_FSIZE, &none);
    Texts words{places::program("kdi_cdo"), "decode", work.path("a.cdo"), work.path("b.cdo")};
    program_detail::become(words);
    return 0;
  });
  EXPECT_NE(limited.status, 0);
  EXPECT_EQ(work.content("b.cdo"), "before");
  EXPECT_EQ(work.names(), (Texts{"a.cdo", "b.cdo", "folder", "p", "pipe"}));
}

}  // namespace
