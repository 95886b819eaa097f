// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/ObjectText.h"

#include <gmock/gmock.h>

namespace vellumo::loader {
namespace {

struct Change {
    const char* before;
    const char* after;
};

TEST(ObjectText, ReplacesTheValueOfAMember) {
    constexpr Change kChanges[] = {
        {R"({"a":1})", R"({"a":9})"},
        {R"({"a": [1, {"a": 2}], "b": 3})", R"({"a": 9, "b": 3})"},
        {R"({"b": {"a": 1}, "a": "x\"}"})", R"({"b": {"a": 1}, "a": 9})"},
        {"{/* \"a\": 1 */ \"a\" /* } */ : /* , */ true}",
         "{/* \"a\": 1 */ \"a\" /* } */ : /* , */ 9}"},
        {"// {\n{ // \"a\": 1,\n\"a\": null}", "// {\n{ // \"a\": 1,\n\"a\": 9}"},
        {R"({"\u0061": 1})", R"({"\u0061": 9})"},
        {R"({"b": ["]", "\\", /* ] */ 1], "a": 2})", R"({"b": ["]", "\\", /* ] */ 1], "a": 9})"},
    };
    for (const Change& change : kChanges) {
        ObjectText text(change.before);
        text.Set("a", "9");
        EXPECT_EQ(text.Text(), change.after);
    }
}

TEST(ObjectText, AddsAMemberAtTheEnd) {
    constexpr Change kChanges[] = {
        {"{}\n", "{\n    \"a\": 9\n}\n"},
        {"{ }", "{\n    \"a\": 9\n }"},
        {"{\"b\":1}", "{\"b\":1,\n    \"a\": 9\n}"},
        {"{\n  \"b\": 1 // one\n}\n", "{\n  \"b\": 1, // one\n    \"a\": 9\n}\n"},
        {"{ // nothing }\n}", "{ // nothing }\n    \"a\": 9\n}"},
        {"{\"b\": {\"a\": 1}} // }", "{\"b\": {\"a\": 1},\n    \"a\": 9\n} // }"},
    };
    for (const Change& change : kChanges) {
        ObjectText text(change.before);
        text.Set("a", "9");
        EXPECT_EQ(text.Text(), change.after);
    }
}

TEST(ObjectText, RemovesAMemberAndKeepsComments) {
    constexpr Change kChanges[] = {
        {"{\"a\":1}", "{}"},
        {"{\"a\":1,\"b\":2}", "{\"b\":2}"},
        {"{\"b\":2,\"a\":1}", "{\"b\":2}"},
        {"{\n  \"b\": 2, // two\n  \"a\": 1\n}\n", "{\n  \"b\": 2 // two\n}\n"},
        {"{\n  \"a\": 1,\n  \"b\": 2\n}\n", "{\n  \"b\": 2\n}\n"},
        {"{\n  \"a\": 1, // one\n  \"b\": 2\n}\n", "{\n   // one\n  \"b\": 2\n}\n"},
        {"{\n  \"a\": [\n    1\n  ]\n}", "{\n}"},
        {"{\"b\": {\"a\": 1}}", "{\"b\": {\"a\": 1}}"},
    };
    for (const Change& change : kChanges) {
        ObjectText text(change.before);
        text.Remove("a");
        EXPECT_EQ(text.Text(), change.after);
    }
}

TEST(ObjectText, RemovesTheLastMemberOfATextWithoutALineEndAtItsEnd) {
    ObjectText text("{\n  \"a\": 1}");
    text.Remove("a");
    EXPECT_EQ(text.Text(), "{\n  }");
    text.Set("b", "2");
    EXPECT_EQ(text.Text(), "{\n    \"b\": 2\n  }");
}

TEST(ObjectText, TakesSeveralChanges) {
    ObjectText text("{}\n");
    text.Set("a", "1");
    text.Set("b", "2");
    text.Set("a", "[3]");
    text.Remove("b");
    EXPECT_EQ(text.Text(), "{\n    \"a\": [3]\n}\n");
}

}  // namespace
}  // namespace vellumo::loader
