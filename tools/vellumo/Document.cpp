// SPDX-License-Identifier: Apache-2.0
#include "Document.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <navo/error.h>
#include <navo/share.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <sstream>

#include "Messages.h"
#include "vellumo/Path.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr size_t kPathSize = 4096;

[[noreturn]] void Refuse(const std::string& sharePath, const std::string& why,
                         const std::string& next, ExitCode code = ExitCode::kBadInput) {
    throw Failure({code, "cannot use " + sharePath, why, next, {}});
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
        Refuse(sharePath.empty() ? "the empty path" : sharePath, "it is no share path",
               "A share path begins with '/' and the name of a share: /docs/report.docx.");
    }
    if (LeavesItsFolder(sharePath)) {
        Refuse(sharePath, "a share path must not contain '..'",
               "Write the path from the share down, without '..'.");
    }
    if (NamesShareOnly(sharePath) && IsHomeAlias(ShareOf(sharePath))) {
        Refuse(sharePath, "it is the alias of a home folder, without a document in it",
               "Name a document in it, as in " + sharePath + "/report.docx.");
    }
}

struct Explanation {
    std::string why;
    std::string next;
};

// Why the platform could not map the path, by its last error.
Explanation ExplainMapping(const std::string& share, const std::string& user) {
    switch (NLIBCErrGet()) {
        case NAVO_ERR_NO_SUCH_SHARE:
            return {
                "there is no share '" + share + "'",
                "The shares are the sections of /etc/samba/smb.conf; 'testparm -s' lists them."};
        case NAVO_ERR_NO_SUCH_USER:
            return {"the server knows no user '" + user + "'",
                    "Say whose home is meant: --user NAME; 'getent passwd' lists the accounts."};
        case NAVO_ERR_CONFIG:
            return {
                "the shares cannot be read from /etc/samba/smb.conf",
                "Check that the file exists and that you may read it; 'testparm -s' checks it."};
        default:
            return {"the platform cannot map it (share '" + share + "', user '" + user + "')",
                    "Check the names of the share and, for a home folder, of the user (--user)."};
    }
}

std::string EADirectoryOf(const std::string& realPath) {
    std::array<char, kPathSize> directory{};
    return NAVOEADirPath(0, realPath.c_str(), directory.data(), directory.size()) == 0
               ? directory.data()
               : "";
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
        Refuse(document.sharePath, "there is no file " + document.realPath,
               "Check the name, upper and lower case included: ls -la " +
                   ShellWord(document.realPath.substr(0, document.realPath.rfind('/') + 1)));
    }
    Refuse(document.sharePath, "cannot look at " + document.realPath + ": " + std::strerror(error),
           "Check the path and the permissions of the folders in it.");
}

void CheckKind(const Document& document, const std::string& kind) {
    if (kind == "directory") {
        Refuse(document.sharePath, document.realPath + " is a directory",
               "Convert all documents in it with -r.");
    }
    // A container sees the document alone, so a link would lead nowhere there.
    if (kind == "link") {
        Refuse(document.sharePath, document.realPath + " is a symbolic link",
               "Name the document that it points to: readlink -f " + ShellWord(document.realPath));
    }
    if (kind != "file") {
        Refuse(document.sharePath, document.realPath + " is no regular file",
               "Only regular files can be converted.");
    }
}

void CheckType(const Document& document) {
    constexpr const char* kNext = "'vellumo pdf --help' lists the types that can be converted.";
    if (document.type.empty()) {
        Refuse(document.sharePath, "its name has no extension, so its type is not known",
               "Give the file the extension of its type, such as .docx.",
               ExitCode::kUnsupportedType);
    }
    if (document.family == nullptr) {
        Refuse(document.sharePath, "no converter takes documents of type '" + document.type + "'",
               kNext, ExitCode::kUnsupportedType);
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
        const Explanation explanation = ExplainMapping(ShareOf(sharePath), user);
        Refuse(sharePath, explanation.why, explanation.next);
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
        Refuse(document.sharePath, "it is a share, not a document in one",
               "Name a document in it, as in " + document.sharePath +
                   "/report.docx, or convert all of them with -r.");
    }
    const FileFacts facts = FactsOf(document.realPath);
    if (!facts.exists) {
        RefuseMissing(document, facts.error);
    }
    CheckKind(document, facts.kind);
    CheckType(document);
    if (!facts.readable) {
        Refuse(document.sharePath, "you may not read " + document.realPath,
               "Ask its owner for permission, or run the command as a user who has it.");
    }
    if (facts.size == 0) {
        Refuse(document.sharePath, document.realPath + " is empty",
               "There is nothing to convert in it; was it copied completely?");
    }
}

std::string InvokingUser() {
    const passwd* account = getpwuid(getuid());
    return account == nullptr ? "" : account->pw_name;
}

}  // namespace vellumo::cli
