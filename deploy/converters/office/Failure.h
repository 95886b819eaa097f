// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_OFFICE_FAILURE_H
#define VELLUMO_OFFICE_FAILURE_H

#include <stdexcept>
#include <string>

namespace vellumo::office {

// The reason why something could not be done, with an exit status for it.
class Failure : public std::runtime_error {
public:
    Failure(int status, const std::string& reason) : std::runtime_error(reason), _status(status) {}

    int Status() const { return _status; }

private:
    int _status;
};

}  // namespace vellumo::office

#endif
