// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_FAILURE_H
#define VELLUMO_ENGINE_FAILURE_H

#include <stdexcept>
#include <string>

namespace vellumo::engine {

constexpr int kRefused = 1;         // the document is none that a tool should see
constexpr int kEngineFailed = 125;  // the engine could not do its part
constexpr int kTimeLimit = 124;     // `timeout` ended the command
constexpr int kKilled = 128;        // plus the number of the signal that ended the command
constexpr int kTooLarge = 153;      // a file, or all together, reached the limit: SIGXFSZ

// Why the command is not run or its products are not kept: the engine's exit status and the text
// for its caller, which ends with what to do about it.
class Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& text) : std::runtime_error(text), _status(status) {}
    int Status() const { return _status; }

private:
    int _status;
};

// A failure of the engine's own: `what` with the text of `error`, an errno.
Failure SystemFailure(const std::string& what, int error);

}  // namespace vellumo::engine

#endif
