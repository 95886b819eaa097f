// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_FINDINGS_H
#define VELLUMO_WEB_SUPERVISOR_FINDINGS_H

#include <string>
#include <vector>

namespace vellumo::web::supervisor {

// What a check has found, one line each.
struct Findings {
    std::vector<std::string> problems;  // the service cannot start
    std::vector<std::string> hints;     // it can, but not everything works, or is safe

    void Add(const Findings& others) {
        problems.insert(problems.end(), others.problems.begin(), others.problems.end());
        hints.insert(hints.end(), others.hints.begin(), others.hints.end());
    }
};

}  // namespace vellumo::web::supervisor

#endif
