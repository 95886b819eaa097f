// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_UTILS_USER_GROUP_H
#define VELLUMO_UTILS_USER_GROUP_H

#include <set>
#include <string>

#include "Export.h"

struct NAVOUSER;

// Users and groups by name and by id. Re-entrant; nothing is kept. Each bool is whether the answer
// was found, and outputs are touched only then. Names of more than 492 bytes are cut to that.
namespace NAVO::VELLUMO {

// The account's own name for `name`, which may be spelled as when logging in: of a local user the
// name service's spelling, else `name` itself; of a domain user (DOMAIN, backslash, user; the
// domain short or fully qualified) the name service's spelling, "" when it knows none. "" for null.
VELLUMO_API std::string GetRealUsername(const char* name);

// Sets `user` to the platform's record of the account that GetRealUsername gives; the caller
// returns it with NAVOUserFree (navo/user.h). False, with a message in the system log, when there
// is none.
VELLUMO_API bool UserGet(const char* name, NAVOUSER*& user);

// Sets `uid` to the id of the account that GetRealUsername gives. Nothing is logged.
VELLUMO_API bool UserToUID(const std::string& name, unsigned int& uid);

// Sets `name` to the name of the account with the id `uid`.
VELLUMO_API bool UIDToUser(const unsigned int& uid, std::string& name);

// Sets `gid` to the id of the group `name`.
VELLUMO_API bool GroupToGID(const std::string& name, unsigned int& gid);

// Sets `name` to the name of the group with the id `gid`.
VELLUMO_API bool GIDToGroup(const unsigned int& gid, std::string& name);

// Adds the ids of all groups of `user`, a record of UserGet, to those that are in `gids` already.
// Groups that have no name, or whose name cannot be resolved, are left out; true all the same.
// False for null and when the platform does not know the user.
VELLUMO_API bool UserGroupsGet(NAVOUSER* user, std::set<unsigned int>& gids);

}  // namespace NAVO::VELLUMO

#endif
