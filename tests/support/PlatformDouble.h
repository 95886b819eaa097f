// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_PLATFORMDOUBLE_H
#define VELLUMO_TESTS_PLATFORMDOUBLE_H

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

// The platform's operations between the library and libnavo: each call is noted down, and a test
// may answer it in the platform's place. What it does not answer, libnavo does.
namespace vellumo::test {

struct PlatformCall {
    std::string operation;               // such as "NAVOShareGet"
    std::vector<std::string> arguments;  // those that are texts or numbers, as text
};

void PrintTo(const PlatformCall& call, std::ostream* out);

class PlatformDouble {
public:
    static PlatformDouble& Get();

    // Forgets calls and answers.
    void Reset();

    const std::vector<PlatformCall>& Calls() const { return _calls; }
    std::vector<PlatformCall> CallsOf(const std::string& operation) const;

    // Decides about every call from now on: a value is the call's result, which then has no other
    // effect; nullopt lets libnavo answer.
    using Answer = std::function<std::optional<int>(const PlatformCall&)>;
    void SetAnswer(Answer answer) { _answer = std::move(answer); }

    // The operation `name` gives `result` from now on, `error` in errno.
    void Always(const std::string& name, int result, int error = 0);

    // The `k`-th call (1 is the first) of those that can fail does so. Returned by FailedCall once
    // it has happened.
    void FailCall(int k);
    const std::optional<PlatformCall>& FailedCall() const { return _failedCall; }

    // For the operations of the double: notes the call and gives the answer to it, if any.
    // `failure` is what the operation returns when it fails.
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
