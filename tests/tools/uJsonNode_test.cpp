#include "tools/simulator/uJsonNode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

namespace OrvixModBus {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(JsonNode, ReadsWhatIsThere) {
  const nlohmann::json json = ParseJson(
      R"({"n": 7, "r": -1.5, "b": true, /* a remark */ "t": "Ж", "h": "0a FF", "l": [1, 2]})", "x");
  const TJsonNode root(json, "x:");
  EXPECT_EQ(root.Get("n").Integer(0, 7), 7U);
  EXPECT_EQ(root.Get("r").Real(), -1.5);
  EXPECT_EQ(root.Real("none", 2.5), 2.5);
  EXPECT_TRUE(root.Get("b").Boolean());
  EXPECT_EQ(root.Get("t").Text(), "Ж");
  EXPECT_THAT(root.Get("h").HexText(), ElementsAre(0x0A, 0xFF));
  EXPECT_EQ(root.Get("l").Items().at(1).Integer(0, 9), 2U);
  EXPECT_FALSE(root.Find("none").has_value());
}

TEST(JsonNode, TellsThePlaceOfWhatIsWrong) {
  using TRead = std::function<void(const TJsonNode&)>;
  const struct {
    const char* Json;
    TRead Read;
    const char* Message;
  } cases[] = {
      {"[]", [](const TJsonNode& n) { n.Get("a"); }, "f: must be an object"},
      {"{}", [](const TJsonNode& n) { n.Get("a"); }, "f: lacks \"a\""},
      {R"({"b": 1})", [](const TJsonNode& n) { n.AllowKeys({"a"}); }, "f: can't have \"b\""},
      {R"({"a": {}})", [](const TJsonNode& n) { n.Get("a").Items(); }, "f:/a must be a list"},
      {R"({"a": [0, 9]})", [](const TJsonNode& n) { n.Get("a").Items().at(1).Integer(1, 8); },
       "f:/a/1 must be 1 to 8"},
      {"-1", [](const TJsonNode& n) { n.Integer(0, 8); }, "f: must be 0 to 8"},
      {"1.5", [](const TJsonNode& n) { n.Integer(0, 8); }, "f: must be 0 to 8"},
      {"true", [](const TJsonNode& n) { n.Real(); }, "f: must be a number"},
      {"1", [](const TJsonNode& n) { n.Boolean(); }, "f: must be true or false"},
      {"1", [](const TJsonNode& n) { n.Text(); }, "f: must be a text"},
      {"\"123\"", [](const TJsonNode& n) { n.HexText(); },
       "f: must be pairs of hexadecimal digits"},
      {"\"1G\"", [](const TJsonNode& n) { n.HexText(); }, "f: must be pairs of hexadecimal digits"},
  };
  for (const auto& test : cases) {
    const nlohmann::json json = ParseJson(test.Json, "f");
    EXPECT_THAT([&] { test.Read(TJsonNode(json, "f:")); },
                testing::ThrowsMessage<Exception>(test.Message));
  }
}

TEST(JsonNode, TellsTheLineOfWhatIsNoJson) {
  EXPECT_THAT([] { ParseJson("{\n  \"a\": ,\n}", "f"); },
              testing::ThrowsMessage<Exception>(HasSubstr("f: line 2, column 8: syntax error")));
}

}  // namespace
}  // namespace OrvixModBus
