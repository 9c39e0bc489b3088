#include <gtest/gtest.h>

#include <string>

#include "vornix_host/detail/Json.h"

namespace {

using vornix_host::detail::Json;

TEST(Json, IsAnyWellFormedValue) {
  for (const char* text :
       {"0", "-1", "10.25", "1e9", "-0.5E-07", "true", "false", "null", "\"\"",
        R"("\"\\\/\b\u00eF<>")", "[]", "{}", "[1]", "[[],{}]", R"({"a":1})",
        R"({"a":[1,{"b":null}],"":"x"})", " \t\r\n{ \"a\" : [ 1 , 2 ] , \"b\" : { } } \n"}) {
    EXPECT_TRUE(Json::is(text)) << text;
  }
}

TEST(Json, IsNothingElse) {
  for (const char* text : {"",
                           " ",
                           "x",
                           "01",
                           "+1",
                           "1.",
                           ".5",
                           "1e",
                           "-",
                           "nul",
                           "True",
                           "NaN",
                           "[NaN]",
                           "1 2",
                           "\"",
                           "\"\\\"",
                           "\"\\x\"",
                           "\"\\u12g4\"",
                           "\"\t\"",
                           "[",
                           "]",
                           "[1",
                           "[1,]",
                           "[,1]",
                           "[1 2]",
                           "[1}",
                           "{",
                           "}",
                           "{1:2}",
                           "{\"a\"}",
                           "{\"a\":}",
                           "{\"a\":1,}",
                           "{\"a\":1",
                           "{\"a\" 1}",
                           "{} {}",
                           "[]]",
                           "{\"a\":1 \"b\":2}",
                           "[1,",
                           "'a'",
                           "//\n1",
                           "{,}"}) {
    EXPECT_FALSE(Json::is(text)) << text;
  }
}

TEST(Json, ThatIsCutOffIsNoJson) {
  const std::string whole = R"({"a":[1.5e3,"\u0041",true,{"b":null}],"c":{}})";
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_FALSE(Json::is(whole.substr(0, size))) << size;
  }
}

TEST(Json, MayBeAsDeepAsADocumentIsLong) {
  const std::string open(32767, '['), close(32767, ']');
  EXPECT_TRUE(Json::is(open + close));
  EXPECT_FALSE(Json::is(open + close.substr(1)));
}

}  // namespace
