// Tcl values as JSON.
#include "host/kdish/result_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "kdi/tcl/command.h"

namespace {

using kdish::Shape;
using nlohmann::json;

[[maybe_unused]] const bool kTclIsReady = (Tcl_FindExecutable(nullptr), true);

std::string of(std::string const& value, Shape const& shape) {
  const tcl::ObjRef object(tcl::new_text(value));
  return kdish::to_json(object.get(), shape);
}
std::string fault(std::string const& value, Shape const& shape) {
  try {
    of(value, shape);
  } catch (std::runtime_error const& error) {
    return error.what();
  }
  return "none";
}

const Shape kText{};
const Shape kInteger{Shape::Kind::integer, {}};
const Shape kNumber{Shape::Kind::number, {}};
const Shape kBoolean{Shape::Kind::boolean, {}};
const Shape kIntegers{Shape::Kind::list, {{"", false, kInteger}}};
const Shape kWrite{Shape::Kind::tuple, {{"address", false, kInteger}, {"comment", false, kText}}};
const Shape kEither{Shape::Kind::either, {{"", false, kIntegers}, {"", false, kText}}};
const Shape kDict{Shape::Kind::dict, {{"a", false, kInteger}, {"b", true, kIntegers}, {"*", false, kText}}};

TEST(ResultJson, FollowsTheShape) {
  EXPECT_EQ(of("17", kText), "\"17\"");
  EXPECT_EQ(of("17", kInteger), "17");
  EXPECT_EQ(of("123456789012345678901234567890", kInteger), "123456789012345678901234567890");
  EXPECT_EQ(of("1.5", kNumber), "1.5");
  EXPECT_EQ(of("1e20", kNumber), "1e+20");
  EXPECT_EQ(of("0x10", kNumber), "16.0");
  EXPECT_EQ(of("yes", kBoolean), "true");
  EXPECT_EQ(of("", kIntegers), "[]");
  EXPECT_EQ(of("1 2\t3", kIntegers), "[1,2,3]");
  EXPECT_EQ(of("4 {a b}", kWrite), R"({"address":4,"comment":"a b"})");
  EXPECT_EQ(of("1 2", kEither), "[1,2]");
  EXPECT_EQ(of("1 two", kEither), "\"1 two\"") << "nothing is left of the shape that does not fit";
  EXPECT_EQ(of("z {} b {1 2} a 3", kDict), R"({"z":"","b":[1,2],"a":3})");
}

TEST(ResultJson, RefusesWhatIsNotOfTheShapeAndSaysWhere) {
  EXPECT_EQ(fault("x", kInteger), "the result is not as declared: at the top: expected an integer, found \"x\"");
  for (char const* text : {"", "0x10", "1.0", "-", "-0", "01", "1 ", "\xD9\xA1"})
    EXPECT_NE(fault(text, kInteger), "none");
  const auto found = [](std::string const& expected, std::string const& text) {
    return "the result is not as declared: at the top: expected " + expected + ", found \"" + text + "\"";
  };
  for (char const* text : {"Inf", "NaN", "", "1,5", "x"})
    EXPECT_EQ(fault(text, kNumber), found("a finite number", text));
  EXPECT_EQ(fault("perhaps", kBoolean), found("a boolean", "perhaps"));
  EXPECT_EQ(fault("{", kIntegers), found("a list", "{"));
  EXPECT_EQ(fault("1 x", kIntegers), "the result is not as declared: [1]: expected an integer, found \"x\"");
  EXPECT_EQ(fault("1", kWrite), found("a list of 2", "1"));
  EXPECT_EQ(fault("1 2 3", kWrite), found("a list of 2", "1 2 3"));
  EXPECT_EQ(fault("a 1 b {1 {}}", kDict), "the result is not as declared: b[1]: expected an integer, found \"\"");
  EXPECT_EQ(fault("z 1", kDict), found("the key a", "z 1"));
  EXPECT_EQ(fault("a 1 a 2", kDict), found("a key that is declared, once", "a"));
  EXPECT_EQ(fault("a", kDict), found("a dictionary", "a"));
  const Shape closed{Shape::Kind::dict, {{"a", false, kInteger}}};
  EXPECT_EQ(fault("a 1 c 2", closed), found("a key that is declared, once", "c"));
}

TEST(ResultJson, TextsOfAnyCharactersComeBackFromAReader) {
  for (std::string const& text :
       {std::string("plain"), std::string("\"\\/\b\f\n\r\t\x01\x7F"), std::string("\xC3\xA4\xE2\x82\xAC")})
    EXPECT_EQ(json::parse(kdish::json_text(text)).get<std::string>(), text);
  EXPECT_EQ(json::parse(kdish::json_text("a\xC0\x80z")).get<std::string>(), std::string("a\0z", 3)) << "Tcl's zero";
  // a character outside the first plane, as Tcl holds it: two halves
  EXPECT_EQ(json::parse(kdish::json_text("\xED\xA0\xBD\xED\xB8\x80")).get<std::string>(), "\xF0\x9F\x98\x80");
  EXPECT_EQ(json::parse(kdish::json_text("\xED\xA0\xBD!")).get<std::string>(), "\xEF\xBF\xBD!") << "half of one";
  EXPECT_EQ(json::parse(kdish::json_text("\xED\xB8\x80")).get<std::string>(), "\xEF\xBF\xBD");
  EXPECT_EQ(json::parse(kdish::json_text("\xED\xA0\xBD")).get<std::string>(), "\xEF\xBF\xBD");
  for (int c = 1; c < 256; ++c)
    EXPECT_FALSE(json::parse(kdish::json_text(std::string(2, static_cast<char>(c))), nullptr, false).is_discarded())
        << c;
}

}  // namespace
