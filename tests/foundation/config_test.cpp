// Configuration trees: both notations, read and written.
#include <gtest/gtest.h>

#include <limits>

#include "foundation/config/notation.h"
#include "foundation/exceptions.h"
#include "support/faults.h"
#include "support/random.h"
#include "support/temp_folder.h"

namespace nmp::config {
namespace {

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr Format kFormats[] = {Format::kAcfg, Format::kJson};

/// "line: message" of the refusal, marked where the text ended too early; or nothing.
std::string refusal(std::string_view text, Format format) {
  try {
    parse(text, format);
  } catch (const EndOfStreamException& e) {
    return std::to_string(e.line()) + ": end: " + e.message();
  } catch (const ParseException& e) {
    return std::to_string(e.line()) + ": " + e.message();
  }
  return "";
}

using Refused = std::pair<std::string, std::string>;
void expect_refusals(const std::vector<Refused>& cases, Format format) {
  for (const auto& [text, message] : cases) EXPECT_EQ(refusal(text, format), message) << text;
}

TEST(Acfg, ReadsValuesSeparatedByBlankSpace) {
  const Value root = parse_acfg(
      "\xef\xbb\xbf// {\r\n\t{ Digits:100 b\n: -007 //no:comment:1\n"
      "\\\"a\\\\: \"x\\\"y\\\\\r\n// z\" // \"\n"
      "List:[1 \"2\"\"3\"[-9223372036854775807 {}] ] !/.~:[]}//");
  const Object& object = root.object();
  EXPECT_EQ(root.line(), 2u);
  ASSERT_EQ(object.members().size(), 5u);
  EXPECT_EQ(object.integer("Digits"), 100);
  EXPECT_EQ(object.integer("b"), -7);
  EXPECT_EQ(object.at("b").line(), 3u);
  EXPECT_EQ(object.string("\"a\\"), "x\"y\\\r\n// z");
  const std::vector<Value>& list = object.array("List").values();
  ASSERT_EQ(list.size(), 4u);
  EXPECT_EQ(object.at("List").line(), 6u) << "the string before has a line break in it";
  EXPECT_EQ(list[2].string(), "3");
  EXPECT_EQ(list[3].array().values()[0].integer(), -kLargest);
  EXPECT_TRUE(list[3].array().values()[1].object().members().empty());
  EXPECT_TRUE(object.array("!/.~").values().empty());
  EXPECT_EQ(parse_acfg("[1 2 3]").array().values().size(), 3u);
  EXPECT_EQ(parse_acfg("{ Digits : 100 }"), parse_acfg("{Digits:100}"));
}

TEST(Acfg, RefusesWithALineAndAReason) {
  const std::string end = ": end: Unexpected end of stream.";
  const std::string comma = ": Don't use commas to separate elements.";
  const std::string key = ": Invalid character in identifier.";
  expect_refusals({{"", "1" + end},
                   {"//\n\n // x", "3" + end},
                   {"5", "1" + end},
                   {"\"abc", "1" + end},
                   {"\"abc\\", "1" + end},
                   {"[1\n2\n", "3" + end},
                   {"{a", "1" + end},
                   {"{a:", "1" + end},
                   {"{a:1\n//}", "2" + end},
                   {"/ /", "1: Invalid integer literal."},
                   {"[1, 2]", "1" + comma},
                   {"\n[1 ,2]", "2" + comma},
                   {"[9,]", "1" + comma},
                   {"{a:,}", "1" + comma},
                   {"{a:1,b:2}", "1" + comma},
                   {"{a:\"1\",b:2}", "1" + key},
                   {"]", "1: Unexpected ']'."},
                   {"{a:]}", "1: Unexpected ']'."},
                   {"[}", "1: Unexpected '}'."},
                   {"{a:1}}", "1: Unexpected '}'."},
                   {"{} 1", "1: Unexpected text after the value."},
                   {"[9223372036854775808]", "1: Integer literal is too large."},
                   {"[-9223372036854775808]", "1: Integer literal is too large."},
                   {"[99999999999999999999999999]", "1: Integer literal is too large."},
                   {"[12a]", "1: Invalid integer literal."},
                   {"[1\"\"]", "1: Invalid integer literal."},
                   {"[-]", "1: Invalid integer literal."},
                   {"[true]", "1: Invalid integer literal."},
                   {"[\"\n\\n\"]", "2: Invalid escape character: n"},
                   {"{a\\b:1}", "1: Invalid escape character: b"},
                   {"{Digits 100}", "1: Expected colon after identifier."},
                   {"{a\"x\"}", "1: Expected colon after identifier."},
                   {"{:1}", "1: Expected identifier."},
                   {"{\"a\":1}", "1: Expected identifier."},
                   {"{a{:1}", "1" + key},
                   {"{]", "1" + key},
                   {"{\xc3\xa4:1}", "1" + key},
                   {"{a:1\nb:2\na:3}", "3: Duplicate key in object."}},
                  Format::kAcfg);
}

TEST(Json, ReadsWhatATreeCanHold) {
  const Value root = parse_json(
      "{\"a\" : -0,\"b\":[1,\n\"\\u00e4\\u20AC\\ud83d\\ude00\\u0000\\/\\b\\t\", {}, []],"
      "\"\\\"\\\\\":9223372036854775807}");
  EXPECT_EQ(root.object().integer("a"), 0);
  EXPECT_EQ(root.object().integer("\"\\"), kLargest);
  const std::vector<Value>& list = root.object().array("b").values();
  EXPECT_EQ(list[1].string(), std::string("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\0/\b\t", 13));
  EXPECT_EQ(list[1].line(), 2u);
  EXPECT_EQ(list.size(), 4u);
  EXPECT_EQ(parse_json("7").integer(), 7);
}

TEST(Json, RefusesWithALineAndAReason) {
  const std::string end = ": end: Unexpected end of stream.", number = ": Invalid integer literal.";
  const std::string unicode = ": Invalid Unicode escape.";
  const std::string words = ": \"true\", \"false\" and \"null\" are not supported.";
  expect_refusals({{"[1", "1" + end},
                   {"{\"a", "1" + end},
                   {"\"\\u12", "1" + end},
                   {"{a:1}", "1: Expected object key string."},
                   {"{\"a\":1 \"b\":2}", "1: Expected ',' before object key string."},
                   {"{\"a\":1,\n,\"b\":2}", "2: Unexpected ','."},
                   {"{,}", "1: Unexpected ','."},
                   {"{\"a\":1,}", "1: Unexpected '}'."},
                   {"{\"a\":}", "1: Unexpected '}'."},
                   {"{\"a\":1,\"a\":1}", "1: Duplicate key in object."},
                   {"{\"a\" 1}", "1: Expected colon after identifier."},
                   {"{\"\":1}", "1: Expected identifier."},
                   {"{\"a b\":1}", "1: Invalid character in identifier."},
                   {"{\"//\":1}", "1: An identifier cannot start like a comment."},
                   {"[1 2]", "1: Expected ',' before array element."},
                   {"[,1]", "1: Unexpected ','."},
                   {"[1,]", "1: Unexpected ']'."},
                   {"[1]]", "1: Unexpected ']'."},
                   {"[1.5]", "1: Numbers must be integers."},
                   {"[1e5]", "1: Numbers must be integers."},
                   {"[01]", "1" + number},
                   {"[-]", "1" + number},
                   {"[x]", "1" + number},
                   {"9223372036854775808", "1: Integer literal is too large."},
                   {"[\ntrue]", "2" + words},
                   {"[null]", "1" + words},
                   {"\"\\x\"", "1: Invalid escape character: x"},
                   {"\"\\u12g4\"", "1" + unicode},
                   {"\"\\ud800x\"", "1" + unicode},
                   {"\"\\ud800\\u0041\"", "1" + unicode},
                   {"\"\\udc00\"", "1" + unicode},
                   {"\"\\ud800\\ud800\"", "1" + unicode},
                   {"\"a\tb\"", "1: Control character in string."}},
                  Format::kJson);
}

TEST(Notations, DepthIsLimited) {
  for (const Format format : kFormats) {
    const std::string most(1000, '['), ends(1000, ']');
    EXPECT_EQ(refusal(most + ends, format), "");
    EXPECT_EQ(refusal("[" + most + ends + "]", format),
              "1: Arrays and objects are nested too deeply.");
    EXPECT_NE(refusal(std::string(1'000'000, '['), format), "");
    const Value deepest = parse(most + ends, format);
    EXPECT_EQ(parse(write(deepest, format), format), deepest);
  }
  Object root;
  Object* below = &root;
  for (int depth = 1; depth < 1000; ++depth) below = &below->add_object("a");
  EXPECT_THROW(below->add_object("a"), InvalidParametersException);
  EXPECT_THROW(below->add_array("a"), InvalidParametersException);
  for (const Format format : kFormats) EXPECT_EQ(refusal(write(root, format), format), "");
}

TEST(ConfigObject, AddsAndFinds) {
  Object root;
  root.add_string("Mode", "ram");
  Object& size = root.add_object("Size");
  for (int i = 0; i < 100; ++i) root.add_integer("i" + std::to_string(i), i);
  size.add_integer("Digits", 5);
  const auto refuse = [&](const char* key, const char* message) {
    test::expect_fault<InvalidParametersException>("config::Object::add()", message,
                                                   [&] { root.add_integer(key, 1); });
  };
  for (const char* key : {"Mode", "Size", "i99"}) refuse(key, "Attempted to add an existing key.");
  refuse("", "Expected identifier.");
  for (const char* key : {"a b", "a:", "{", "a,", "\n"})
    refuse(key, "Invalid character in identifier.");
  refuse("//a", "An identifier cannot start like a comment.");
  EXPECT_THROW(root.add_integer("i", -kLargest - 1), InvalidParametersException);

  EXPECT_EQ(root.object("Size").integer("Digits"), 5);
  EXPECT_EQ(root.integer("i99"), 99);
  EXPECT_EQ(root.find("mode"), nullptr);
  test::expect_fault<KeyNotFoundException>("config::Object::at()", "Key not found: Path",
                                           [&] { root.string("Path"); });
  test::expect_fault<ParseException>("config::Object", "\"Mode\" must be an integer.",
                                     [&] { root.integer("Mode"); });
  test::expect_fault<ParseException>("config::Object", "\"Size\" must be an array.",
                                     [&] { root.array("Size"); });
  EXPECT_THROW(root.object("Mode"), ParseException);
  EXPECT_THROW(root.at("Size").string(), ParseException);
}

TEST(Notations, AreLaidOutForPeople) {
  Object root;
  root.add_string("Action", "a \"b\"\\");
  root.add_section("First line,\nsecond line.");
  Object& object = root.add_object("Job");
  object.add_array("List").add_integer(-1);
  object.add_object("Empty");
  const std::string slashes(79, '/');
  const std::string acfg =
      "//  numforge Configuration File\r\n{\r\n    Action : \"a \\\"b\\\"\\\\\"\r\n\r\n" + slashes +
      "\r\n//  First line,\r\n//  second line.\r\n    Job : {\r\n"
      "        List : [-1]\r\n        Empty : {}\r\n    }\r\n}\r\n";
  EXPECT_EQ(write(root, Format::kAcfg), acfg);
  EXPECT_EQ(write(root, Format::kJson),
            "{\r\n    \"Action\": \"a \\\"b\\\"\\\\\",\r\n    \"Job\": {\r\n"
            "        \"List\": [-1],\r\n        \"Empty\": {}\r\n    }\r\n}\r\n");

  const test::TempFolder folder;
  save(folder / "job.cfg", root, Format::kAcfg);
  EXPECT_EQ(test::contents(folder / "job.cfg"), acfg);
  EXPECT_EQ(write(load(folder / "job.cfg", Format::kAcfg), Format::kJson),
            write(root, Format::kJson));
  EXPECT_THROW(load(folder / "none.cfg", Format::kAcfg), FileIO::FileException);
  test::put_file(folder / "big.cfg", std::string(17 << 20, ' '));
  EXPECT_THROW(load(folder / "big.cfg", Format::kAcfg), FileIO::FileException);
  EXPECT_EQ(format_by_name("json"), Format::kJson);
  EXPECT_EQ(format_by_name("acfg"), Format::kAcfg);
  test::expect_fault<InvalidParametersException>(
      "config::format_by_name()", "Invalid config type: JSON", [] { format_by_name("JSON"); });
}

class RandomTrees : public test::RandomTest {
 protected:
  std::string bytes() {
    std::string text(rng_.below(12), '\0');
    for (char& c : text)
      c = static_cast<char>(rng_.below(2) == 0 ? rng_.below(256) : "\"\\/\n"[rng_.below(4)]);
    return text;
  }
  std::string key(std::size_t number) {
    constexpr std::string_view kCharacters = "\"\\/#$%&'()*+-.=?@^_|~aZ9";
    std::string text = std::to_string(number);  // no two are equal
    for (std::uint64_t i = rng_.below(8); i > 0; --i)
      text += kCharacters[rng_.below(kCharacters.size())];
    return text;
  }
  std::int64_t integer() {
    return (static_cast<std::int64_t>(rng_.u64() >> 1) >> rng_.below(64)) *
           (rng_.below(2) ? 1 : -1);
  }
  /// Adds anything to a container; `key` is nothing for an array.
  template <typename Container, typename... Key>
  void add(Container& container, int depth, const Key&... key) {
    switch (rng_.below(depth > 0 ? 4 : 2)) {
      case 0:
        container.add_integer(key..., integer());
        break;
      case 1:
        container.add_string(key..., bytes());
        break;
      case 2:
        fill(container.add_object(key...), depth - 1);
        break;
      default:
        fill(container.add_array(key...), depth - 1);
    }
  }
  void fill(Object& object, int depth) {
    for (std::uint64_t i = rng_.below(6); i > 0; --i) {
      if (rng_.below(4) == 0) object.add_section(bytes());
      add(object, depth, key(i));
    }
  }
  void fill(Array& array, int depth) {
    for (std::uint64_t i = rng_.below(6); i > 0; --i) add(array, depth);
  }
};

TEST_F(RandomTrees, ReadBackUnchangedInBothNotations) {
  for (int round = 0; round < 300; ++round) {
    Object built;
    fill(built, 4);
    const Value acfg = parse_acfg(write(built, Format::kAcfg));
    const Value json = parse_json(write(acfg, Format::kJson));
    EXPECT_EQ(acfg, json);
    EXPECT_EQ(write(json, Format::kJson), write(built, Format::kJson));
    EXPECT_EQ(parse_acfg(write(json, Format::kAcfg)), acfg);
  }
}

}  // namespace
}  // namespace nmp::config
