// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_SUPERVISOR_SETTINGS_H
#define VELLUMO_WEB_SUPERVISOR_SETTINGS_H

#include <cstddef>
#include <string>
#include <vector>

namespace vellumo::web::supervisor {

inline constexpr const char* kSettingsFile = "/etc/vellumo/web.conf";

// The settings of the web service. The file has lines "NAME = VALUE"; empty lines and lines that
// begin with '#' do not count.
struct Settings {
    std::string listen = "127.0.0.1:8480";  // or the absolute path of a Unix socket
    std::string user = "vellumo";           // of the process that speaks HTTP
    std::string page;                       // directory of the page
    size_t quickWorkers = 4;
    size_t convertWorkers = 3;
    bool isSecure = true;             // browsers use HTTPS, or are on this machine
    bool isForwarded = false;         // a proxy in front sets X-Forwarded-For
    std::string proxyPeer;            // the only account that may connect to a Unix socket; "": all
    std::string proxyLogin = "none";  // or the path of the Unix socket for logins at the proxy
    std::string proxyUserHeader = "X-Remote-User";  // in which the proxy names the user there
    std::string accessLog = "none";  // "none", "stderr" or the absolute path of a file
    std::string statusSocket = "/run/vellumo-web.status";  // or "none"
    std::string pamDirectory;                              // for tests; "" for the system's

    // The settings in `text`. Adds what is wrong to `problems`, each with its line.
    static Settings In(const std::string& text, std::vector<std::string>& problems);

    // The settings of the file. A missing one has no settings; one that cannot be read, or that
    // others than root may change, is a problem.
    static Settings Read(const std::string& file, std::vector<std::string>& problems);
};

}  // namespace vellumo::web::supervisor

#endif
