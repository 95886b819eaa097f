// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBSHARES_H
#define NAVO_LINUX_SMBSHARES_H

#include <optional>
#include <string>
#include <vector>

#include "smbconf.h"

// Shares and homes in Samba's configuration. Paths are absolute and have no trailing slash.
namespace NAVO::platform {

inline constexpr const char* kSmbConfFile = "/etc/samba/smb.conf";

struct Share {
    std::string name;
    std::string path;
    bool isOnScaleVolume = false;
};

// Returns the share `name`; nothing when no section of that name is a share.
std::optional<Share> FindShare(const SmbConf& configuration, const std::string& name);

// Returns all shares, in the order of their sections' names.
std::vector<Share> AllShares(const SmbConf& configuration);

// Returns the home of `user`: the path of [homes] with its variables replaced, or `accountHome`
// when [homes] has no path. Returns nothing when that path contains an unknown variable or the home
// is not absolute.
std::optional<std::string> FindHome(const SmbConf& configuration, const std::string& user,
                                    const std::string& accountHome);

}  // namespace NAVO::platform

#endif
