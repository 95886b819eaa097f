// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_PLATFORMDOUBLE_H
#define VELLUMO_TESTS_PLATFORMDOUBLE_H

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

// A double of the platform's operations, between the library and libnavo. It records each call. A
// test may set the result of a call; all other calls go to libnavo.
namespace vellumo::test {

struct PlatformCall {
    std::string operation;               // such as "NAVOShareGet"
    std::vector<std::string> arguments;  // the strings and numbers among them, as text
};

void PrintTo(const PlatformCall& call, std::ostream* out);

class PlatformDouble {
public:
    static PlatformDouble& Get();

    // Discards the recorded calls, the answers and the failure.
    void Reset();

    const std::vector<PlatformCall>& Calls() const { return _calls; }
    std::vector<PlatformCall> CallsOf(const std::string& operation) const;

    // Sets the function that answers every call from now on. A value is the call's result, and the
    // call has no other effect; with nullopt the call goes to libnavo.
    using Answer = std::function<std::optional<int>(const PlatformCall&)>;
    void SetAnswer(Answer answer) { _answer = std::move(answer); }

    // Makes the operation `name` return `result` and set errno to `error` from now on.
    void Always(const std::string& name, int result, int error = 0);

    // Makes the `k`-th call from now on (1 is the first) fail, among those that can fail.
    // FailedCall() returns the call once it has failed.
    void FailCall(int k);
    const std::optional<PlatformCall>& FailedCall() const { return _failedCall; }

    // For the operations of the double: records the call and returns the answer to it, if any.
    // `failure` is the operation's result on failure.
    std::optional<int> Note(const PlatformCall& call, int failure);

private:
    std::vector<PlatformCall> _calls;
    Answer _answer;
    int _failAt = 0;
    int _fallible = 0;
    std::optional<PlatformCall> _failedCall;
};

}  // namespace vellumo::test

#endif
