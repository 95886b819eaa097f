// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBUSERS_H
#define NAVO_LINUX_SMBUSERS_H

#include <string>
#include <vector>

#include "account.h"

namespace NAVO::platform {

// Somebody who asks for a file of a service (a share, or a home), compared with the lists of users
// of that service.
class ServiceUser {
public:
    // `service`: what %S stands for; "" when it is not known. `workgroup`: what %D stands for when
    // the account's name has no domain.
    ServiceUser(Account account, std::string service, std::string workgroup);

    // Whether `list` names the user: one entry is the user's account, or a group that the user is
    // in. The case of letters does not matter, except in the name of a local group.
    //
    // A name after "+" or "@" is that of a group, one without a sign that of an account. Netgroups
    // ("&NAME", and the first meaning of "@NAME") are unknown here and name nobody. %S, %U, %G, %D
    // and %w are replaced, as in Samba; an entry with another variable names nobody.
    bool IsIn(const std::string& list) const;

    // The same for one entry.
    bool Is(const std::string& entry) const;

private:
    enum class Form { kWithDomain, kWithoutDomain };

    std::string Name(Form form) const;
    std::string Domain() const;
    std::optional<std::string> ValueOf(char variable, Form form) const;
    std::optional<std::string> Expanded(const std::string& entry, Form form) const;
    bool IsNamed(std::string_view entry) const;
    bool IsInGroup(const std::string& name) const;

    Account _account;
    std::vector<gid_t> _groups;
    std::string _service;
    std::string _workgroup;
};

}  // namespace NAVO::platform

#endif
