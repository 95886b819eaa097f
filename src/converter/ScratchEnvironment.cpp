// SPDX-License-Identifier: Apache-2.0
#include "converter/ScratchEnvironment.h"

#include <fcntl.h>
#include <navo/ea.h>
#include <navo/exec.h>
#include <navo/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/JsonAccess.h"
#include "common/Log.h"
#include "converter/ScratchFiles.h"
#include "path/ExtendedAttributes.h"
#include "support/Descriptor.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kSource = "Converter";
constexpr mode_t kScratchMode = 0755;

// The text of a path up to its second slash: /volume1 for /volume1/a/b.
std::string VolumeOf(const std::string& path) {
    return path.substr(0, path.find('/', 1));
}

// The reserved file, anew: only its owner may read what is copied to it.
void ReserveAgain(const std::string& file) {
    const vellumo::support::Descriptor reserved(
        open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IWUSR));
}

// A hard link costs nothing, whatever the document's size; a copy that shares extents costs little.
void LinkOrCopyWithinVolume(const std::string& sourceFile, const std::string& targetFile) {
    // In the place of an existing file, ln puts a link with a name of its own first. It would stay
    // for ever if ln were killed.
    unlink(targetFile.c_str());
    if (NLIBCExecl("/bin/ln", NLIBC_EXEC_QUIETLY, "-f", sourceFile.c_str(), targetFile.c_str(),
                   nullptr) == 0) {
        return;
    }
    ReserveAgain(targetFile);
    // A copy that fails too leaves an empty scratch source, which the converters refuse.
    NLIBCExecl("/bin/cp", NLIBC_EXEC_QUIETLY, "-f", "--reflink=auto", sourceFile.c_str(),
               targetFile.c_str(), nullptr);
}

// A pipe would hold up the program that copies it, a device might never end: only a regular file is
// a document.
bool IsNoDocument(const std::string& file) {
    struct stat status {};
    return NLIBCFileExist(file.c_str()) == FALSE ||
           (stat(file.c_str(), &status) == 0 && !S_ISREG(status.st_mode));
}

bool CopyOrLinkFile(const std::string& sourceFile, const std::string& targetFile) {
    if (IsNoDocument(sourceFile)) {
        log::Failed(kSource, 43, "FALSE == NLIBCFileExist(strSourceFile.c_str())");
        return false;
    }
    if (VolumeOf(sourceFile) == VolumeOf(targetFile)) {
        LinkOrCopyWithinVolume(sourceFile, targetFile);
    } else if (!CopyFile(sourceFile, targetFile)) {
        log::Failed(kSource, 51, "! CopyFile(strSourceFile, strTargetFile)");
        return false;
    }
    if (IsNoDocument(targetFile)) {
        log::Failed(kSource, 54, "FALSE == NLIBCFileExist(strTargetFile.c_str())");
        return false;
    }
    return true;
}

// Whether the scratch source has the content of the file that `src` means, if that is known: the
// name may have got another file while it was copied.
bool IsOfMeantFile(const path::Path& src, const path::Path& scratchSource) {
    const std::string directory = json::Text(src.GetData(ea::kMeant, ""), "");
    if (directory.empty() || NAVOEAHasContent(directory.c_str(), src.GetRealPath("").c_str(),
                                              scratchSource.GetRealPath("").c_str()) != FALSE) {
        return true;
    }
    log::Error(kSource, __LINE__, "another file has the name %s now", src.GetRealPath("").c_str());
    return false;
}

bool MakeScratchDirectory(const std::string& directory) {
    return NAVOFSMkdirP(directory.c_str(), nullptr, TRUE, UID_ERR, UID_ERR, kScratchMode) ==
           ERR_SUCCESS;
}

bool MakeScratchDirectories(const std::string& sourceDir, const std::string& targetDir) {
    if (!MakeScratchDirectory(sourceDir)) {
        log::Failed(kSource, 79,
                    "ERR_SUCCESS != NAVOFSMkdirP(strConvertSourceDir.c_str(), NULL, TRUE, UID_ERR, "
                    "UID_ERR, 0755)");
        return false;
    }
    if (!MakeScratchDirectory(targetDir)) {
        log::Failed(kSource, 80,
                    "ERR_SUCCESS != NAVOFSMkdirP(strConvertTargetDir.c_str(), NULL, TRUE, UID_ERR, "
                    "UID_ERR, 0755)");
        return false;
    }
    return true;
}

