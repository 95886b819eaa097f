// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_SHARE_H
#define NAVO_SHARE_H

#include <string>

#include "base.h"

// The server's shares, as its file service's configuration /etc/samba/smb.conf defines them.

// Bits of NAVOSHARE::status.
inline constexpr unsigned NAVO_SHARE_SCALE_VOLUME = 0x8000;  // lies on a scale-out volume

struct NAVOSHARE {
    char* szName;     // as written in the configuration
    char* szPath;     // absolute directory on the volume, without a trailing slash
    unsigned status;  // NAVO_SHARE_… bits
};
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
// `include = /path` are read too, except one that is missing or has a variable in its path.
//
// The section [homes] is the share `homes`. Its path is the part of `path` before the first '%',
// without a trailing slash, if that part is an absolute path. [global] and [printers] are no
// shares, nor is a section without an absolute path. The parametric option
// `navo:scale volume = yes` sets NAVO_SHARE_SCALE_VOLUME.
NAVO_API int NAVOShareGet(const char* name, PNAVOSHARE* share);

// Frees a record of NAVOShareGet; null is allowed.
NAVO_API void NAVOShareFree(PNAVOSHARE share);

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
