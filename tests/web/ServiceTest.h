// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_SERVICETEST_H
#define VELLUMO_TESTS_SERVICETEST_H

#include <string>
#include <vector>

#include "Accounts.h"
#include "RunningService.h"

namespace vellumo::test {

// Two shares with documents of ann's: bob may not read /docs/secret.docx, and Samba does not admit
// him to /other. No session and no sharing link.
class ServiceTest : public DeviceTest {
protected:
    void SetUp() override;

    // A document of ann's.
    static void Write(const std::string& path, mode_t mode);

    // The addresses in a list.
    static std::vector<std::string> Hrefs(const HttpAnswer& answer, const char* member);

    // Opens a document and waits for its product; the last state. `prefix`: of the interface.
    static std::string Opened(Browser& browser, const std::string& path,
                              const std::string& product = "pdf",
                              const std::string& prefix = "/api/v1/");

private:
    const Accounts _accounts{AccountsWithService(), SomeGroups()};
};

}  // namespace vellumo::test

#endif
