// Packages of files: what is written is read back, by the library and from the bytes alone; what is damaged or hostile
// is refused.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <thread>

#include "kdi/common/KdiFile.h"
#include "kdi/common/host/MessageHost.h"
#include "kdi/hdf/HHDFHwDefUtils.h"
#include "kdi/hdf/host/HardwareDefinition.h"
#include "tests/support/foreign_locale.h"
#include "tests/support/plain_zip.h"
#include "tests/support/random.h"
#include "tests/support/scratch.h"

namespace {

using namespace kdi::hdf;
using test_support::Random;
using Files = std::vector<std::pair<std::string, HHDFHwDefFileTypes::HWHFileType>>;
using Texts = std::vector<std::string>;

constexpr auto kCdo = HHDFHwDefFileTypes::CDO;
constexpr auto kSysmon = HHDFHwDefFileTypes::SYSMON_DATA;

template <class Error = DefinitionError, class Body>
std::string refusal(Body body) {
  try {
    body();
  } catch (Error const& error) {
    return error.what();
  }
  return "taken";
}
std::string refusal_of(std::string const& bytes) {
  return refusal([&] { unpacked(bytes, "p"); });
}

std::string random_text(Random& random, unsigned longest) {
  static const Texts kLetters = {"a", "B", "7", "_", " ", "\"", "\\", "\n", "\t", "\x01", "\xC3\xA4", "\xE2\x82\xAC"};
  std::string text;
  for (unsigned size = random.below(longest + 1); size > 0; --size)
    text += kLetters[random.below(static_cast<unsigned>(kLetters.size()))];
  return text;
}
ParamMap random_attributes(Random& random) {
  ParamMap attributes;
  for (unsigned size = random.below(5); size > 0; --size) attributes[random_text(random, 8)] = random_text(random, 20);
  return attributes;
}
HardwareDefinition random_definition(Random& random) {
  HardwareDefinition definition;
  definition.attributes = random_attributes(random);
  for (unsigned size = random.below(6); size > 0; --size) {
    PackedFile file;
    file.name = (random.one_in(3) ? "folder/" : "") + std::string("file ") + std::to_string(size) +
                (random.one_in(3) ? "\xC3\xA4" : ".cdo");
    file.kind = static_cast<int>(random.below(kMostKind + 1));
    file.attributes = random_attributes(random);
    file.is_missing = random.one_in(4);
    if (!file.is_missing)
      for (unsigned bytes = random.below(300); bytes > 0; --bytes) file.content += static_cast<char>(random.below(256));
    definition.files.push_back(file);
  }
  return definition;
}

TEST(HardwareDefinition, ReadsBackWhatWasWritten) {
  Random random(11);
  for (int run = 0; run < 150; ++run) {
    const HardwareDefinition definition = random_definition(random);
    const std::string bytes = packed(definition);
    EXPECT_EQ(unpacked(bytes, "p"), definition);
    EXPECT_EQ(packed(definition), bytes) << "equal definitions give equal bytes";
  }
}

TEST(HardwareDefinition, HasItsFilesStoredBehindTheManifestWithOneTimeStamp) {
  HardwareDefinition definition;
  definition.attributes = {{"PL_RESET", "2"}};
  definition.files = {
      {"b.cdo", 7, {{"slrId", "0"}}, false, "the \0 bytes"}, {"a.json", 23, {}, true, {}}, {"c", 0, {}, false, ""}};
  const auto entries = plain_zip::entries(packed(definition));
  ASSERT_EQ(entries.size(), 3U);
  EXPECT_EQ(entries[0].name, "manifest.json");
  EXPECT_EQ(entries[0].content,
            "{\n  \"format\": 1,\n  \"attributes\": {\"PL_RESET\": \"2\"},\n  \"files\": [\n"
            "    {\"name\": \"b.cdo\", \"kind\": 7, \"size\": 4, \"attributes\": {\"slrId\": \"0\"}},\n"
            "    {\"name\": \"a.json\", \"kind\": 23, \"missing\": true},\n"
            "    {\"name\": \"c\", \"kind\": 0, \"size\": 0}\n  ]\n}\n");
  EXPECT_EQ(entries[1].name, "b.cdo");
  EXPECT_EQ(entries[1].content, definition.files[0].content);
  EXPECT_EQ(entries[2].name, "c");
  for (auto const& entry : entries) {
    EXPECT_EQ(entry.method, 0U);
    EXPECT_EQ(entry.time, 0U);
    EXPECT_EQ(entry.date, 33U) << "1 January 1980";
  }
}

TEST(HardwareDefinition, FindsEveryByteOfAContentThatHasChanged) {
  Random random(5);
  HardwareDefinition definition;
  definition.attributes = {{"A", "1"}};
  definition.files = {{"one.cdo", 7, {{"x", "y"}}, false, "a line\nanother\n"},
                      {"two.bin", 2, {}, false, std::string("\0\xFF\x7F", 3)},
                      {"gone", 8, {}, true, {}}};
  const std::string bytes = packed(definition);
  std::vector<bool> is_content(bytes.size());
  for (auto const& entry : plain_zip::entries(bytes))
    std::fill_n(is_content.begin() + static_cast<std::ptrdiff_t>(entry.begin), entry.content.size(), true);
  int refused = 0, harmless = 0;
  for (std::size_t at = 0; at < bytes.size(); ++at)
    for (const unsigned change : {1U, 0x80U, 0xFFU, 1 + random.below(255)}) {
      std::string damaged = bytes;
      damaged[at] = static_cast<char>(static_cast<unsigned char>(damaged[at]) ^ change);
      try {
        EXPECT_EQ(unpacked(damaged, "p"), definition) << "byte " << at << " changed by " << change;
        EXPECT_FALSE(is_content[at]) << "byte " << at << " changed by " << change;
        ++harmless;
      } catch (DefinitionError const&) {
        ++refused;
      }
    }
  EXPECT_GT(refused, 4 * std::count(is_content.begin(), is_content.end(), true));
  EXPECT_GT(harmless, 0) << "time stamps and the like";
}

TEST(HardwareDefinition, FindsWhatIsCutOff) {
  const std::string bytes = packed({{}, {{"one.cdo", 7, {}, false, "a line\n"}}});
  for (std::size_t size = 0; size < bytes.size(); ++size)
    EXPECT_EQ(refusal_of(bytes.substr(0, size)).substr(0, 3), "p: ") << size;
}

plain_zip::Entry manifest(std::string const& files) {
  return {"manifest.json", "{\"format\": 1, \"attributes\": {},\n \"files\": [" + files + "]}"};
}

TEST(HardwareDefinition, RefusesHostilePackages) {
  const std::string a = R"({"name": "a", "kind": 7, "size": 1})";
  struct {
    std::vector<plain_zip::Entry> entries;
    plain_zip::Oddity odd;
    char const* refusal;
  } const rows[] = {
      {{{"a", "x"}, manifest(a)}, {}, "p: does not begin with manifest.json"},
      {{manifest(a), {"a", "x"}, {"b", "x"}}, {}, "p: \"b\" is not in the manifest"},
      {{manifest(a)},
       {},
       "p: manifest.json:2: files[0]: expected a file that is in the package, or is marked as missing, found an "
       "object"},
      {{manifest(R"({"name": "a", "kind": 7, "size": 2})"), {"a", "x"}},
       {},
       "p: manifest.json:2: files[0].size: expected the size 1, found the number 2"},
      {{manifest(a + "," + a), {"a", "x"}},
       {},
       "p: manifest.json:2: files[1].name: expected a name of its own, found the text \"a\""},
      {{manifest(a), {"../a", "x"}}, {}, "p: \"../a\" cannot be the name of a file in a package"},
      {{manifest(a), {"/a", "x"}}, {}, "p: \"/a\" cannot be the name of a file in a package"},
      {{manifest(R"({"name": "b/../a", "kind": 7, "size": 1})"), {"a", "x"}},
       {},
       "p: manifest.json:2: files[0].name: expected the name of a file in a package, found the text \"b/../a\""},
      {{manifest(R"({"name": "a", "kind": 7, "size": 1, "missing": true})"), {"a", "x"}},
       {},
       "p: manifest.json:2: files[0].size: expected no size of a file that is missing, found the number 1"},
      {{manifest(R"({"name": "a", "kind": 7, "missing": false})"), {"a", "x"}},
       {},
       "p: manifest.json:2: files[0].missing: expected true, or no such field, found false"},
      {{manifest(R"({"name": "a", "kind": 65536, "size": 1})"), {"a", "x"}},
       {},
       "p: manifest.json:2: files[0].kind: expected an integer from 0 to 65535, found the number 65536"},
      {{manifest(R"({"name": "a", "kind": 7, "size": 1, "more": 1})"), {"a", "x"}},
       {},
       "p: manifest.json:2: files[0].more: expected one of name, kind, size, missing, attributes as the field's name"},
      {{{"manifest.json", "{"}}, {}, "p: manifest.json:1: "},
      {{{"manifest.json", R"({"format": 2, "attributes": {}, "files": []})"}}, {}, "p: manifest.json:1: format: "},
      {{manifest(a), {"a", "x"}}, {1, 0, 0}, "p: is no whole package: an entry is encrypted"},
      {{manifest(a), {"a", "x"}}, {0, 8, 0}, "p: is no whole package: manifest.json: "},
      {{manifest(a), {"a", "x"}}, {0, 8, 0x7FFFFFFF}, "p: is no whole package: more than 536870912 bytes"},
      {{manifest(a), {"a", "x"}}, {0, 0, 3}, "p: is no whole package: "},
      {{}, {}, "p: "},
  };
  for (auto const& row : rows) {
    const std::string told = refusal_of(plain_zip::archive(row.entries, row.odd));
    EXPECT_EQ(told.substr(0, std::string(row.refusal).size()), row.refusal) << told;
  }
  EXPECT_EQ(refusal_of(plain_zip::archive({manifest(a), {"a", "x"}, {"a", "y"}})),
            "p: is no whole package: File already exists");
}

TEST(HardwareDefinition, TakesWhatOthersHaveCompressedWithinItsSize) {
  const std::string manifest_text = manifest(R"({"name": "a", "kind": 7, "size": 2})").content;
  const std::vector<plain_zip::Entry> entries{plain_zip::compressed("manifest.json", manifest_text),
                                              plain_zip::compressed("a", "xy")};
  const HardwareDefinition expected = {{}, {{"a", 7, {}, false, "xy"}}};
  EXPECT_EQ(unpacked(plain_zip::archive(entries, {0, 8, 0}), "p"), expected);
  for (const std::uint32_t size : {1U, 1000U})
    EXPECT_EQ(refusal_of(plain_zip::archive(entries, {0, 8, size})),
              "p: is no whole package: manifest.json: an entry that has not the size that it tells")
        << size;
}

TEST(HardwareDefinition, RefusesMoreFilesThanAPackageMayHave) {
  std::vector<plain_zip::Entry> entries{manifest({})};
  for (std::size_t i = 0; i <= kMostFiles; ++i) entries.push_back({std::to_string(i), {}});
  EXPECT_EQ(refusal_of(plain_zip::archive(entries)), "p: is no whole package: more than 10001 entries");
  HardwareDefinition many;
  for (std::size_t i = 0; i <= kMostFiles; ++i) many.files.push_back({std::to_string(i), 0, {}, true, {}});
  EXPECT_EQ(refusal([&] { packed(many); }), "more than 10000 files");
}

TEST(HardwareDefinition, RefusesToWriteWhatCouldNotBeRead) {
  const auto told = [](PackedFile const& file) { return refusal([&] { packed({{}, {file}}); }); };
  EXPECT_EQ(told({"../a", 0, {}, false, {}}), "\"../a\" cannot be the name of a file in a package");
  EXPECT_EQ(told({"a", -1, {}, false, {}}), "\"a\": no kind -1");
  EXPECT_EQ(told({"a", kMostKind + 1, {}, false, {}}), "\"a\": no kind 65536");
  EXPECT_EQ(told({"a", 0, {}, true, "x"}), "\"a\" is missing and has a content");
  EXPECT_EQ(told({"a", 0, {{"k", "\xFF"}}, false, {}}), "the attribute \"k\" is no UTF-8");
  EXPECT_EQ(refusal([] {
              packed({{}, {{"a", 0, {}, false, {}}, {"a", 1, {}, false, {}}}});
            }),
            "two files are called \"a\"");
  EXPECT_EQ(refusal([] {
              packed({{{"a", std::string(kMostManifest, 'x')}}, {}});
            }),
            "the manifest has more than 16777216 bytes");
  for (std::string const& name :
       {std::string(), std::string("."), std::string(".."), std::string("/a"), std::string("a/"), std::string("a//b"),
        std::string("a\\b"), std::string("a\nb"), std::string("\xFF"), std::string("manifest.json"),
        std::string(kLongestName + 1, 'a'), std::string("a\0b", 3)})
    EXPECT_FALSE(is_entry_name(name)) << name;
  for (std::string const& name : {std::string("..."), std::string("a b"), std::string(kLongestName, 'a')})
    EXPECT_TRUE(is_entry_name(name)) << name;
}

// ------------------------------------------------------------------------------------------------------------ the door

class WriteHdf : public testing::Test {
 protected:
  bool write(Files const& files, AttrMap const& of_files = {}, ParamMap const& attributes = {}, bool overwrite = true) {
    return HHDFHwDefUtils::writeHDF(place_, files, overwrite, of_files, attributes);
  }
  HardwareDefinition written() const { return read_hardware_definition(place_); }

