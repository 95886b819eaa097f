// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Access.h"

#include <navo/acl.h>
#include <navo/error.h>
#include <navo/share.h>

#include <cerrno>
#include <cstring>

#include "loader/documents/ActingUser.h"

namespace vellumo::loader {
namespace {

constexpr const char* kShowSettings = "'testparm -s' shows the settings of the share.";

[[noreturn]] void Refuse(Reason reason, const Document& document, const std::string& why,
                         const std::string& next) {
    throw Failure({reason, document.user + " may not read " + document.sharePath, why, next});
}

[[noreturn]] void RefuseByShare(const Document& document, NAVOShareRefusal refusal) {
    switch (refusal) {
        case NAVO_SHARE_UNAVAILABLE:
            Refuse(Reason::kShareUnavailable, document, "the share's 'available' is no",
                   kShowSettings);
        case NAVO_SHARE_USER_INVALID:
            Refuse(Reason::kUserInvalid, document,
                   "the share's 'invalid users' names " + document.user, kShowSettings);
        case NAVO_SHARE_USER_NOT_VALID:
            Refuse(Reason::kUserNotValid, document,
                   "the share's 'valid users' does not name " + document.user, kShowSettings);
        case NAVO_SHARE_HOST_REFUSED:
            Refuse(Reason::kHostRefused, document,
                   "'hosts allow' and 'hosts deny' refuse the address", kShowSettings);
        default:
            Refuse(Reason::kVetoed, document, "the share's 'veto files' hides a part of this path",
                   kShowSettings);
    }
}

[[noreturn]] void RefuseToAnswer(const Document& document, const std::string& address) {
    const int error = errno;
    if (NLIBCErrGet() == NAVO_ERR_BAD_PARAMETERS) {
        Refuse(Reason::kHostRefused, document, "'" + address + "' is not the address of a host",
               "Write it as 192.0.2.1 or 2001:db8::1.");
    }
    const bool isUnknown = NLIBCErrGet() == NAVO_ERR_NO_SUCH_USER;
    throw Failure({isUnknown ? Reason::kUnknownUser : Reason::kShareSettings,
                   "cannot tell whether " + document.user + " may read " + document.sharePath,
                   isUnknown ? "the server knows no user '" + document.user + "'"
                             : "the settings of its share cannot be read: " +
                                   std::string(std::strerror(error)),
                   isUnknown ? "'getent passwd' lists the accounts."
                             : "'testparm -s' checks /etc/samba/smb.conf."});
}

void CheckShare(const Document& document, const std::string& address) {
    const std::string share = ShareOf(document.sharePath);
    const std::string path = document.sharePath.substr(share.size() + 1);
    const NAVOSHAREFILE file{share.c_str(), path.c_str(), document.user.c_str()};
    NAVOShareRefusal refusal = NAVO_SHARE_NOT_REFUSED;
    if (NAVOShareAccessGet(&file, address.c_str(), &refusal) != 0) {
        RefuseToAnswer(document, address);
    }
    if (refusal != NAVO_SHARE_NOT_REFUSED) {
        RefuseByShare(document, refusal);
    }
}

bool KernelGrantsReading(const OpenedPlace& file) {
    unsigned mask = 0;
    return NAVOACLPermGet(file.Name().c_str(), &mask) == 0 && (mask & NAVO_ACL_READ) != 0;
}

OpenedPlace OpenAsUser(const Document& document) {
    const ActingUser user(document.user);
    if (!user) {
        throw Failure({Reason::kNoRights, "cannot act as " + document.user,
                       std::strerror(user.Error()), "Only root can act as somebody else."});
    }
    OpenedPlace seen = OpenedPlace::Open(document.place, LastLink::kFollowed);
    if (!seen || !S_ISREG(seen.Status().st_mode) || !KernelGrantsReading(seen)) {
        Refuse(Reason::kDenied, document,
               "the permissions of the file or of a folder above it do not allow it",
               "Ask its owner for permission.");
    }
    return seen;
}

}  // namespace

OpenedPlace OpenFor(const Document& document, const std::string& address) {
    CheckShare(document, address);
    // As root first: who may not enter a folder cannot be told that a file is missing in it.
    OpenRegularFile(document, LastLink::kFollowed);
    return OpenAsUser(document);
}

void CheckAccess(const Document& document, const std::string& address) {
    OpenFor(document, address);
}

const char* SettingOf(Reason reason) {
    switch (reason) {
        case Reason::kOutsideShare:
            return "wide links";
        case Reason::kLinkInPath:
            return "follow symlinks";
        case Reason::kShareUnavailable:
            return "available";
        case Reason::kUserInvalid:
            return "invalid users";
        case Reason::kUserNotValid:
            return "valid users";
        case Reason::kHostRefused:
            return "hosts allow";
        case Reason::kVetoed:
            return "veto files";
        default:
            return nullptr;
    }
}

std::string SectionOf(const Document& document) {
    const std::string share = ShareOf(document.sharePath);
    return PortmanFileShare().IsDirUserHome(share, nullptr) ? "homes" : share;
}

}  // namespace vellumo::loader
