// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Document.h"

#include <navo/ea.h>
#include <navo/error.h>
#include <navo/share.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <sstream>

#include "loader/Problem.h"
#include "loader/Text.h"
#include "vellumo/Path.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

constexpr size_t kPathSize = 4096;

[[noreturn]] void Refuse(Reason reason, const std::string& sharePath, const std::string& why,
                         const std::string& next = "") {
    throw Failure({reason, "cannot use " + sharePath, why, next});
}

bool NamesShareOnly(const std::string& sharePath) {
    return sharePath.find('/', 1) == std::string::npos;
}

bool LeavesItsFolder(const std::string& sharePath) {
    std::istringstream components(sharePath);
    for (std::string component; std::getline(components, component, '/');) {
        if (component == "..") {
            return true;
        }
    }
    return false;
}

bool IsHomeAlias(const std::string& share) {
    return PortmanFileShare().IsDirUserHome(share, nullptr);
}

void CheckForm(const std::string& sharePath) {
    if (sharePath.empty() || sharePath.front() != '/' || ShareOf(sharePath).empty()) {
        Refuse(Reason::kBadSharePath, sharePath.empty() ? "the empty path" : sharePath,
               "it is not a share path",
               "A share path begins with '/' and the name of a share: /docs/report.docx.");
    }
    if (LeavesItsFolder(sharePath)) {
        Refuse(Reason::kBadSharePath, sharePath, "a share path must not contain '..'",
               "Write the path from the share down, without '..'.");
    }
    if (NamesShareOnly(sharePath) && IsHomeAlias(ShareOf(sharePath))) {
        Refuse(Reason::kBadSharePath, sharePath,
               "it is the alias of a home folder, without a document in it",
               "Name a document in it, as in " + sharePath + "/report.docx.");
    }
}

// Explains, from the platform's last error, why it could not map the path.
[[noreturn]] void RefuseMapping(const std::string& sharePath, const std::string& user) {
    const std::string share = ShareOf(sharePath);
    switch (NLIBCErrGet()) {
        case NAVO_ERR_NO_SUCH_SHARE:
            Refuse(Reason::kUnknownShare, sharePath, "there is no share '" + share + "'",
                   "The shares are the sections of /etc/samba/smb.conf; 'testparm -s' lists them.");
        case NAVO_ERR_NO_SUCH_USER:
            Refuse(Reason::kUnknownUser, sharePath, "the server knows no user '" + user + "'",
                   "'getent passwd' lists the accounts.");
        case NAVO_ERR_CONFIG:
            Refuse(Reason::kShareSettings, sharePath,
                   "the shares cannot be read from /etc/samba/smb.conf",
                   "Check that the file exists and that you may read it; 'testparm -s' checks it.");
        default:
            Refuse(Reason::kUnmappable, sharePath,
                   "the platform cannot map it (share '" + share + "', user '" + user + "')",
                   "Check the names of the share and, for a home folder, of the user.");
    }
}

Place::Links LinksOf(unsigned bits) {
    if ((bits & NAVO_SHARE_WIDE_LINKS) != 0) {
        return Place::Links::kAnywhere;
    }
    return (bits & NAVO_SHARE_INSIDE_LINKS) != 0 ? Place::Links::kInside : Place::Links::kNone;
}

Place PlaceOf(const std::string& sharePath, const std::string& user) {
    const std::string share = ShareOf(sharePath);
    const std::string path = sharePath.substr(share.size() + 1);
    const NAVOSHAREFILE file{share.c_str(), path.c_str(), user.c_str()};
    PNAVOSHAREROOT found = nullptr;
    if (NAVOShareRootGet(&file, &found) != 0) {
        RefuseMapping(sharePath, user);
    }
    const std::unique_ptr<NAVOSHAREROOT, decltype(&NAVOShareRootFree)> root(found,
                                                                            NAVOShareRootFree);
    return {root->szRoot, root->szPath, LinksOf(root->links)};
}

// Calls a platform function that writes a path into a buffer; "" when the function fails.
template <typename Ask>
std::string PlatformPath(Ask ask) {
    std::array<char, kPathSize> path{};
    return ask(path.data(), path.size()) == 0 ? path.data() : "";
}

std::string EADirectoryOf(const std::string& realPath) {
    return PlatformPath([&realPath](char* buffer, size_t size) {
        return NAVOEADirPath(0, realPath.c_str(), buffer, size);
    });
}

const char* KindOf(mode_t mode) {
    if (S_ISREG(mode)) {
        return "file";
    }
    if (S_ISDIR(mode)) {
        return "directory";
    }
    return S_ISLNK(mode) ? "link" : "special";
}

[[noreturn]] void RefuseMissing(const Document& document, int error) {
    if (error == ENOENT) {
        Refuse(Reason::kMissing, document.sharePath, "there is no file " + document.realPath,
               "Check the name, upper and lower case included: ls -la " +
                   ShellWord(document.realPath.substr(0, document.realPath.rfind('/') + 1)));
    }
    Refuse(Reason::kUnreachable, document.sharePath,
           "cannot access " + document.realPath + ": " + std::strerror(error),
           "Check the path and the permissions of the folders in it.");
}

