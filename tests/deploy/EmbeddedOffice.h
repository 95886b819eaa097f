// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_EMBEDDEDOFFICE_H
#define VELLUMO_TESTS_DEPLOY_EMBEDDEDOFFICE_H

#include <string>
#include <vector>

#include "WarmOffice.h"

namespace vellumo::test {

// A device view whose embedded engine can keep an office warm.
class EmbeddedOffice : public WarmPlace, public Shell {
public:
    std::string Missing() override;

    // The office is for the container navo1.
    Said RunWarm(const std::vector<std::string>& settings, const std::string& script) override;

    // Runs `script` in the view, without starting an office. The script can use everything that a
    // script for RunWarm() can use, and
    //   $above, $rooms          the directory with the scratch directories; the rooms of navo1's
    //                           office
    //   list_office             lists the processes of a warm office
    Said Try(const std::string& script) const;
};

}  // namespace vellumo::test

#endif
