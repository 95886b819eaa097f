// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_RUNNINGSERVICE_H
#define VELLUMO_TESTS_RUNNINGSERVICE_H

#include <json/value.h>

#include <map>
#include <string>
#include <vector>

#include "Accounts.h"
#include "Device.h"
#include "Process.h"

namespace vellumo::test {

// SomeAccounts(), and the account of the service.
std::vector<TestAccount> AccountsWithService();

// An answer as it came; status 0: none came.
struct HttpAnswer {
    int status = 0;
    std::map<std::string, std::string> fields;  // names in lower case
    std::string content;
    std::string bytes;  // all of it

    Json::Value Json() const;
};

// The program vellumo-web with settings of its own, on a Unix socket; killed at the end if it still
// runs. The password of each account is "right-" and its name. An account with a file
// /device/locked-NAME is locked.
class RunningService {
public:
    // `settings`: lines that are added to those of the service. Waits until the service answers,
    // unless it does not answer root (setting proxy-peer).
    explicit RunningService(const std::string& settings = "");

    pid_t Id() const { return _process.Id(); }
    std::vector<pid_t> Children() const;
    int Stop();
    void Signal(int signal) const { _process.Signal(signal); }
    int Wait() { return _process.Wait(); }

private:
    ChildProcess _process;
};

// Sends bytes on a new connection and returns all that comes until the service closes it. `socket`:
// of the service; clients arrive at this one.
HttpAnswer SendBytes(const std::string& bytes, const std::string& socket = "/device/web.sock");

// A browser with one cookie.
class Browser {
public:
    HttpAnswer Get(const std::string& path, const std::string& fields = "");
    HttpAnswer Post(const std::string& path, const std::string& content,
                    const std::string& origin = "http://test");
    HttpAnswer Send(const std::string& method, const std::string& path, const std::string& content,
                    const std::string& origin = "http://test");
    HttpAnswer LogIn(const std::string& user, const std::string& password = "");

    std::string cookie;
};

}  // namespace vellumo::test

#endif
