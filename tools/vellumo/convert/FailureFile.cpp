// SPDX-License-Identifier: Apache-2.0
#include "convert/FailureFile.h"

#include <fcntl.h>
#include <json/writer.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "convert/Report.h"

namespace vellumo::cli {
namespace {

constexpr mode_t kPrivate = 0600;

[[noreturn]] void Refuse(const std::string& path, int error) {
    const bool exists = error == EEXIST;
    throw Failure({ExitCode::kOutput,
                   "cannot write " + path,
                   exists ? "it exists already" : std::strerror(error),
                   exists ? "Name another file with --report: no existing file is overwritten."
                          : "Check the free space and the permissions there, or name another file "
                            "with --report.",
                   {}});
}

std::string LineOf(const Job& job) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, ToJson(job)) + "\n";
}

}  // namespace

FailureFile::FailureFile(const std::string& path)
    : _path(path),
      _file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, kPrivate)) {
    if (!_file) {
        Refuse(_path, errno);
    }
}

void FailureFile::Add(const Job& job) const {
    const std::string line = LineOf(job);
    const ssize_t written = write(_file.Get(), line.data(), line.size());
    if (written != static_cast<ssize_t>(line.size())) {
        Refuse(_path, written < 0 ? errno : ENOSPC);
    }
}

}  // namespace vellumo::cli
