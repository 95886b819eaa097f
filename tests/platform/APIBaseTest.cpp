// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <json/value.h>
#include <navo/APIBase.h>

#include <string>

namespace navo::test {
namespace {

Json::Value Object(const std::string& key, const Json::Value& value) {
    Json::Value object(Json::objectValue);
    object[key] = value;
    return object;
}

class APIBaseTest : public testing::Test {
protected:
    std::string Text(const std::string& category, const std::string& key) const {
        return base.GetData(category, key, "none").asString();
    }

    NAVO::APIBase base;
};

TEST_F(APIBaseTest, HasNothingAtFirst) {
    EXPECT_FALSE(base.HasData("path", "user"));
    EXPECT_EQ(Text("path", "user"), "none");
    EXPECT_FALSE(base.ClearData("path", "user"));
}

TEST_F(APIBaseTest, GivesBackWhatWasSet) {
    EXPECT_TRUE(base.SetData("path", "user", "ann", true));
    EXPECT_TRUE(base.HasData("path", "user"));
    EXPECT_EQ(Text("path", "user"), "ann");
}

TEST_F(APIBaseTest, KeepsCategoriesApart) {
    base.SetData("path", "user", "ann", true);
    EXPECT_FALSE(base.HasData("other", "user"));
}

TEST_F(APIBaseTest, HasANullValue) {
    base.SetData("path", "user", Json::Value(), true);
    EXPECT_TRUE(base.HasData("path", "user"));
    EXPECT_TRUE(base.GetData("path", "user", "none").isNull());
}

TEST_F(APIBaseTest, GivesTheVeryDefaultForAnAbsentKey) {
    const Json::Value fallback("fallback");
    EXPECT_EQ(&base.GetData("path", "user", fallback), &fallback);
}

TEST_F(APIBaseTest, ReplacesAMemberOnlyWhenToldTo) {
    base.SetData("path", "user", "ann", true);
    EXPECT_FALSE(base.SetData("path", "user", "bob", false));
    EXPECT_EQ(Text("path", "user"), "ann");
    EXPECT_TRUE(base.SetData("path", "user", "bob", true));
    EXPECT_EQ(Text("path", "user"), "bob");
}

TEST_F(APIBaseTest, SetsANewMemberWithoutOverwriting) {
    EXPECT_TRUE(base.SetData("path", "user", "ann", false));
    EXPECT_EQ(Text("path", "user"), "ann");
}

TEST_F(APIBaseTest, ReplacesACategoryOnlyWhenToldTo) {
    base.SetData("path", "user", "ann", true);
    EXPECT_FALSE(base.SetData("path", Object("user", "bob"), false));
    EXPECT_EQ(Text("path", "user"), "ann");
    EXPECT_TRUE(base.SetData("path", Object("type", "pdf"), true));
    EXPECT_FALSE(base.HasData("path", "user"));
    EXPECT_EQ(Text("path", "type"), "pdf");
}

TEST_F(APIBaseTest, RefusesACategoryWithoutAName) {
    EXPECT_FALSE(base.SetData("", "user", "ann", true));
    EXPECT_FALSE(base.SetData("", Object("user", "ann"), true));
    EXPECT_FALSE(base.HasData("", "user"));
}

TEST_F(APIBaseTest, TakesAnEmptyKey) {
    EXPECT_TRUE(base.SetData("path", "", "ann", true));
    EXPECT_EQ(Text("path", ""), "ann");
}

TEST_F(APIBaseTest, RemovesAMemberOnce) {
    base.SetData("path", "user", "ann", true);
    EXPECT_TRUE(base.ClearData("path", "user"));
    EXPECT_FALSE(base.HasData("path", "user"));
    EXPECT_FALSE(base.ClearData("path", "user"));
}

TEST_F(APIBaseTest, ReadsACategoryThatIsNoObjectAsEmpty) {
    for (const Json::Value& value :
         {Json::Value(), Json::Value(7), Json::Value("text"), Json::Value(Json::arrayValue)}) {
        base.SetData("path", value, true);
        EXPECT_FALSE(base.HasData("path", "user")) << value.toStyledString();
        EXPECT_EQ(Text("path", "user"), "none") << value.toStyledString();
        EXPECT_FALSE(base.ClearData("path", "user")) << value.toStyledString();
    }
}

TEST_F(APIBaseTest, MakesAnObjectOfACategoryThatIsNone) {
    for (const Json::Value& value :
         {Json::Value(), Json::Value(7), Json::Value("text"), Json::Value(Json::arrayValue)}) {
        base.SetData("path", value, true);
        EXPECT_TRUE(base.SetData("path", "user", "ann", false)) << value.toStyledString();
        EXPECT_EQ(Text("path", "user"), "ann") << value.toStyledString();
    }
}

TEST_F(APIBaseTest, TakesAValueOfItsOwn) {
    base.SetData("path", "first", Object("deep", "text"), true);
    EXPECT_TRUE(base.SetData("path", base.GetData("path", "first", ""), true));
    EXPECT_EQ(Text("path", "deep"), "text");
}

}  // namespace
}  // namespace navo::test
