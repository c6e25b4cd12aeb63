// Values between Tcl and C++.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "kdi/tcl/values.h"

namespace {

using tcl::ObjRef;

class TclValues : public testing::Test {
 protected:
  TclValues() { Tcl_FindExecutable(nullptr); }  // Tcl's objects need Tcl to be up
};

std::string shown(Tcl_Obj* made) { return tcl::text_of(ObjRef(made).get()); }

TEST_F(TclValues, AnObjectForEachType) {
  EXPECT_EQ(shown(tcl::new_value("a b")), "a b");
  EXPECT_EQ(shown(tcl::new_value(std::string("\u00e9"))), "\u00e9");
  EXPECT_EQ(shown(tcl::new_value(true)), "1");
  EXPECT_EQ(shown(tcl::new_value(-7)), "-7");
  EXPECT_EQ(shown(tcl::new_value(std::uint32_t{4294967295})), "4294967295");
  EXPECT_EQ(shown(tcl::new_value(std::numeric_limits<std::uint64_t>::max())), "-1") << "the low 64 bits";
  EXPECT_EQ(shown(tcl::new_value(0.1)), "0.1");
  const ObjRef one(tcl::new_text("x"));
  EXPECT_EQ(tcl::new_value(one.get()), one.get());
}

TEST_F(TclValues, ListsInTheOrderOfTheirMembers) {
  EXPECT_EQ(shown(tcl::new_list(std::vector<std::string>{"a b", "", "c"})), "{a b} {} c");
  EXPECT_EQ(shown(tcl::new_list(std::vector<int>{3, 1}, [](int n) { return n * 0.5; })), "1.5 0.5");
  EXPECT_EQ(shown(tcl::new_list({tcl::new_text("a"), tcl::new_list({})})), "a {}");
  const ObjRef list(tcl::new_list({}));
  tcl::append(list.get(), 1);
  tcl::append(list.get(), "{");
  EXPECT_EQ(tcl::text_of(list.get()), "1 \\{");
}

TEST_F(TclValues, TheElementsOfAList) {
  const ObjRef list(tcl::new_text("a {b c}"));
  const auto elements = tcl::elements_of(list.get());
  ASSERT_TRUE(elements);
  ASSERT_EQ(elements->size(), 2U);
  EXPECT_EQ(tcl::text_view((*elements)[1]), "b c");
  EXPECT_EQ(tcl::elements_of(ObjRef(tcl::new_text("")).get())->size(), 0U);
  EXPECT_FALSE(tcl::elements_of(ObjRef(tcl::new_text("{a")).get()));
}

TEST_F(TclValues, DictionariesKeepTheirOrderAndTheLastValueOfAKey) {
  const ObjRef dict(tcl::new_dict({{"z", 1}, {"a", "two"}, {"z", true}}));
  EXPECT_EQ(tcl::text_of(dict.get()), "z 1 a two");
  tcl::put(dict.get(), "b", 2.5);
  std::string walked;
  for (tcl::DictWalk at(dict.get()); !at.at_end(); at.next())
    walked += tcl::text_of(at.key()) + "=" + tcl::text_of(at.value()) + ";";
  EXPECT_EQ(walked, "z=1;a=two;b=2.5;");
}

TEST_F(TclValues, AKeyIsThereOrNotOrTheObjectIsNoDictionary) {
  const tcl::Key key("k");
  EXPECT_EQ(key.name(), "k");
  const ObjRef with(tcl::new_text("k v")), without(tcl::new_text("j v")), odd(tcl::new_text("k"));
  ASSERT_TRUE(key.find(with.get()));
  EXPECT_EQ(tcl::text_of(*key.find(with.get())), "v");
  ASSERT_TRUE(key.find(without.get()));
  EXPECT_EQ(*key.find(without.get()), nullptr);
  EXPECT_FALSE(key.find(odd.get()));
  tcl::DictWalk walk(odd.get());
  EXPECT_FALSE(walk.is_dict());
  EXPECT_TRUE(walk.at_end());
}

TEST_F(TclValues, NumbersInTheFormsThatTclTakes) {
  const auto of = [](char const* text) { return ObjRef(tcl::new_text(text)); };
  EXPECT_EQ(tcl::int_of(of("0x10").get()), 16);
  EXPECT_EQ(tcl::int_of(of("2147483647").get()), 2147483647);
  EXPECT_EQ(tcl::int_of(of("-2147483648").get()), -2147483647 - 1);
  EXPECT_EQ(tcl::int_of(of("4294967295").get()), -1) << "Tcl takes 32 bits with a sign or without";
  EXPECT_EQ(tcl::int_of(of("4294967296").get()), std::nullopt);
  EXPECT_EQ(tcl::int_of(of("9999999999").get()), std::nullopt);
  EXPECT_EQ(tcl::int_of(of("").get()), std::nullopt);
  EXPECT_EQ(tcl::wide_of(of("-9223372036854775808").get()), std::numeric_limits<Tcl_WideInt>::min());
  EXPECT_EQ(tcl::wide_of(of("18446744073709551616").get()), std::nullopt);
  EXPECT_EQ(tcl::wide_of(of("9999999999").get()), 9999999999);
  EXPECT_EQ(tcl::double_of(of("1e3").get()), 1000.0);
  EXPECT_EQ(tcl::double_of(of("x").get()), std::nullopt);
  EXPECT_EQ(tcl::bool_of(of("off").get()), false);
  EXPECT_EQ(tcl::bool_of(of("2").get()), true);
  EXPECT_EQ(tcl::bool_of(of("maybe").get()), std::nullopt);
}

TEST_F(TclValues, TextsGoToTheSystemAndBack) {
  EXPECT_EQ(tcl::from_system("a b"), "a b");
  EXPECT_EQ(tcl::to_system("a b"), "a b");
  EXPECT_EQ(tcl::from_system(""), "");
  EXPECT_EQ(tcl::to_system(tcl::from_system(std::string(10000, 'x'))), std::string(10000, 'x'));
}

TEST_F(TclValues, TheReasonGoesToTheInterpreterThatIsGiven) {
  Tcl_Interp* const interp = Tcl_CreateInterp();
  const ObjRef word(tcl::new_text("x"));
  EXPECT_FALSE(tcl::int_of(word.get()));
  EXPECT_STREQ(Tcl_GetStringResult(interp), "");
  EXPECT_FALSE(tcl::int_of(word.get(), interp));
  EXPECT_STREQ(Tcl_GetStringResult(interp), "expected integer but got \"x\"");
  EXPECT_FALSE(tcl::elements_of(ObjRef(tcl::new_text("{")).get(), interp));
  EXPECT_STREQ(Tcl_GetStringResult(interp), "unmatched open brace in list");
  Tcl_DeleteInterp(interp);
}

TEST_F(TclValues, AReferenceKeepsItsObject) {
  const ObjRef first(tcl::new_text("x"));
  EXPECT_EQ(first.get()->refCount, 1);
  {
    ObjRef second(first);
    EXPECT_EQ(first.get()->refCount, 2);
    second = ObjRef(tcl::new_text("y"));
    EXPECT_EQ(first.get()->refCount, 1);
    EXPECT_EQ(tcl::text_of(second.get()), "y");
  }
  EXPECT_EQ(first.get()->refCount, 1);
}

}  // namespace
