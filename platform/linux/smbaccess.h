// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_SMBACCESS_H
#define NAVO_LINUX_SMBACCESS_H

#include <navo/share.h>

#include <optional>
#include <string>

#include "account.h"
#include "smbconf.h"

// What Samba's configuration says about a file of a share and somebody who wants to read it.
namespace NAVO::platform {

// A file of a service: of a share, or of one home of [homes].
struct ServiceFile {
    const SmbConf::Section* section;  // the service's own settings; null when only [global] has any
    std::string service;              // what %S stands for; "" when it is not known
    std::string root;                 // the directory that the path may not leave
    std::string path;                 // below the root, without a slash at the beginning
};

// Returns the file `path` of the share `share`, which `user` asks for; nothing when there is no
// such share. In the share of all homes, a path into one of them belongs to that home alone.
std::optional<ServiceFile> FindShareFile(const SmbConf& configuration, const std::string& share,
                                         const std::string& path, const std::string& user);

// Returns the file `path` of the home of `user`, whose home directory without [homes] is
// `accountHome`; nothing when the home is not known.
std::optional<ServiceFile> FindHomeFile(const SmbConf& configuration, const std::string& path,
                                        const std::string& user, const std::string& accountHome);

// Returns the NAVO_SHARE_…_LINKS bits of the file's service.
unsigned LinksOf(const SmbConf& configuration, const ServiceFile& file);

// Returns the setting that forbids `account` to read the file. `address`: of the host that asks; ""
// when it is not known and does not matter.
NAVOShareRefusal RefusalOf(const SmbConf& configuration, const ServiceFile& file,
                           const Account& account, const std::string& address);

}  // namespace NAVO::platform

#endif
