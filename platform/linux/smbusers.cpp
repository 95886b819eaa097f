// SPDX-License-Identifier: Apache-2.0
#include "smbusers.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "casefold.h"
#include "smblist.h"

namespace NAVO::platform {
namespace {

constexpr char kDomainEnd = '\\';
constexpr std::string_view kSigns = "@+&";

// Looks a name up as it is spelled, then in lower case, in which local names usually are.
std::optional<Account> AccountCalled(const std::string& name) {
    auto found = FindAccount(name);
    return found ? found : FindAccount(LowerCase(name));
}

std::string GroupName(gid_t group) {
    const auto found = FindGroup(group);
    return found ? found->name : "";
}

}  // namespace

ServiceUser::ServiceUser(Account account, std::string service, std::string workgroup)
    : _account(std::move(account)),
      _groups(GroupsOf(_account)),
      _service(std::move(service)),
      _workgroup(std::move(workgroup)) {}

bool ServiceUser::IsIn(const std::string& list) const {
    const std::vector<std::string> entries = ListEntries(list);
    return std::any_of(entries.begin(), entries.end(),
                       [this](const std::string& entry) { return Is(entry); });
}

// A configuration may write a domain's user as %U or as %D\%U, so that %U is the name with the
// domain in one and without it in the other. Both are tried; the result is a whole name in either
// case, so ann of a domain is never taken for the local ann.
bool ServiceUser::Is(const std::string& entry) const {
    constexpr std::array kForms{Form::kWithDomain, Form::kWithoutDomain};
    return std::any_of(kForms.begin(), kForms.end(), [&](Form form) {
        const auto name = Expanded(entry, form);
        return name && IsNamed(*name);
    });
}

std::string ServiceUser::Name(Form form) const {
    const size_t end = _account.name.find(kDomainEnd);
    return form == Form::kWithDomain || end == std::string::npos ? _account.name
                                                                 : _account.name.substr(end + 1);
}

std::string ServiceUser::Domain() const {
    const size_t end = _account.name.find(kDomainEnd);
    return end == std::string::npos ? _workgroup : _account.name.substr(0, end);
}

// Samba replaces no other variable in a list of users, not %u and %g either.
std::optional<std::string> ServiceUser::ValueOf(char variable, Form form) const {
    switch (variable) {
        case '%':
            return "%";
        case 'S':
            // A home is called like its owner.
            return _service == _account.name ? Name(form) : _service;
        case 'U':
            return Name(form);
        case 'G':
            return GroupName(_account.gid);
        case 'D':
            return Domain();
        case 'w':
            return std::string(1, kDomainEnd);
        default:
            return std::nullopt;
    }
}

std::optional<std::string> ServiceUser::Expanded(const std::string& entry, Form form) const {
    std::string name;
    for (size_t at = 0; at < entry.size(); ++at) {
        if (entry[at] != '%') {
            name += entry[at];
            continue;
        }
        const auto value = ++at < entry.size() ? ValueOf(entry[at], form) : std::nullopt;
        if (!value || value->empty()) {
            return std::nullopt;
        }
        name += *value;
    }
    return name;
}

bool ServiceUser::IsNamed(std::string_view entry) const {
    const size_t begin = std::min(entry.find_first_not_of(kSigns), entry.size());
    const std::string_view signs = entry.substr(0, begin);
    const std::string name(entry.substr(begin));
    if (name.empty()) {
        return false;
    }
    if (!signs.empty()) {
        return signs.find_first_of("@+") != std::string_view::npos && IsInGroup(name);
    }
    if (LowerCase(name) == LowerCase(_account.name)) {
        return true;
    }
    // Samba takes a name without a sign for a user's alone, also when only a group has it.
    const auto account = AccountCalled(name);
    return account && account->uid == _account.uid;
}

// The letters of a local group's name have to be as they are written. Those of a domain's group do
// not, but a name service may know it in one spelling only, so the names of the user's own groups
// are compared too.
bool ServiceUser::IsInGroup(const std::string& name) const {
    if (const auto group = FindGroup(name)) {
        return std::find(_groups.begin(), _groups.end(), group->gid) != _groups.end();
    }
    return name.find(kDomainEnd) != std::string::npos &&
           std::any_of(_groups.begin(), _groups.end(), [&name](gid_t group) {
               return LowerCase(GroupName(group)) == LowerCase(name);
           });
}

}  // namespace NAVO::platform
