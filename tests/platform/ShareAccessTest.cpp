// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <navo/share.h>
#include <unistd.h>

#include "OnDevice.h"
#include "Outcome.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "shareaccess.cpp"};
constexpr NAVOSHAREFILE kFile{"docs", "/x/a.docx", "root"};

TEST(ShareAccessTest, NeedsAFileAndAPlaceForTheAnswer) {
    PNAVOSHAREROOT root = nullptr;
    NAVOShareRefusal refusal = NAVO_SHARE_NOT_REFUSED;
    for (const NAVOSHAREFILE& file :
         {NAVOSHAREFILE{nullptr, "a", "root"}, NAVOSHAREFILE{"", "a", "root"},
          NAVOSHAREFILE{"docs", nullptr, "root"}, NAVOSHAREFILE{"docs", "a", nullptr},
          NAVOSHAREFILE{"docs", "x/../../a", "root"}, NAVOSHAREFILE{"docs", "..", "root"}}) {
        ExpectFailure([&] { return NAVOShareRootGet(&file, &root); }, -1, kBadParameters);
        ExpectFailure([&] { return NAVOShareAccessGet(&file, nullptr, &refusal); }, -1,
                      kBadParameters);
    }
    ExpectFailure([&] { return NAVOShareRootGet(nullptr, &root); }, -1, kBadParameters);
    ExpectFailure([] { return NAVOShareRootGet(&kFile, nullptr); }, -1, kBadParameters);
    ExpectFailure([] { return NAVOShareAccessGet(&kFile, nullptr, nullptr); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOShareAccessGet(&kFile, "host", &refusal); }, -1, kBadParameters);
    EXPECT_EQ(root, nullptr);
}

TEST(ShareAccessTest, NeedsAnAccount) {
    NAVOShareRefusal refusal = NAVO_SHARE_FILE_VETOED;
    const NAVOSHAREFILE file{"docs", "a", "no-such-user"};
    ExpectFailure([&] { return NAVOShareAccessGet(&file, nullptr, &refusal); }, -1,
                  {NAVO_ERR_NO_SUCH_USER, ENOENT, "shareaccess.cpp"});
    EXPECT_EQ(refusal, NAVO_SHARE_FILE_VETOED) << "touched on failure";
}

TEST(ShareAccessTest, NoRootCanBeGivenBack) {
    NAVOShareRootFree(nullptr);
}

class ShareAccessOnDevice : public OnDeviceTest {};

TEST_F(ShareAccessOnDevice, TellsTheRoot) {
    WriteFile(kSmbConf, "[docs]\npath = /volume1/docs\n");
    PNAVOSHAREROOT root = nullptr;
    ExpectSuccess([&] { return NAVOShareRootGet(&kFile, &root); }, 0);
    EXPECT_STREQ(root->szRoot, "/volume1/docs");
    EXPECT_STREQ(root->szPath, "x/a.docx");
    EXPECT_EQ(root->links, NAVO_SHARE_INSIDE_LINKS);
    NAVOShareRootFree(root);
}

TEST_F(ShareAccessOnDevice, TellsTheRootOfAHome) {
    WriteFile(kSmbConf, "[homes]\npath = /volume1/homes/%S\n");
    const NAVOSHAREFILE file{"home", "/a.docx", "root"};
    PNAVOSHAREROOT root = nullptr;
    ExpectSuccess([&] { return NAVOShareRootGet(&file, &root); }, 0);
    EXPECT_STREQ(root->szRoot, "/volume1/homes/root");
    EXPECT_STREQ(root->szPath, "a.docx");
    NAVOShareRootFree(root);
}

TEST_F(ShareAccessOnDevice, TellsWhoMayRead) {
    NAVOShareRefusal refusal = NAVO_SHARE_FILE_VETOED;
    WriteFile(kSmbConf, "[docs]\npath = /volume1/docs\nhosts allow = 10.\n");
    ExpectSuccess([&] { return NAVOShareAccessGet(&kFile, nullptr, &refusal); }, 0);
    EXPECT_EQ(refusal, NAVO_SHARE_NOT_REFUSED);
    ExpectSuccess([&] { return NAVOShareAccessGet(&kFile, "11.0.0.1", &refusal); }, 0);
    EXPECT_EQ(refusal, NAVO_SHARE_HOST_REFUSED);
}

TEST_F(ShareAccessOnDevice, FailsWithoutAShareOrAConfiguration) {
    PNAVOSHAREROOT root = nullptr;
    NAVOShareRefusal refusal = NAVO_SHARE_NOT_REFUSED;
    WriteFile(kSmbConf, "[other]\npath = /o\n");
    const Failure unknown{NAVO_ERR_NO_SUCH_SHARE, ENOENT, "shareaccess.cpp"};
    ExpectFailure([&] { return NAVOShareRootGet(&kFile, &root); }, -1, unknown);
    ExpectFailure([&] { return NAVOShareAccessGet(&kFile, nullptr, &refusal); }, -1, unknown);
    ASSERT_EQ(unlink(kSmbConf), 0);
    const Failure missing{NAVO_ERR_CONFIG, ENOENT, "shareaccess.cpp"};
    ExpectFailure([&] { return NAVOShareRootGet(&kFile, &root); }, -1, missing);
    ExpectFailure([&] { return NAVOShareAccessGet(&kFile, nullptr, &refusal); }, -1, missing);
    EXPECT_EQ(root, nullptr);
}

}  // namespace
}  // namespace navo::test
