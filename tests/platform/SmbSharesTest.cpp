// SPDX-License-Identifier: Apache-2.0
#include "smbshares.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "TestDirectory.h"

namespace navo::test {
namespace {

using NAVO::platform::FindHome;
using NAVO::platform::FindShare;
using NAVO::platform::Share;
using NAVO::platform::SmbConf;

class SmbSharesTest : public DirectoryTest {
protected:
    SmbConf Load(const std::string& text) const {
        WriteFile(At("smb.conf"), text);
        return SmbConf::Load(At("smb.conf")).value();
    }

    std::optional<Share> Find(const std::string& text, const std::string& name) const {
        return FindShare(Load(text), name);
    }

    // The path of the share `name`, "" when it is none.
    std::string PathOf(const std::string& text, const std::string& name) const {
        const auto share = Find(text, name);
        return share ? share->path : "";
    }

    // The home of ann, "" when there is none.
    std::string Home(const std::string& text, const std::string& accountHome = "/home/ann") const {
        return FindHome(Load(text), "ann", accountHome).value_or("");
    }
};

TEST_F(SmbSharesTest, AreSectionsWithAnAbsolutePath) {
    const auto share = Find("[Docs]\npath = /volume1/docs\n", "dOCS");
    ASSERT_TRUE(share);
    EXPECT_EQ(share->name, "Docs");
    EXPECT_EQ(share->path, "/volume1/docs");
    EXPECT_FALSE(share->isOnScaleVolume);
}

TEST_F(SmbSharesTest, AreNoSectionsWithoutOne) {
    const std::string text = "[a]\ncomment = x\n[b]\npath =\n[c]\npath = volume1/c\n[d]\npath = %H";
    for (const std::string name : {"a", "b", "c", "d", "e", ""}) {
        EXPECT_FALSE(Find(text, name)) << name;
    }
}

TEST_F(SmbSharesTest, AreNotGlobalAndPrinters) {
    const std::string text = "[Global]\npath = /g\n[PRINTERS]\npath = /p\n";
    for (const std::string name : {"global", "GLOBAL", "printers", "Printers", "p r i n t e r s"}) {
        EXPECT_FALSE(Find(text, name)) << name;
    }
}

TEST_F(SmbSharesTest, HaveNoSlashAtTheEnd) {
    EXPECT_EQ(PathOf("[docs]\npath = /volume1/docs//\n", "docs"), "/volume1/docs");
    EXPECT_EQ(PathOf("[docs]\npath = /\n", "docs"), "/");
}

TEST_F(SmbSharesTest, LieOnAScaleVolumeWhenTheOptionSaysSo) {
    EXPECT_TRUE(Find("[d]\npath = /d\nnavo:scale volume = yes\n", "d")->isOnScaleVolume);
    EXPECT_TRUE(Find("[d]\npath = /d\nNavo : ScaleVolume = On\n", "d")->isOnScaleVolume);
    EXPECT_FALSE(Find("[d]\npath = /d\nnavo:scale volume = no\n", "d")->isOnScaleVolume);
    EXPECT_FALSE(Find("[d]\npath = /d\nnavo = scale volume = yes\n", "d")->isOnScaleVolume);
    EXPECT_FALSE(Find("[global]\nnavo:scale volume = yes\n[d]\npath = /d\n", "d")->isOnScaleVolume);
}

TEST_F(SmbSharesTest, HomesIsTheFolderOfTheHomes) {
    EXPECT_EQ(PathOf("[homes]\npath = /volume1/homes/%S\n", "homes"), "/volume1/homes");
    EXPECT_EQ(PathOf("[HOMES]\npath = /volume1/%D/%U\n", "Homes"), "/volume1");
    EXPECT_EQ(PathOf("[homes]\npath = /%S\n", "homes"), "/");
    EXPECT_EQ(PathOf("[homes]\npath = /volume1/homes\n", "homes"), "/volume1/homes");
}

TEST_F(SmbSharesTest, HomesIsNoneWithoutAFolderOfTheHomes) {
    EXPECT_EQ(PathOf("[homes]\nbrowseable = no\n", "homes"), "");
    EXPECT_EQ(PathOf("[homes]\npath = %H/files\n", "homes"), "");
    EXPECT_EQ(PathOf("[docs]\npath = /d\n", "homes"), "");
}

TEST_F(SmbSharesTest, OnlyHomesHasVariables) {
    EXPECT_EQ(PathOf("[docs]\npath = /d/%U/x\n", "docs"), "/d/%U/x");
}

TEST_F(SmbSharesTest, HomeReplacesTheVariables) {
    EXPECT_EQ(Home("[homes]\npath = /volume1/homes/%S\n"), "/volume1/homes/ann");
    EXPECT_EQ(Home("[homes]\npath = /v/%U/%u/%S/\n"), "/v/ann/ann/ann");
    EXPECT_EQ(Home("[homes]\npath = /100%%/x-%S-y\n"), "/100%/x-ann-y");
    EXPECT_EQ(Home("[homes]\npath = /%%S\n"), "/%S");
    EXPECT_EQ(Home("[homes]\npath = /volume1/shared\n"), "/volume1/shared");
}

TEST_F(SmbSharesTest, HomeIsTheAccountsOwnWithoutAPath) {
    EXPECT_EQ(Home("[homes]\nbrowseable = no\n"), "/home/ann");
    EXPECT_EQ(Home("[homes]\npath =\n"), "/home/ann");
    EXPECT_EQ(Home("[docs]\npath = /d\n", "/home/ann/"), "/home/ann");
    EXPECT_EQ(Home("", "/home/%S"), "/home/%S") << "only the configuration has variables";
}

TEST_F(SmbSharesTest, HomeIsNoneWhenItIsNotKnown) {
    for (const std::string pattern : {"/h/%D/%S", "/h/%s", "/h/%", "%S", "homes/%S", "%H"}) {
        EXPECT_EQ(Home("[homes]\npath = " + pattern + "\n"), "") << pattern;
    }
    EXPECT_EQ(Home("", ""), "");
    EXPECT_EQ(Home("", "home/ann"), "");
}

}  // namespace
}  // namespace navo::test
