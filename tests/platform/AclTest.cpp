// SPDX-License-Identifier: Apache-2.0
#include <navo/acl.h>
#include <unistd.h>

#include "Outcome.h"
#include "TestDirectory.h"

using namespace navo::test;

namespace {

struct ModeCase {
    mode_t mode;
    unsigned mask;
};

class AclTest : public DirectoryTest {};

}  // namespace

TEST_F(AclTest, MaskIsWhatTheEffectiveIdsMayDo) {
    for (const ModeCase expected :
         {ModeCase{0644, 4}, {0646, 6}, {0601, 1}, {0607, 7}, {0770, 0}}) {
        WriteFile(At("file"), "content");
        chmod(At("file").c_str(), expected.mode);
        const OrdinaryUser user;
        if (!user) {
            GTEST_SKIP() << "skipped: needs an ordinary user";
        }
        if (geteuid() == StatusOf(At("file")).st_uid) {
            GTEST_SKIP() << "skipped: needs a file of somebody else's";
        }
        unsigned mask = 99;
        ExpectSuccess([&] { return NAVOACLPermGet(At("file").c_str(), &mask); }, 0);
        EXPECT_EQ(mask, expected.mask) << std::oct << expected.mode;
    }
}

TEST_F(AclTest, RootMayExecuteOnlyWhatSomebodyMay) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "skipped: needs root";
    }
    WriteFile(At("file"), "content", 0600);
    unsigned mask = 99;
    EXPECT_EQ(NAVOACLPermGet(At("file").c_str(), &mask), 0);
    EXPECT_EQ(mask, NAVO_ACL_READ | NAVO_ACL_WRITE);
}

TEST_F(AclTest, LinksAreFollowed) {
    WriteFile(At("file"), "content", 0644);
    ASSERT_EQ(symlink("file", At("link").c_str()), 0);
    unsigned mask = 0;
    EXPECT_EQ(NAVOACLPermGet(At("link").c_str(), &mask), 0);
    EXPECT_TRUE(mask & NAVO_ACL_READ);
}

TEST_F(AclTest, AMissingFileFails) {
    ASSERT_EQ(symlink("nothing", At("dangling").c_str()), 0);
    unsigned mask = 99;
    for (const char* name : {"missing", "dangling"}) {
        ExpectFailure([&] { return NAVOACLPermGet(At(name).c_str(), &mask); }, -1,
                      {NAVO_ERR_IO, ENOENT, "acl.cpp"});
    }
    EXPECT_EQ(mask, 99U);
}

TEST_F(AclTest, WhatLiesInAClosedFolderFails) {
    ASSERT_EQ(mkdir(At("closed").c_str(), 0700), 0);
    WriteFile(At("closed/file"), "content");
    chmod(At("closed").c_str(), 0600);
    const OrdinaryUser user;
    if (!user) {
        GTEST_SKIP() << "skipped: needs an ordinary user";
    }
    unsigned mask = 99;
    ExpectFailure([&] { return NAVOACLPermGet(At("closed/file").c_str(), &mask); }, -1,
                  {NAVO_ERR_NO_PERMISSION, EACCES, "acl.cpp"});
    EXPECT_EQ(mask, 99U);
}

TEST_F(AclTest, BadParametersAreRefused) {
    unsigned mask = 99;
    const Failure refused{NAVO_ERR_BAD_PARAMETERS, EINVAL, "acl.cpp"};
    ExpectFailure([&] { return NAVOACLPermGet(nullptr, &mask); }, -1, refused);
    ExpectFailure([&] { return NAVOACLPermGet("", &mask); }, -1, refused);
    ExpectFailure([&] { return NAVOACLPermGet("/", nullptr); }, -1, refused);
    EXPECT_EQ(mask, 99U);
}