// Explains, from the error of opening the place, which link is not followed; returns for others.
void CheckLinks(const Document& document, int error) {
    if (error == EXDEV) {
        Refuse(Reason::kOutsideShare, document.sharePath,
               "a symbolic link in it leads out of " + document.place.root,
               "Name the document in the share where it lies. 'wide links' in "
               "/etc/samba/smb.conf decides whether such links are followed.");
    }
    if (error == ELOOP && document.place.links == Place::Links::kNone) {
        Refuse(Reason::kLinkInPath, document.sharePath,
               "it contains a symbolic link, and the share follows none",
               "Name the document without the link. 'follow symlinks' in /etc/samba/smb.conf "
               "decides whether links are followed.");
    }
}

void CheckKind(const Document& document, const std::string& kind) {
    if (kind == "directory") {
        Refuse(Reason::kFolder, document.sharePath, document.realPath + " is a directory");
    }
    // A container sees only the document, so the target of a link would be missing there.
    if (kind == "link") {
        Refuse(Reason::kNotRegular, document.sharePath, document.realPath + " is a symbolic link",
               "Name the document that it points to: readlink -f " + ShellWord(document.realPath));
    }
    if (kind != "file") {
        Refuse(Reason::kNotRegular, document.sharePath,
               document.realPath + " is not a regular file",
               "Only regular files can be converted.");
    }
}

void CheckType(const Document& document) {
    if (document.type.empty()) {
        Refuse(Reason::kNoType, document.sharePath,
               "its name has no extension, so its type is unknown",
               "Give the file the extension of its type, such as .docx.");
    }
    if (document.family == nullptr) {
        Refuse(Reason::kUnsupportedType, document.sharePath,
               "no converter takes documents of type '" + document.type + "'");
    }
}

}  // namespace

std::string ShareOf(const std::string& sharePath) {
    return sharePath.substr(1, sharePath.find('/', 1) - 1);
}

Document Resolve(const std::string& sharePath, const std::string& user) {
    CheckForm(sharePath);
    core::path::Path path;
    path.SetData("sharePath", sharePath, true);
    path.SetData("user", user, true);

    Document document{sharePath, user, path.GetRealPath(""), "", nullptr, "", {}};
    if (document.realPath.empty()) {
        RefuseMapping(sharePath, user);
    }
    document.place = PlaceOf(sharePath, user);
    document.type = path.GetFileType("");
    document.family = FamilyOf(document.type);
    document.eaDirectory = EADirectoryOf(document.realPath);
    return document;
}

OpenedPlace OpenToExamine(const Document& document, LastLink last) {
    OpenedPlace opened = OpenedPlace::Open(document.place, last);
    CheckLinks(document, opened.Error());
    return opened;
}

OpenedPlace OpenRegularFile(const Document& document, LastLink last) {
    OpenedPlace opened = OpenToExamine(document, last);
    if (!opened) {
        RefuseMissing(document, opened.Error());
    }
    CheckKind(document, KindOf(opened.Status().st_mode));
    return opened;
}

FileFacts FactsOf(const Document& document) {
    FileFacts facts;
    const OpenedPlace opened = OpenToExamine(document, LastLink::kOpened);
    if (!opened) {
        facts.error = opened.Error();
        return facts;
    }
    facts.exists = true;
    facts.kind = KindOf(opened.Status().st_mode);
    facts.size = opened.Status().st_size;
    facts.readable = opened.IsReadable();
    return facts;
}

void CheckConvertible(const Document& document) {
    if (NamesShareOnly(document.sharePath)) {
        Refuse(Reason::kShareAlone, document.sharePath, "it is a share, not a document in one",
               "Name a document in it, as in " + document.sharePath + "/report.docx.");
    }
    const OpenedPlace file = OpenRegularFile(document, LastLink::kOpened);
    CheckType(document);
    if (!file.IsReadable()) {
        Refuse(Reason::kUnreadable, document.sharePath, "you may not read " + document.realPath,
               "Ask its owner for permission, or act as a user who has it.");
    }
    if (file.Status().st_size == 0) {
        Refuse(Reason::kEmpty, document.sharePath, document.realPath + " is empty",
               "There is nothing to convert in it; was it copied completely?");
    }
}

std::string DirectoryOfChecked(const Document& document, const OpenedPlace& file) {
    return PlatformPath([&](char* buffer, size_t size) {
        return NAVOEADirPathOfFile(file.File().Get(), document.realPath.c_str(), buffer, size);
    });
}

std::string StreamPath(const Document& document, const std::string& stream) {
    return PlatformPath([&](char* buffer, size_t size) {
        return NAVOEAPath(0, document.realPath.c_str(), stream.c_str(), buffer, size, 0);
    });
}

}  // namespace vellumo::loader
