// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_OUTCOME_H
#define NAVO_TESTS_OUTCOME_H

#include <gtest/gtest.h>
#include <navo/error.h>
#include <navo/file.h>
#include <navo/lock.h>

#include <cerrno>
#include <cstring>
#include <string>

// What an operation leaves behind for its caller beside its result: errno and the last error.
namespace navo::test {

struct LastError {
    int code = NLIBCErrGet();
    std::string file = NLIBCErrorGetFile();
    int line = NLIBCErrorGetLine();

    bool operator==(const LastError&) const = default;
};

// How an operation is expected to fail.
struct Failure {
    NAVOError code;
    int error;         // as in errno
    const char* file;  // the platform's source file that finds it
};

// Makes the last error one that is not `code`, so that a stale one does not pass for a new one.
inline void PlantOtherError(NAVOError code) {
    if (code == NAVO_ERR_LOCK_FAILED) {
        NLIBCFileExist("");
    } else {
        NLIBCFileUnlockByFile(-1);
    }
}

// Expects that `call` returns `result` and fails as `failure` says.
template <typename Call, typename Result>
void ExpectFailure(Call call, Result result, const Failure& failure,
                   int callerLine = __builtin_LINE()) {
    const testing::ScopedTrace trace(failure.file, callerLine, "called by the test at this line");
    PlantOtherError(failure.code);
    errno = 0;
    const Result returned = call();
    const int error = errno;
    EXPECT_EQ(returned, result);
    EXPECT_EQ(error, failure.error) << std::strerror(error);
    EXPECT_EQ(NLIBCErrGet(), failure.code);
    EXPECT_STREQ(NLIBCErrorGetFile(), failure.file);
    EXPECT_GT(NLIBCErrorGetLine(), 0);
}

// Expects that `call` returns `result` and leaves errno and the last error alone.
template <typename Call, typename Result>
void ExpectSuccess(Call call, Result result, int callerLine = __builtin_LINE()) {
    constexpr int kBystander = ENOTNAM;  // an error that nothing here gives
    const testing::ScopedTrace trace("test", callerLine, "called by the test at this line");
    const LastError before;
    errno = kBystander;
    const Result returned = call();
    const int error = errno;
    EXPECT_EQ(returned, result) << std::strerror(error);
    EXPECT_EQ(error, kBystander) << std::strerror(error);
    EXPECT_EQ(LastError(), before)
        << "the last error is 0x" << std::hex << NLIBCErrGet() << " (" << NLIBCErrorGetFile() << ':'
        << std::dec << NLIBCErrorGetLine() << ')';
}

}  // namespace navo::test

#endif
