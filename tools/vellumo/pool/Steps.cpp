// SPDX-License-Identifier: Apache-2.0
#include "pool/Steps.h"

#include <iostream>

#include "app/Messages.h"

namespace vellumo::cli {

void Steps::Tell(const std::string& step) {
    _steps.append(step);
    if (!_json) {
        std::cout << Printable(step) << std::endl;
    }
}

}  // namespace vellumo::cli