  Scratch scratch_;
  std::string place_ = scratch_.path("u1.hwdef");
  message_host::Capture capture_;
};

TEST_F(WriteHdf, PacksWhatIsThereAndMarksTheRest) {
  const std::string cdo = scratch_.file("out/u1_pmc_data.cdo", "write 0 1\n");
  const std::string gone = scratch_.path("out/executable.elf"), also_gone = scratch_.path("no/such/folder/x.json");
  EXPECT_TRUE(write({{cdo, kCdo}, {gone, HHDFHwDefFileTypes::BOOT_ELF}, {also_gone, kSysmon}, {"", kCdo}},
                    {{gone, {{"file_type", "BOOTLOADER"}}}, {cdo, {{"slrId", "0"}}}, {"elsewhere", {{"a", "b"}}}},
                    {{"PL_RESET", "1"}}));
  const HardwareDefinition expected = {{{"PL_RESET", "1"}},
                                       {{"u1_pmc_data.cdo", 7, {{"slrId", "0"}}, false, "write 0 1\n"},
                                        {"executable.elf", 8, {{"file_type", "BOOTLOADER"}}, true, {}},
                                        {"x.json", 23, {}, true, {}},
                                        {"4/file", 7, {}, true, {}}}};
  EXPECT_EQ(written(), expected);
  EXPECT_EQ(capture_.lines(), Texts{"WARNING: [hdf] " + place_ +
                                    ": not there, and marked so in the package: executable.elf, x.json, 4/file"});
}

TEST_F(WriteHdf, GivesFilesOfOneNameFoldersAndListsOneFileOnce) {
  const std::string a = scratch_.file("a/x.cdo", "a"), b = scratch_.file("b/x.cdo", "b"),
                    manifest = scratch_.file("manifest.json", "m"),
                    longest = scratch_.file("c/" + std::string(255, 'n'), "n"),
                    longest2 = scratch_.file("d/" + std::string(255, 'n'), "o");
  EXPECT_TRUE(
      write({{a, kCdo}, {b, kCdo}, {a, kCdo}, {a, kSysmon}, {manifest, kCdo}, {longest, kCdo}, {longest2, kCdo}}));
  Texts names;
  for (auto const& file : written().files) names.push_back(file.name + "=" + file.content);
  EXPECT_EQ(names, (Texts{"x.cdo=a", "2/x.cdo=b", "3/x.cdo=a", "4/file=m", std::string(255, 'n') + "=n", "6/file=o"}));
  EXPECT_EQ(capture_.lines(), Texts{});
}

TEST_F(WriteHdf, GivesEqualBytesWhereverAndWheneverItIsWritten) {
  const Scratch other;
  Texts packages;
  for (Scratch const* const folder : std::initializer_list<Scratch const*>{&scratch_, &other}) {
    const std::string cdo = folder->file("x.cdo", "same");
    std::filesystem::last_write_time(cdo, std::filesystem::file_time_type::clock::now() - std::chrono::hours(100));
    ::chmod(cdo.c_str(), folder == &other ? 0600 : 0644);
    place_ = folder->path("p.hwdef");
    EXPECT_TRUE(write({{cdo, kCdo}, {folder->path("gone"), kCdo}}, {}, {{"b", "1"}, {"a", "2"}}));
    packages.push_back(kdi::read_file(place_));
  }
  EXPECT_EQ(packages[0], packages[1]);
}

TEST_F(WriteHdf, LeavesWhatStoodBeforeWhenItFails) {
  scratch_.file("u1.hwdef", "before");
  const std::string cdo = scratch_.file("x.cdo", "x");
  EXPECT_FALSE(write({{cdo, kCdo}}, {}, {}, false));
  EXPECT_FALSE(write({{cdo, kCdo}, {scratch_.folder(), kCdo}})) << "a folder is no file, and not missing either";
  EXPECT_FALSE(write({{cdo, kCdo}}, {{cdo, {{"k", "\xFF"}}}}));
  EXPECT_EQ(scratch_.content("u1.hwdef"), "before");
  EXPECT_EQ(scratch_.names(), (Texts{"u1.hwdef", "x.cdo"}));
  place_ = scratch_.path("no/p.hwdef");
  EXPECT_FALSE(write({{cdo, kCdo}}));
  const Texts told = capture_.lines();
  ASSERT_EQ(told.size(), 4U);
  EXPECT_EQ(told[0], "ERROR: [hdf] " + scratch_.path("u1.hwdef") + ": is there already");
  EXPECT_EQ(told[1], "ERROR: [hdf] " + scratch_.path("u1.hwdef") + ": cannot be written: " + scratch_.folder() +
                         ": cannot be read: Is a directory");
  EXPECT_EQ(told[2],
            "ERROR: [hdf] " + scratch_.path("u1.hwdef") + ": cannot be written: the attribute \"k\" is no UTF-8");
  EXPECT_EQ(told[3], "ERROR: [hdf] " + scratch_.path("no/p.hwdef") + ": cannot be created: No such file or directory");
}

TEST_F(WriteHdf, AFileThatIsThereAndMayNotBeReadIsNotMissing) {
  const Unprivileged unprivileged;
  const Scratch own;
  place_ = own.path("p.hwdef");
  const std::string secret = own.file("secret", "s");
  ::chmod(secret.c_str(), 0);
  EXPECT_FALSE(write({{secret, kCdo}}));
  EXPECT_EQ(capture_.lines(), Texts{"ERROR: [hdf] " + place_ + ": cannot be written: " + secret +
                                    ": cannot be opened: Permission denied"});
  EXPECT_EQ(own.names(), Texts{"secret"});
}

TEST_F(WriteHdf, IsTheSameUnderEveryLocaleAndOnSeveralThreads) {
  const std::string cdo = scratch_.file("x.cdo", std::string(123456, 'x'));
  ASSERT_TRUE(write({{cdo, kCdo}}));
  const std::string alone = kdi::read_file(place_);
  const ForeignLocale german("de_DE", "ISO-8859-1");
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&, i] {
      std::string place = scratch_.path("t" + std::to_string(i));
      for (int run = 0; run < 5; ++run) HHDFHwDefUtils::writeHDF(place, {{cdo, kCdo}}, true, {}, {});
    });
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 4; ++i) EXPECT_EQ(kdi::read_file(scratch_.path("t" + std::to_string(i))), alone);
}

}  // namespace
