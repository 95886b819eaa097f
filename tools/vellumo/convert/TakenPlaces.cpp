// SPDX-License-Identifier: Apache-2.0
#include "convert/TakenPlaces.h"

#include <sys/stat.h>

namespace vellumo::cli {
namespace {

[[noreturn]] void Refuse(const std::string& path, const std::string& why) {
    throw Failure(
        {ExitCode::kOutput, "cannot write " + path, why, "Choose another place with -o.", {}});
}

}  // namespace

TakenPlaces::TakenPlaces(const Jobs& jobs) {
    for (const Job& job : jobs) {
        struct stat status {};
        if (job.document && stat(job.document->realPath.c_str(), &status) == 0) {
            _documents.emplace(FileId(status.st_dev, status.st_ino), &job);
        }
    }
}

void TakenPlaces::Take(const std::string& path, const Job& job) {
    const auto [output, isNew] = _outputs.emplace(path, &job);
    if (!isNew) {
        Refuse(path, "it is the output of " + output->second->sharePath + " already");
    }
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        return;
    }
    const auto document = _documents.find(FileId(status.st_dev, status.st_ino));
    if (document != _documents.end()) {
        _outputs.erase(output);
        Refuse(path,
               "it is the document " + document->second->sharePath + ", which is never changed");
    }
}

}  // namespace vellumo::cli
