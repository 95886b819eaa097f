// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Document.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <navo/error.h>
#include <navo/share.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
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

std::string ShareOf(const std::string& sharePath) {
    return sharePath.substr(1, sharePath.find('/', 1) - 1);
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

Document Resolve(const std::string& sharePath, const std::string& user) {
    CheckForm(sharePath);
    core::path::Path path;
    path.SetData("sharePath", sharePath, true);
    path.SetData("user", user, true);

    Document document{sharePath, user, path.GetRealPath(""), "", nullptr, ""};
    if (document.realPath.empty()) {
        RefuseMapping(sharePath, user);
    }
    document.type = path.GetFileType("");
    document.family = FamilyOf(document.type);
    document.eaDirectory = EADirectoryOf(document.realPath);
    return document;
}

FileFacts FactsOf(const std::string& realPath) {
    FileFacts facts;
    struct stat status {};
    if (lstat(realPath.c_str(), &status) != 0) {
        facts.error = errno;
        return facts;
    }
    facts.exists = true;
    facts.kind = KindOf(status.st_mode);
    facts.size = status.st_size;
    facts.readable = faccessat(AT_FDCWD, realPath.c_str(), R_OK, AT_EACCESS) == 0;
    return facts;
}

void CheckConvertible(const Document& document) {
    if (NamesShareOnly(document.sharePath)) {
        Refuse(Reason::kShareAlone, document.sharePath, "it is a share, not a document in one",
               "Name a document in it, as in " + document.sharePath + "/report.docx.");
    }
    const FileFacts facts = FactsOf(document.realPath);
    if (!facts.exists) {
        RefuseMissing(document, facts.error);
    }
    CheckKind(document, facts.kind);
    CheckType(document);
    if (!facts.readable) {
        Refuse(Reason::kUnreadable, document.sharePath, "you may not read " + document.realPath,
               "Ask its owner for permission, or act as a user who has it.");
    }
    if (facts.size == 0) {
        Refuse(Reason::kEmpty, document.sharePath, document.realPath + " is empty",
               "There is nothing to convert in it; was it copied completely?");
    }
}

std::string StreamPath(const Document& document, const std::string& stream) {
    return PlatformPath([&](char* buffer, size_t size) {
        return NAVOEAPath(0, document.realPath.c_str(), stream.c_str(), buffer, size, 0);
    });
}

}  // namespace vellumo::loader
