// SPDX-License-Identifier: Apache-2.0
#include "supervisor/ShareCheck.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "loader/Problem.h"
#include "loader/documents/Shares.h"
#include "worker/AsUser.h"
#include "worker/Authority.h"

namespace vellumo::web::supervisor {
namespace {

constexpr size_t kMostAccounts = 200;
constexpr uid_t kFirstPerson = 1000;
constexpr uid_t kNobody = 65534;

std::vector<std::string> People() {
    std::vector<std::string> people;
    setpwent();
    for (const passwd* account = getpwent(); account != nullptr && people.size() < kMostAccounts;
         account = getpwent()) {
        if (account->pw_uid >= kFirstPerson && account->pw_uid != kNobody) {
            people.emplace_back(account->pw_name);
        }
    }
    endpwent();
    return people;
}

bool IsFolder(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// Removes from `shares` those whose folder `person` may list.
void RemoveReadable(std::vector<loader::Share>& shares, const std::string& person) {
    const auto marks = worker::AsUser(person, [&shares] {
        std::string seen;
        for (const loader::Share& share : shares) {
            seen += access(share.folder.c_str(), R_OK | X_OK) == 0 ? '+' : '-';
        }
        return seen;
    });
    std::vector<loader::Share> left;
    for (size_t i = 0; i < shares.size(); ++i) {
        const bool isReadable = marks && (*marks)[i] == '+' &&
                                worker::Authority::IsAdmitted(person, '/' + shares[i].name, "");
        if (!isReadable) {
            left.push_back(shares[i]);
        }
    }
    shares = std::move(left);
}

std::vector<loader::Share> SharesToCheck() {
    std::vector<loader::Share> shares = loader::Shares();
    const auto isUninteresting = [](const loader::Share& share) {
        return share.name == "homes" || share.name == "docker";  // no documents of everybody's
    };
    shares.erase(std::remove_if(shares.begin(), shares.end(), isUninteresting), shares.end());
    return shares;
}

}  // namespace

Findings CheckShares() {
    Findings findings;
    try {
        std::vector<loader::Share> shares = SharesToCheck();
        for (const loader::Share& share : shares) {
            if (!IsFolder(share.folder)) {
                findings.hints.push_back("the share " + share.name +
                                         " has no folder: " + share.folder);
            }
        }
        std::erase_if(shares, [](const auto& share) { return !IsFolder(share.folder); });
        const std::vector<std::string> people =
            geteuid() == 0 ? People() : std::vector<std::string>();
        for (const std::string& person : people) {
            RemoveReadable(shares, person);
        }
        for (const loader::Share& share : shares) {
            if (!people.empty()) {
                findings.hints.push_back("no account of this machine may read the share " +
                                         share.name + " (" + share.folder +
                                         "): look at its lists of users and its permissions");
            }
        }
    } catch (const loader::Failure& failure) {
        findings.problems.push_back(failure.Details().what + ": " + failure.Details().why);
    }
    return findings;
}

}  // namespace vellumo::web::supervisor
