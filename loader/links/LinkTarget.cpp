// SPDX-License-Identifier: Apache-2.0
#include "loader/links/LinkTarget.h"

#include <navo/share.h>

#include <algorithm>
#include <sstream>

#include "loader/Problem.h"
#include "loader/documents/Access.h"
#include "loader/documents/ActingUser.h"

namespace vellumo::loader {
namespace {

[[noreturn]] void Refuse(Reason reason, const std::string& sharePath, const std::string& why) {
    throw Failure({reason, "cannot share " + sharePath, why, ""});
}

// One path has one form, so that what lies below it is told by its beginning.
void CheckPlain(const std::string& sharePath) {
    std::istringstream components(sharePath.substr(std::min<size_t>(1, sharePath.size())));
    bool isPlain = sharePath.starts_with('/') && !sharePath.ends_with('/');
    for (std::string component; isPlain && std::getline(components, component, '/');) {
        isPlain = !component.empty() && component != "." && component != "..";
    }
    if (!isPlain) {
        Refuse(Reason::kBadSharePath, sharePath,
               "a share path begins with '/' and has no '.', '..' or empty component");
    }
}

bool IsAdmitted(const Document& document, const std::string& address) {
    const std::string share = ShareOf(document.sharePath);
    const std::string path = document.sharePath.substr(share.size() + 1);
    const NAVOSHAREFILE file{share.c_str(), path.c_str(), document.user.c_str()};
    NAVOShareRefusal refusal = NAVO_SHARE_UNAVAILABLE;
    return NAVOShareAccessGet(&file, address.c_str(), &refusal) == 0 &&
           refusal == NAVO_SHARE_NOT_REFUSED;
}

enum class Found { kNothing, kFile, kFolder };

Found SeenBy(const Document& document) {
    const ActingUser user(document.user);
    if (!user) {
        return Found::kNothing;
    }
    const OpenedPlace seen = OpenedPlace::Open(document.place, LastLink::kFollowed);
    if (!seen || !seen.IsReadable()) {
        return Found::kNothing;
    }
    if (S_ISDIR(seen.Status().st_mode)) {
        return Found::kFolder;
    }
    return S_ISREG(seen.Status().st_mode) ? Found::kFile : Found::kNothing;
}

}  // namespace

Document ResolveForVisitor(const std::string& sharePath, const std::string& user) {
    Document document = Resolve(sharePath, user);
    document.place.links = Place::Links::kNone;
    return document;
}

bool IsSharedFolder(const std::string& sharePath, const std::string& user,
                    const std::string& address) {
    CheckPlain(sharePath);
    const Document document = ResolveForVisitor(sharePath, user);
    const Found found = IsAdmitted(document, address) ? SeenBy(document) : Found::kNothing;
    if (found == Found::kNothing) {
        Refuse(Reason::kDenied, sharePath,
               "there is no file or folder that " + user +
                   " may read there, or a symbolic link is on the way");
    }
    if (found == Found::kFile) {
        OpenFor(document, address);
    }
    return found == Found::kFolder;
}

}  // namespace vellumo::loader
