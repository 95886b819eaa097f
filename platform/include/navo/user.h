// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_USER_H
#define NAVO_USER_H

#include <cstddef>
#include <cstdint>

#include "base.h"

// The server's accounts and groups, as its name service knows them (local files, a directory, a
// domain: nsswitch.conf says which). Several threads and processes may call these operations at
// once. Each blocks until the name service has answered; none keeps its answer for the next call.
//
// The name of a domain's account is DOMAIN, backslash, user; DOMAIN is the short name, such as
// CORP, or the fully qualified one, such as CORP.EXAMPLE.COM. `workgroup` and `realm` in the
// section [global] of /etc/samba/smb.conf name the server's own domain.
//
// Null pointers, empty names and buffers of size 0 are NAVO_ERR_BAD_PARAMETERS (EINVAL). Outputs
// are set on success only.

// An account. The texts belong to the record.
struct NAVOUSER {
    char* szName;     // the account's name, as the name service spells it
    uint32_t uid;     // its id
    uint32_t gid;     // its primary group's id
    char* szHomeDir;  // its home directory
};
// A record of NAVOUserGet or NAVOUserGetByUID.
using PNAVOUSER = NAVOUSER*;

// A group. The text belongs to the record.
struct NAVOGROUP {
    char* szName;  // the group's name, as the name service spells it
    uint32_t gid;  // its id
};
// A record of NAVOGroupGetByGID.
using PNAVOGROUP = NAVOGROUP*;

// Looks up the account `name`, or the one whose id is `uid`.
//
// On success returns 0 and sets `*user` to a record that the caller owns and frees with
// NAVOUserFree. Else returns -1 with the last error NAVO_ERR_NO_SUCH_USER; errno is ENOENT when
// there is no such account and another one when the name service cannot answer.
NAVO_API int NAVOUserGet(const char* name, PNAVOUSER* user);
NAVO_API int NAVOUserGetByUID(uint32_t uid, PNAVOUSER* user);

// Frees a record; null is allowed.
NAVO_API void NAVOUserFree(PNAVOUSER user);

// Sets `gid` to the id of the group `name`. Returns 0, or -1 with the last error
// NAVO_ERR_NO_SUCH_GROUP and errno as for NAVOUserGet.
NAVO_API int NAVOGroupGetGID(const char* name, uint32_t* gid);

// Looks up the group whose id is `gid`. On success returns 0 and sets `*group` to a record that the
// caller owns and frees with NAVOGroupFree. Else returns -1 with errors as NAVOGroupGetGID.
NAVO_API int NAVOGroupGetByGID(uint32_t gid, PNAVOGROUP* group);

// Frees a record; null is allowed.
NAVO_API void NAVOGroupFree(PNAVOGROUP group);

// Converts a name as typed when logging in into the account's name: ann@corp.example.com into
// CORP.EXAMPLE.COM\ann (the realm as smb.conf spells it) if corp.example.com is the server's own
// realm.
//
// Fills `buffer` (`size` bytes) with the NUL-terminated name and returns its length. Returns 0 when
// there is nothing to convert: the name has another form or another realm, or is itself the name of
// an account. Returns -1 with NAVO_ERR_NAME_TOO_LONG (ENAMETOOLONG) when the name or the result
// does not fit.
NAVO_API int NAVOUserLoginNameConvert(const char* name, char* buffer, size_t size);

// Fills `buffer` (`size` bytes) with the NUL-terminated name of the account `name` as the name
// service spells it, and returns its length. Returns -1 with NAVO_ERR_NO_SUCH_USER or
// NAVO_ERR_NAME_TOO_LONG.
NAVO_API int NLIBUserRealNameGet(const char* name, char* buffer, size_t size);

// Converts CORP.EXAMPLE.COM\ann into CORP\ann. Replaces the server's own realm (in any case of its
// letters) with the server's workgroup. Replaces any other domain with the first label of its name,
// in upper case and cut to the 15 characters that a short name can have; without a readable
// smb.conf it does so with every domain.
//
// Fills `buffer` (`size` bytes) with the NUL-terminated name and returns its length. Returns 0 when
// the name has no domain or the domain is not fully qualified. Returns -1 with
// NAVO_ERR_NAME_TOO_LONG, or with NAVO_ERR_BAD_PARAMETERS for a domain that begins with a dot.
NAVO_API int NAVOWinsUserNameFqdn2Netbios(const char* name, char* buffer, size_t size);

// A pair of texts, which belong to their table.
struct NLIBCSZHASHITEM {
    char* szKey;    // null where the operation that made the table says so
    char* szValue;  // never null
};

// A table of pairs of texts.
struct NLIBCSZHASH {
    int32_t count;           // how many pairs there are
    NLIBCSZHASHITEM* items;  // `count` of them
};
// A table of NLIBGroupInfoHashGet.
using PNLIBCSZHASH = NLIBCSZHASH*;

// Returns the groups of the account `user`, its primary group first. The key is the group's name,
// null for a group that has only an id on this server; the value is the group's id in decimal.
//
// `withPrimary` must be 1 and `flags` 0. Returns a table that the caller owns and frees with
// NLIBCSzHashFree, or null with errno and the last error NAVO_ERR_NO_SUCH_USER or
// NAVO_ERR_BAD_PARAMETERS.
NAVO_API PNLIBCSZHASH NLIBGroupInfoHashGet(const char* user, int withPrimary, int flags);

// Frees a table; null is allowed.
NAVO_API void NLIBCSzHashFree(PNLIBCSZHASH hash);

#endif
