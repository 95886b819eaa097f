// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <navo/error.h>
#include <navo/file.h>
#include <navo/lock.h>

#include <thread>

#include "Outcome.h"

namespace navo::test {
namespace {

TEST(LastErrorTest, StartsAsNoErrorInEachThread) {
    NLIBCFileUnlockByFile(-1);
    LastError first;
    std::thread([&] { first = LastError(); }).join();
    EXPECT_EQ(first.code, NAVO_ERR_NONE);
    EXPECT_EQ(first.file, "");
    EXPECT_EQ(first.line, 0);
}

TEST(LastErrorTest, IsTheOneOfThisThread) {
    NLIBCFileUnlockByFile(-1);
    std::thread([] { NLIBCFileExist(""); }).join();
    EXPECT_EQ(NLIBCErrGet(), NAVO_ERR_LOCK_FAILED);
    EXPECT_STREQ(NLIBCErrorGetFile(), "lock.cpp");
}

TEST(LastErrorTest, IsReplacedByTheNextFailure) {
    NLIBCFileUnlockByFile(-1);
    const int before = NLIBCErrorGetLine();
    NLIBCFileExist(nullptr);
    EXPECT_EQ(NLIBCErrGet(), NAVO_ERR_BAD_PARAMETERS);
    EXPECT_STREQ(NLIBCErrorGetFile(), "file.cpp");
    EXPECT_NE(NLIBCErrorGetLine(), before);
}

TEST(LastErrorTest, SurvivesASuccess) {
    NLIBCFileUnlockByFile(-1);
    EXPECT_EQ(NLIBCFileExist("/"), TRUE);
    EXPECT_EQ(NLIBCErrGet(), NAVO_ERR_LOCK_FAILED);
}

}  // namespace
}  // namespace navo::test
