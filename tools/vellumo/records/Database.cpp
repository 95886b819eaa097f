// SPDX-License-Identifier: Apache-2.0
#include "records/Database.h"

#include <fcntl.h>
#include <unistd.h>

#include "app/Messages.h"

namespace vellumo::cli {
namespace {

bool May(const std::string& path, int mode) {
    return faccessat(AT_FDCWD, path.c_str(), mode, AT_EACCESS) == 0;
}

std::string Reason(const std::string& file) {
    const std::string folder = file.substr(0, file.rfind('/'));
    if (!May(folder, F_OK)) {
        return "there is no folder " + folder;
    }
    if (!May(file, F_OK) && !May(folder, W_OK)) {
        return "you may not create the database in " + folder;
    }
    if (!May(file, R_OK)) {
        return "you may not read " + file;
    }
    if (!May(file, W_OK) || !May(folder, W_OK)) {
        return "you may not write to " + file + ", or not to its folder";
    }
    return file + " is locked by another program, damaged or of an unknown format";
}

}  // namespace

void RefuseDatabase(const std::string& what, const std::string& file) {
    throw Failure({ExitCode::kDatabase,
                   what,
                   Reason(file),
                   "The system log has the error of the database: journalctl -t vellumo",
                   {}});
}

}  // namespace vellumo::cli
