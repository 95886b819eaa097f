// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_USER_H
#define NAVO_USER_H

#include <cstddef>
#include <cstdint>

#include "base.h"

// The server's accounts and groups, as its name service has them (local files, a directory, a
// domain: what nsswitch.conf says). All of these may be used from several threads.
//
// An account of a domain is named DOMAIN, backslash, user; DOMAIN is the short name, such as CORP,
// or the fully qualified one, such as CORP.EXAMPLE.COM. The server's own domain is told by
// `workgroup` and `realm` in the section [global] of /etc/samba/smb.conf.
//
// Null pointers, and buffers without room, are NAVO_ERR_BAD_PARAMETERS (EINVAL), as are empty
// names; outputs are touched on success only.

struct NAVOUSER {
    char* szName;     // the account's name, as the name service spells it
    uint32_t uid;     // its id
    uint32_t gid;     // its primary group's id
    char* szHomeDir;  // its home directory
};
using PNAVOUSER = NAVOUSER*;

struct NAVOGROUP {
    char* szName;
    uint32_t gid;
};
using PNAVOGROUP = NAVOGROUP*;

// Looks up the account `name`, or the one whose id is `uid`.
//
// On success returns 0 and sets `*user` to a record that the caller owns and gives back with
// NAVOUserFree. Else returns -1 with errno and NAVO_ERR_NO_SUCH_USER: ENOENT when there is none,
// another errno when the name service cannot tell.
NAVO_API int NAVOUserGet(const char* name, PNAVOUSER* user);
NAVO_API int NAVOUserGetByUID(uint32_t uid, PNAVOUSER* user);

// Gives back a record; null is allowed.
NAVO_API void NAVOUserFree(PNAVOUSER user);

// Sets `gid` to the id of the group `name`. Returns 0, or -1 with NAVO_ERR_NO_SUCH_GROUP and errno
// as above.
NAVO_API int NAVOGroupGetGID(const char* name, uint32_t* gid);

// Looks up the group whose id is `gid`; the record is given back with NAVOGroupFree. Returns as
// NAVOGroupGetGID.
NAVO_API int NAVOGroupGetByGID(uint32_t gid, PNAVOGROUP* group);

// Gives back a record; null is allowed.
NAVO_API void NAVOGroupFree(PNAVOGROUP group);

// Turns a name as it is typed when logging in into an account's: ann@corp.example.com, where that
// is the server's own realm, into CORP.EXAMPLE.COM\ann (the realm as smb.conf spells it).
//
// Fills `buffer` (`size` bytes) with the NUL-terminated name and returns its length. Returns 0 when
// there is nothing to convert (another form or another realm, or an account of that very name), and
// -1 with NAVO_ERR_NAME_TOO_LONG (ENAMETOOLONG) when the name or the result does not fit.
NAVO_API int NAVOUserLoginNameConvert(const char* name, char* buffer, size_t size);

// Fills `buffer` with the name of the account `name` as the name service spells it, and returns its
// length. Returns -1 with NAVO_ERR_NO_SUCH_USER or NAVO_ERR_NAME_TOO_LONG.
NAVO_API int NLIBUserRealNameGet(const char* name, char* buffer, size_t size);

// Turns CORP.EXAMPLE.COM\ann into CORP\ann: the server's own realm (upper and lower case are the
// same) into its workgroup, another domain into the first label of its name, in upper case and cut
// to the 15 characters that such a name can have. Without a readable smb.conf every domain is
// another one.
//
// Fills `buffer` and returns the length. Returns 0 when the domain is not fully qualified or there
// is none, and -1 with NAVO_ERR_NAME_TOO_LONG, or NAVO_ERR_BAD_PARAMETERS for a domain that begins
// with a dot.
NAVO_API int NAVOWinsUserNameFqdn2Netbios(const char* name, char* buffer, size_t size);

struct NLIBCSZHASHITEM {
    char* szKey;
    char* szValue;
};

// Pairs of texts.
struct NLIBCSZHASH {
    int32_t count;
    NLIBCSZHASHITEM* items;  // `count` of them
};
using PNLIBCSZHASH = NLIBCSZHASH*;

// The groups of the account `user`, its primary one first: the key is a group's name, null for one
// that has only a number here, the value the number in decimal.
//
// `withPrimary` must be 1 and `flags` 0. Returns a hash that the caller owns and gives back with
// NLIBCSzHashFree, or null with errno and NAVO_ERR_NO_SUCH_USER or NAVO_ERR_BAD_PARAMETERS.
NAVO_API PNLIBCSZHASH NLIBGroupInfoHashGet(const char* user, int withPrimary, int flags);

// Gives back a hash; null is allowed.
NAVO_API void NLIBCSzHashFree(PNLIBCSZHASH hash);

#endif
