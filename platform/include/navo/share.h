// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_SHARE_H
#define NAVO_SHARE_H

#include <string>

#include "base.h"

// The server's shares, as its file service's configuration /etc/samba/smb.conf defines them.
//
// Several threads and processes may call these operations at once. Those that are about users block
// until the name service has answered; the others only read the configuration.

// Bits of NAVOSHARE::status.
inline constexpr unsigned NAVO_SHARE_SCALE_VOLUME = 0x8000;  // lies on a scale-out volume

// A share, as NAVOShareGet and NAVOShareForEach tell of it.
struct NAVOSHARE {
    char* szName;     // as written in the configuration
    char* szPath;     // absolute directory on the volume, without a trailing slash
    unsigned status;  // NAVO_SHARE_… bits
};
// A record of NAVOShareGet.
using PNAVOSHARE = NAVOSHARE*;

// Looks up the share called `name`; the case of letters does not matter.
//
// On success returns 0 and sets `*share` to a record that the caller owns and frees with
// NAVOShareFree. Else returns -1, leaves `*share` untouched and sets errno and the last error to
// NAVO_ERR_NO_SUCH_SHARE (ENOENT), NAVO_ERR_CONFIG (the configuration cannot be read) or
// NAVO_ERR_BAD_PARAMETERS (empty name, null pointer).
// Each call reads the configuration anew, so it sees a changed share at once.
//
// In names of sections and parameters, whitespace does not matter either. `directory` is another
// name of `path`. Of two values of one parameter, the later is valid. Files named by
// `include = /path` are read too, except one that is missing or has a variable in its path; `copy`
// takes over what another section has so far.
//
// The section [homes] is the share `homes`. Its path is the part of `path` before the first '%',
// without a trailing slash, if that part is an absolute path. [global] and [printers] are no
// shares, nor is a section without an absolute path. The parametric option
// `navo:scale volume = yes` sets NAVO_SHARE_SCALE_VOLUME.
NAVO_API int NAVOShareGet(const char* name, PNAVOSHARE* share);

// Frees a record of NAVOShareGet; null is allowed.
NAVO_API void NAVOShareFree(PNAVOSHARE share);

// Calls `visit` with `context` for each share, in the order of the names of their sections. The
// record belongs to this function and is valid during the call.
//
// On success returns 0. Else returns -1 and sets errno and the last error to NAVO_ERR_CONFIG (the
// configuration cannot be read) or NAVO_ERR_BAD_PARAMETERS (null `visit`).
NAVO_API int NAVOShareForEach(void (*visit)(const NAVOSHARE* share, void* context), void* context);

// A file of a share, as somebody asks for it.
struct NAVOSHAREFILE {
    const char* szShare;  // the share's name, or the alias of each user's own home, "home"
    const char* szPath;   // below the share, with or without a slash at the beginning; may be empty
    const char* szUser;   // the account that asks
};

// Bits of NAVOSHAREROOT::links.
inline constexpr unsigned NAVO_SHARE_INSIDE_LINKS = 0x1;  // links may lead to files below the root
inline constexpr unsigned NAVO_SHARE_WIDE_LINKS = 0x2;    // and to any other file

// Where a file of a share must lie.
struct NAVOSHAREROOT {
    char* szRoot;    // the directory that the path may not leave: the share's, or one home
    char* szPath;    // the file below it, without a slash at the beginning; "" for the root itself
    unsigned links;  // NAVO_SHARE_…_LINKS bits: which symbolic links on the way are followed
};
// A record of NAVOShareRootGet.
using PNAVOSHAREROOT = NAVOSHAREROOT*;

// Looks up where a file of a share must lie. Accesses no file of the share: nothing is known about
// links on the way, and the caller must open the path so that it cannot leave the root.
//
// On success returns 0 and sets `*root` to a record that the caller owns and frees with
// NAVOShareRootFree. Else returns -1 with errno and the last error NAVO_ERR_NO_SUCH_SHARE,
// NAVO_ERR_CONFIG, NAVO_ERR_NO_SUCH_USER (a home of somebody unknown) or NAVO_ERR_BAD_PARAMETERS
// (null pointer, no share, a path with a component "..").
//
// `follow symlinks` (yes by default) and `wide links` (no by default) decide about links. As in
// Samba, `wide links` counts only while the Unix extensions of SMB1 and SMB3 are off or with
// `allow insecure wide links = yes`. In the share `homes`, a path into somebody's home has this
// home as its root.
NAVO_API int NAVOShareRootGet(const NAVOSHAREFILE* file, PNAVOSHAREROOT* root);

// Frees a record of NAVOShareRootGet; null is allowed.
NAVO_API void NAVOShareRootFree(PNAVOSHAREROOT root);

// The setting of a share that forbids somebody to read a file.
enum NAVOShareRefusal : int {
    NAVO_SHARE_NOT_REFUSED = 0,
    NAVO_SHARE_UNAVAILABLE = 1,     // `available = no`
    NAVO_SHARE_USER_INVALID = 2,    // `invalid users` names the user
    NAVO_SHARE_USER_NOT_VALID = 3,  // `valid users` does not name the user
    NAVO_SHARE_HOST_REFUSED = 4,    // `hosts allow` and `hosts deny` refuse the address
    NAVO_SHARE_FILE_VETOED = 5      // `veto files` matches a component of the path
};

// Looks up whether the configuration lets `file->szUser` read the file. The file need not exist,
// and its permissions are not asked (see navo/acl.h): both have to allow it.
//
// `address`: of the host that asks, IPv4 or IPv6; null or "" when it does not matter.
//
// On success returns 0 and sets `*refusal`. Else returns -1 with errors as NAVOShareRootGet;
// NAVO_ERR_NO_SUCH_USER for every unknown user, NAVO_ERR_BAD_PARAMETERS also for an `address` that
// is none.
//
// The settings of [global] are valid in each share that does not set them itself; the lists of
// hosts in [global] always are. Entries of the lists of users are accounts, groups ("@NAME",
// "+NAME") and the variables %S, %U, %G, %D and %w; netgroups are not known here and name nobody.
NAVO_API int NAVOShareAccessGet(const NAVOSHAREFILE* file, const char* address,
                                NAVOShareRefusal* refusal);

// The users' home folders.
class NAVO_API PortmanFileShare {
public:
    PortmanFileShare();
    // NOLINTNEXTLINE(performance-trivially-destructible): a later version may hold resources
    ~PortmanFileShare();
    PortmanFileShare(const PortmanFileShare&) = delete;
    PortmanFileShare& operator=(const PortmanFileShare&) = delete;

    // Whether `shareName` is the alias of each user's own home: exactly "home". `reserved` must be
    // null; otherwise returns false and sets the last error to NAVO_ERR_BAD_PARAMETERS.
    bool IsDirUserHome(const std::string& shareName, void* reserved) const;

    // Sets `home` to the absolute home directory of `user` (a login name), without a trailing
    // slash: the `path` of [homes] with %S, %U and %u replaced by the name and %% by %, or the
    // account's own home directory when [homes] has no path.
    // Returns false, leaves `home` untouched and sets errno and the last error for an empty name, a
    // name with a slash, "." or ".." (NAVO_ERR_BAD_PARAMETERS), an account that the server does not
    // know (NAVO_ERR_NO_SUCH_USER) or a configuration that cannot be read, has another variable in
    // that path or defines no absolute home (NAVO_ERR_CONFIG).
    bool PfmUserHomeFullPathGet(std::string& home, const std::string& user) const;
};

#endif
