// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_FAILURE_H
#define VELLUMO_ENGINE_FAILURE_H

#include <stdexcept>
#include <string>

namespace vellumo::engine {

constexpr int kRefused = 1;         // no tool may read this document
constexpr int kEngineFailed = 125;  // the engine could not do its part
constexpr int kTimeLimit = 124;     // `timeout` ended the command
constexpr int kKilled = 128;        // plus the number of the signal that ended the command
constexpr int kTooLarge = 153;      // a file, or all files together, reached the limit: SIGXFSZ

// The reason why the engine does not run the command or does not keep its products: the engine's
// exit status and the message for the caller. The message ends with advice.
class Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& text) : std::runtime_error(text), _status(status) {}
    int Status() const { return _status; }

private:
    int _status;
};

// A failure with kEngineFailed. Its text is `what` and the message for the errno value `error`.
Failure SystemFailure(const std::string& what, int error);

}  // namespace vellumo::engine

#endif
