// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <navo/share.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "OnDevice.h"
#include "Outcome.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

constexpr Failure kBadParameters{NAVO_ERR_BAD_PARAMETERS, EINVAL, "share.cpp"};

TEST(ShareTest, NeedsANameAndAPlaceForTheRecord) {
    PNAVOSHARE share = nullptr;
    ExpectFailure([&] { return NAVOShareGet(nullptr, &share); }, -1, kBadParameters);
    ExpectFailure([&] { return NAVOShareGet("", &share); }, -1, kBadParameters);
    ExpectFailure([] { return NAVOShareGet("docs", nullptr); }, -1, kBadParameters);
    EXPECT_EQ(share, nullptr);
}

TEST(ShareTest, NoRecordCanBeGivenBack) {
    NAVOShareFree(nullptr);
}

class ShareOnDevice : public OnDeviceTest {
protected:
    // Expects that there is no share `name`, for the reason `failure`.
    static void ExpectNone(const char* name, const Failure& failure) {
        PNAVOSHARE share = nullptr;
        ExpectFailure([&] { return NAVOShareGet(name, &share); }, -1, failure);
        EXPECT_EQ(share, nullptr) << "touched on failure";
    }
};

TEST_F(ShareOnDevice, IsReadFromTheConfiguration) {
    WriteFile(kSmbConf,
              "[global]\n  include = /no/such/file\n"
              "[Docs]\n  path = /volume1/docs/\n"
              "[archive]\n  path = /volume2/archive\n  navo:scale volume = yes\n");
    PNAVOSHARE docs = nullptr;
    PNAVOSHARE archive = nullptr;
    ExpectSuccess([&] { return NAVOShareGet("docs", &docs); }, 0);
    ExpectSuccess([&] { return NAVOShareGet("ARCHIVE", &archive); }, 0);
    EXPECT_STREQ(docs->szName, "Docs");
    EXPECT_STREQ(docs->szPath, "/volume1/docs");
    EXPECT_EQ(docs->status, 0U);
    EXPECT_STREQ(archive->szPath, "/volume2/archive");
    EXPECT_EQ(archive->status, NAVO_SHARE_SCALE_VOLUME);
    NAVOShareFree(docs);
    NAVOShareFree(archive);
}

TEST_F(ShareOnDevice, IsUnknown) {
    WriteFile(kSmbConf, "[docs]\n  path = /volume1/docs\n");
    const Failure unknown{NAVO_ERR_NO_SUCH_SHARE, ENOENT, "share.cpp"};
    for (const char* name : {"none", "global", "homes", "docs/a", ".."}) {
        ExpectNone(name, unknown);
    }
}

TEST_F(ShareOnDevice, ChangeIsSeenAtOnce) {
    for (const char* path : {"/volume1/docs", "/volume2/docs"}) {
        WriteFile(kSmbConf, std::string("[docs]\npath = ") + path + "\n");
        PNAVOSHARE share = nullptr;
        ASSERT_EQ(NAVOShareGet("docs", &share), 0);
        EXPECT_STREQ(share->szPath, path);
        NAVOShareFree(share);
    }
}

TEST_F(ShareOnDevice, NeedsAConfigurationThatCanBeRead) {
    WriteFile(kSmbConf, "[docs\n");
    ExpectNone("docs", {NAVO_ERR_CONFIG, EINVAL, "share.cpp"});
    ASSERT_EQ(unlink(kSmbConf), 0);
    ExpectNone("docs", {NAVO_ERR_CONFIG, ENOENT, "share.cpp"});
}

std::vector<std::string> NamesOfShares() {
    std::vector<std::string> names;
    NAVOShareForEach(
        [](const NAVOSHARE* share, void* context) {
            static_cast<std::vector<std::string>*>(context)->push_back(std::string(share->szName) +
                                                                       " " + share->szPath);
        },
        &names);
    return names;
}

TEST_F(ShareOnDevice, AreListedByTheirNames) {
    WriteFile(kSmbConf,
              "[global]\n"
              "[photos]\n  path = /volume2/photos/\n"
              "[Docs]\n  path = /volume1/docs\n"
              "[homes]\n  path = /volume1/homes/%S\n"
              "[printers]\n  path = /var/spool\n"
              "[half]\n  path = relative\n");
    EXPECT_EQ(NamesOfShares(),
              (std::vector<std::string>{"Docs /volume1/docs", "homes /volume1/homes",
                                        "photos /volume2/photos"}));
}

TEST_F(ShareOnDevice, CannotBeListedWithoutAConfiguration) {
    unlink(kSmbConf);
    ExpectFailure([] { return NAVOShareForEach([](const NAVOSHARE*, void*) {}, nullptr); }, -1,
                  {NAVO_ERR_CONFIG, ENOENT, "share.cpp"});
}

TEST(ShareTest, CannotBeListedForNobody) {
    ExpectFailure([] { return NAVOShareForEach(nullptr, nullptr); }, -1, kBadParameters);
}

}  // namespace
}  // namespace navo::test
