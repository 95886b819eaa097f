// SPDX-License-Identifier: Apache-2.0
// The manual pages of the programs beside the command line.
#include <regex>
#include <set>
#include <sstream>

#include "Tool.h"

using namespace vellumo::test;
using testing::SizeIs;

namespace {

const std::string kDeploy = VELLUMO_TOOL_SOURCES "/../../deploy";

using Words = std::set<std::string>;

Words Matches(const std::string& text, const std::string& pattern) {
    const std::regex expression(pattern);
    Words words;
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end;
         ++match) {
        words.insert((*match)[1]);
    }
    return words;
}

// The long options of the page, without the dashes.
Words OptionsOfPage(const std::string& page) {
    return Matches(page, "Fl -([a-z][a-z-]*)");
}

class OtherManualsTest : public ToolTest {
protected:
    static std::string Page(const std::string& path) { return ReadFile(kDeploy + "/" + path); }
};

}  // namespace

TEST_F(OtherManualsTest, AreWellFormed) {
    if (RunProgram({"mandoc", "-h", "-Tlint"}).status == 127) {
        GTEST_SKIP() << "skipped: mandoc is not installed";
    }
    for (const char* path : {"web/vellumo-web.8", "device/vellumo-device.1"}) {
        const Finished lint =
            RunProgram({"mandoc", "-Tlint", "-W", "warning", kDeploy + "/" + path});
        EXPECT_EQ(lint.status, 0) << path;
        EXPECT_EQ(lint.output, "");
    }
}

TEST_F(OtherManualsTest, ThatOfTheDeviceViewTellsItsOptionsAndNoOther) {
    const Words known = Matches(RunProgram({kDeploy + "/device/vellumo-device", "--help"}).output,
                                "\n  --([a-z]+) ");
    EXPECT_THAT(known, SizeIs(5));
    EXPECT_EQ(OptionsOfPage(Page("device/vellumo-device.1")), known);
}

TEST_F(OtherManualsTest, ThatOfTheWebServiceTellsItsOptionsAndNoOther) {
    // In its source, since the program is not built with the command line.
    const Words known = Matches(ReadFile(kDeploy + "/../web/service/main.cpp"), "\"  --([a-z-]+) ");
    EXPECT_THAT(known, SizeIs(5));
    EXPECT_EQ(OptionsOfPage(Page("web/vellumo-web.8")), known);
}

TEST_F(OtherManualsTest, ThatOfTheWebServiceTellsEachSetting) {
    const Words settings = Matches("\n" + ReadFile(kDeploy + "/web/web.conf"), "\n#([a-z-]+) = ");
    EXPECT_THAT(settings, SizeIs(testing::Ge(9U)));
    Words told;
    std::istringstream lines(Page("web/vellumo-web.8"));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(".It Cm ")) {
            told.merge(Matches(line.substr(6) + " ", " ([a-z-]+)(?= )"));
        }
    }
    EXPECT_EQ(told, settings);
}
