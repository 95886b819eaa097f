// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_EMBEDDEDOFFICE_H
#define VELLUMO_TESTS_DEPLOY_EMBEDDEDOFFICE_H

#include <string>
#include <vector>

#include "WarmOffice.h"

namespace vellumo::test {

// A device view whose embedded engine may keep an office warm.
class EmbeddedOffice : public WarmPlace, public Shell {
public:
    std::string Missing() override;

    // For navo1.
    Said RunWarm(const std::vector<std::string>& settings, const std::string& script) override;

    // Runs `script` in the view, without an office at first. It finds what a script beside a warm
    // office finds, and
    //   $above, $rooms          the directory with the scratch directories; the rooms of navo1's
    //                           office
    //   list_office             the processes of an office that is kept
    Said Try(const std::string& script) const;
};

}  // namespace vellumo::test

#endif
