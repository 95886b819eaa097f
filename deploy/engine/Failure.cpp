// SPDX-License-Identifier: Apache-2.0
#include "Failure.h"

#include <system_error>

namespace vellumo::engine {

Failure SystemFailure(const std::string& what, int error) {
    return {kEngineFailed, what + ": " + std::generic_category().message(error)};
}

}  // namespace vellumo::engine
