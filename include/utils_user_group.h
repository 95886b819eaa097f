// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_UTILS_USER_GROUP_H
#define VELLUMO_UTILS_USER_GROUP_H

#include <set>
#include <string>

#include "Export.h"

struct NAVOUSER;

// Look up users and groups by name and by id. Re-entrant; nothing is cached between calls. Each
// bool tells whether the answer was found; outputs are set only then. Nothing is logged unless the
// operation says so. User names longer than 492 bytes are cut to that length.
namespace NAVO::VELLUMO {

// Returns the account's name as the name service spells it. `name`: the name as typed when logging
// in; a domain user's is DOMAIN, backslash, user, with the domain's short or fully qualified name.
// For an account that the name service does not know, returns `name` itself for a local user and ""
// for a domain user. Returns "" for null.
VELLUMO_API std::string GetRealUsername(const char* name);

// Sets `user` to the platform's record of the account whose name GetRealUsername returns for
// `name`. The caller owns the record and frees it with NAVOUserFree (navo/user.h). Returns false,
// with a message in the system log, when there is no such account.
VELLUMO_API bool UserGet(const char* name, NAVOUSER*& user);

// Sets `uid` to the id of the account whose name GetRealUsername returns for `name`.
VELLUMO_API bool UserToUID(const std::string& name, unsigned int& uid);

// Sets `name` to the name of the account with the id `uid`.
VELLUMO_API bool UIDToUser(const unsigned int& uid, std::string& name);

// Sets `gid` to the id of the group `name`.
VELLUMO_API bool GroupToGID(const std::string& name, unsigned int& gid);

// Sets `name` to the name of the group with the id `gid`.
VELLUMO_API bool GIDToGroup(const unsigned int& gid, std::string& name);

// Adds the ids of all groups of `user` to those that are in `gids` already. `user`: a record of
// UserGet; it stays the caller's. Leaves out groups that have no name or whose name cannot be
// resolved, and still returns true. Returns false for null and when the platform does not know the
// user.
VELLUMO_API bool UserGroupsGet(NAVOUSER* user, std::set<unsigned int>& gids);

}  // namespace NAVO::VELLUMO

#endif