struct ScratchNames {
    std::string sourceType;
    std::string sourceDir;
    std::string targetType;
    std::string targetDir;
};

bool ReserveOwnNames(const ScratchNames& names, path::Path& source, path::Path& target) {
    if (!CreateTmpFileNameWithType(names.sourceType, names.sourceDir, source)) {
        log::Failed(kSource, 83,
                    "! CreateTmpFileNameWithType(strSrcType, strConvertSourceDir, convertSrcPath)");
        return false;
    }
    if (!CreateTmpFileNameWithType(names.targetType, names.targetDir, target)) {
        log::Failed(
            kSource, 84,
            "! CreateTmpFileNameWithType(strTargetType, strConvertTargetDir, convertTgtPath)");
        return false;
    }
    return true;
}

// The path of the product that a tool creates when its command line names only a directory.
std::string ProductName(const std::string& sourceName, const ScratchNames& names) {
    const bool hasType = sourceName.find("." + names.sourceType) != std::string::npos;
    const std::string base = hasType ? sourceName.substr(0, sourceName.rfind('.')) : sourceName;
    return names.targetDir + base + "." + names.targetType;
}

bool ReserveSameName(const ScratchNames& names, path::Path& source, path::Path& target) {
    while (true) {
        if (!CreateTmpFileNameWithType(names.sourceType, names.sourceDir, source)) {
            log::Failed(
                kSource, 91,
                "! CreateTmpFileNameWithType(strSrcType, strConvertSourceDir, convertSrcPath)");
            return false;
        }
        const std::string product = ProductName(source.GetFileName(""), names);
        if (NLIBCFileExist(product.c_str()) == FALSE) {
            target.SetData("realPath", product, true);
            return true;
        }
        unlink(source.GetRealPath("").c_str());
        source.ClearData("realPath");
    }
}

void Forget(path::Path& path) {
    path.SetData(Json::Value(Json::objectValue), true);
}

}  // namespace

bool CreateConvertEnvironment(const path::Path& src, const std::string& targetType,
                              path::Path& scratchSource, path::Path& scratchTarget, bool sameName) {
    // The product of an earlier run of the same converter belongs to that run's caller.
    Forget(scratchSource);
    Forget(scratchTarget);

    const std::string sourceType = src.GetFileType("");
    if (sourceType.empty()) {
        log::Failed(kSource, 73, "strSrcType.empty()");
        return false;
    }
    std::string volume;
    if (!VolumePathGet(SZF_DOCKER_DIR, volume)) {
        log::Failed(kSource, 74, "! VolumePathGet(SZF_DOCKER_DIR, strDockerVolume)");
        return false;
    }
    const std::string scratchRoot = volume + SZF_DOCKER_DIR;
    const ScratchNames names{sourceType, scratchRoot + SZF_COVERT_SOURCE_DIR, targetType,
                             scratchRoot + SZF_COVERT_TARGET_DIR};
    if (!MakeScratchDirectories(names.sourceDir, names.targetDir)) {
        return false;
    }
    ScratchLease::Announce();
    const bool reserved = sameName ? ReserveSameName(names, scratchSource, scratchTarget)
                                   : ReserveOwnNames(names, scratchSource, scratchTarget);
    ScratchLease::Note(scratchSource, scratchTarget);
    if (!reserved) {
        return false;
    }
    if (!CopyOrLinkFile(src.GetRealPath(""), scratchSource.GetRealPath("")) ||
        !IsOfMeantFile(src, scratchSource)) {
        log::Failed(kSource, 107,
                    "! CopyOrLinkFile(originPath.GetRealPath(), convertSrcPath.GetRealPath())");
        return false;
    }
    return true;
}

}  // namespace NAVO::VELLUMO::converter
