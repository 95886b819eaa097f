// SPDX-License-Identifier: Apache-2.0
#include "supervisor/Check.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "login/Pam.h"
#include "supervisor/Listening.h"
#include "supervisor/PamCheck.h"
#include "supervisor/ShareCheck.h"

namespace vellumo::web::supervisor {
namespace {

constexpr uid_t kNobody = 65534;

bool IsMissing(const std::string& path) {
    return access(path.c_str(), R_OK) != 0;
}

std::string PamDirectory(const Settings& settings) {
    return settings.pamDirectory.empty() ? "/etc/pam.d" : settings.pamDirectory;
}

// The addresses of clients limit guesses of passwords, and are in the logs.
void CheckAddresses(const Settings& settings, Findings& findings) {
    const bool isUnix = settings.listen.starts_with('/');
    if (settings.isForwarded && !isUnix) {
        findings.hints.push_back("forwarded = yes: every program on this machine can connect to " +
                                 settings.listen +
                                 " and claim any address; safer is the path of a Unix socket as "
                                 "listen, with proxy-peer");
    } else if (settings.isForwarded && settings.proxyPeer.empty()) {
        findings.hints.emplace_back(
            "forwarded = yes: every program on this machine can connect and claim any address; set "
            "proxy-peer to the account of the proxy");
    }
    if (!settings.proxyPeer.empty() && !isUnix) {
        findings.hints.push_back("proxy-peer: nobody can use " + settings.listen +
                                 ", since the kernel does not say who a client of TCP is; listen "
                                 "must be the path of a Unix socket");
    }
    if (isUnix && !settings.isForwarded) {
        findings.hints.emplace_back(
            "forwarded = no: the addresses of clients that come through a Unix socket stay "
            "unknown, so failed logins are not counted by address");
    }
    if (settings.isForwarded && !settings.isSecure) {
        findings.hints.emplace_back(
            "secure = no: browsers send the session to the proxy without encryption, too");
    }
}

// Whoever can connect to the socket of the proxy's logins, or put another one in its place, is
// everybody.
void AddProxyLogin(const Settings& settings, std::vector<std::string>& obstacles) {
    const std::string& path = settings.proxyLogin;
    if (path == "none") {
        return;
    }
    if (settings.proxyPeer.empty()) {
        obstacles.emplace_back(
            "proxy-login needs proxy-peer, the account of the proxy: without it, every program on "
            "this machine could log in as anybody");
    }
    if (settings.proxyPeer == settings.user) {
        obstacles.emplace_back(
            "proxy-login: proxy-peer must be another account than user, that of the process that "
            "speaks HTTP");
    }
    if (path == settings.listen || path == settings.statusSocket) {
        obstacles.push_back("proxy-login needs a socket of its own, not " + path);
    }
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    struct stat status {};
    if (stat(folder.c_str(), &status) == 0 &&
        (status.st_uid != 0 || (status.st_mode & (S_IWGRP | S_IWOTH)) != 0)) {
        obstacles.push_back("proxy-login: others than root may exchange what is in " + folder);
    }
}

// Programs that have the account of the proxy count as the proxy.
void CheckProxyLogin(const Settings& settings, Findings& findings) {
    if (settings.proxyLogin == "none") {
        return;
    }
    findings.Add(CheckPlace(settings.proxyLogin));
    const passwd* const peer =
        settings.proxyPeer.empty() ? nullptr : getpwnam(settings.proxyPeer.c_str());
    if (peer == nullptr) {
        return;
    }
    if (peer->pw_uid == kNobody) {
        findings.hints.emplace_back(
            "proxy-login: programs of many kinds run as nobody, and each could log in as anybody; "
            "give the proxy an account of its own");
    } else if (login::IsOfPerson(peer->pw_uid)) {
        findings.hints.push_back("proxy-login: " + settings.proxyPeer +
                                 " is a person's account, and this person could log in as anybody");
    }
}

}  // namespace

std::vector<std::string> ObstaclesOf(const Settings& settings) {
    std::vector<std::string> obstacles;
    const passwd* const account = getpwnam(settings.user.c_str());
    if (account == nullptr) {
        obstacles.push_back("there is no account '" + settings.user +
                            "' (setting user); adduser --system --group makes one");
    } else if (account->pw_uid == 0) {
        obstacles.emplace_back("the setting user must not be root");
    }
    if (IsMissing(settings.page + "/index.html")) {
        obstacles.push_back("the page is missing: " + settings.page + "/index.html");
    }
    const std::string pam = PamDirectory(settings) + "/vellumo-web";
    if (IsMissing(pam)) {
        obstacles.push_back("nobody can log in without " + pam);
    }
    if (!settings.proxyPeer.empty() && getpwnam(settings.proxyPeer.c_str()) == nullptr) {
        obstacles.push_back("there is no account '" + settings.proxyPeer +
                            "' (setting proxy-peer)");
    }
    AddProxyLogin(settings, obstacles);
    return obstacles;
}

Findings Check(const Settings& settings) {
    Findings findings{ObstaclesOf(settings), {}};
    findings.Add(CheckPlace(settings.listen));
    CheckAddresses(settings, findings);
    CheckProxyLogin(settings, findings);
    findings.Add(CheckPam(PamDirectory(settings)));
    findings.Add(CheckShares());
    return findings;
}

}  // namespace vellumo::web::supervisor
