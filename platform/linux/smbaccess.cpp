// SPDX-License-Identifier: Apache-2.0
#include "smbaccess.h"

#include <algorithm>
#include <string_view>

#include "smbhosts.h"
#include "smblist.h"
#include "smbshares.h"
#include "smbusers.h"

namespace NAVO::platform {
namespace {

constexpr const char* kHomes = "homes";

std::string WithoutLeadingSlashes(std::string_view path) {
    return std::string(path.substr(std::min(path.find_first_not_of('/'), path.size())));
}

// In the share of all homes, the file service knows each home as a service of its own, called like
// its owner. Nobody's link may lead from one home into another.
void EnterHome(const SmbConf& configuration, ServiceFile& file) {
    const size_t end = std::min(file.path.find('/'), file.path.size());
    const std::string owner = file.path.substr(0, end);
    const auto home = owner.empty() ? std::nullopt : FindHome(configuration, owner, "");
    if (!home || *home != (file.root == "/" ? "" : file.root) + "/" + owner) {
        file.service.clear();
        return;
    }
    file.service = owner;
    file.root = *home;
    file.path = WithoutLeadingSlashes(std::string_view(file.path).substr(end));
}

bool AreUnixExtensionsOn(const SmbConf& configuration) {
    // Both are on unless the configuration says otherwise. Before Samba 4.23 the second was off, so
    // that an older server may follow a link that is refused here, never the other way round.
    return configuration.Flag(nullptr, "smb1 unix extensions", true) ||
           configuration.Flag(nullptr, "smb3 unix extensions", true);
}

// The lists of hosts in [global] are valid for every service, whatever its own lists say.
bool AdmitsAddress(const SmbConf& configuration, const SmbConf::Section* section,
                   const std::string& address) {
    const auto admits = [&](const SmbConf::Section* of) {
        return AdmitsHost(configuration.Effective(of, "hosts allow"),
                          configuration.Effective(of, "hosts deny"), address);
    };
    return address.empty() || (admits(nullptr) && admits(section));
}

// Whether a `veto files : NAME` in `section` hides the path from a user whom NAME names.
bool VetoesForUser(const SmbConf::Section* section, const ServiceUser& user,
                   const std::string& path, bool isCaseSensitive) {
    if (section == nullptr) {
        return false;
    }
    const auto vetoes = section->Parametric("veto files");
    return std::any_of(vetoes.begin(), vetoes.end(), [&](const auto& veto) {
        return !VetoedComponent(veto.second, path, isCaseSensitive).empty() && user.Is(veto.first);
    });
}

bool IsVetoed(const SmbConf& configuration, const ServiceFile& file, const ServiceUser& user) {
    // `auto`, the default, is no for every client but one that speaks the Unix extensions.
    const bool isCaseSensitive = configuration.Flag(file.section, "case sensitive", false);
    const std::string patterns = configuration.Effective(file.section, "veto files");
    return !VetoedComponent(patterns, file.path, isCaseSensitive).empty() ||
           VetoesForUser(file.section, user, file.path, isCaseSensitive) ||
           VetoesForUser(configuration.Find("global"), user, file.path, isCaseSensitive);
}

}  // namespace

std::optional<ServiceFile> FindShareFile(const SmbConf& configuration, const std::string& share,
                                         const std::string& path, const std::string& user) {
    const auto found = FindShare(configuration, share);
    if (!found) {
        return std::nullopt;
    }
    const SmbConf::Section* section = configuration.Find(share);
    ServiceFile file{section, found->name, found->path, WithoutLeadingSlashes(path)};
    if (section != configuration.Find(kHomes)) {
        return file;
    }
    if (section->Text("path").find('%') == std::string::npos) {
        file.service = user;  // one folder is everybody's home
    } else {
        EnterHome(configuration, file);
    }
    return file;
}

std::optional<ServiceFile> FindHomeFile(const SmbConf& configuration, const std::string& path,
                                        const std::string& user, const std::string& accountHome) {
    auto home = FindHome(configuration, user, accountHome);
    if (!home) {
        return std::nullopt;
    }
    return ServiceFile{configuration.Find(kHomes), user, std::move(*home),
                       WithoutLeadingSlashes(path)};
}

unsigned LinksOf(const SmbConf& configuration, const ServiceFile& file) {
    if (!configuration.Flag(file.section, "follow symlinks", true)) {
        return 0;
    }
    const bool isWide = configuration.Flag(file.section, "wide links", false) &&
                        (configuration.Flag(nullptr, "allow insecure wide links", false) ||
                         !AreUnixExtensionsOn(configuration));
    return NAVO_SHARE_INSIDE_LINKS | (isWide ? NAVO_SHARE_WIDE_LINKS : 0);
}

// `read list` and `write list` are not asked: they say who may write, and whoever may use the share
// at all may read.
NAVOShareRefusal RefusalOf(const SmbConf& configuration, const ServiceFile& file,
                           const Account& account, const std::string& address) {
    if (!configuration.Flag(file.section, "available", true)) {
        return NAVO_SHARE_UNAVAILABLE;
    }
    if (!AdmitsAddress(configuration, file.section, address)) {
        return NAVO_SHARE_HOST_REFUSED;
    }
    const SmbConf::Section* global = configuration.Find("global");
    const ServiceUser user(account, file.service,
                           global == nullptr ? "" : global->Text("workgroup"));
    if (user.IsIn(configuration.Effective(file.section, "invalid users"))) {
        return NAVO_SHARE_USER_INVALID;
    }
    const std::string valid = configuration.Effective(file.section, "valid users");
    if (!ListEntries(valid).empty() && !user.IsIn(valid)) {
        return NAVO_SHARE_USER_NOT_VALID;
    }
    return IsVetoed(configuration, file, user) ? NAVO_SHARE_FILE_VETOED : NAVO_SHARE_NOT_REFUSED;
}

}  // namespace NAVO::platform
