// SPDX-License-Identifier: Apache-2.0
#include "scratch/Document.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <strings.h>
#include <sys/ioctl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string_view>
#include <system_error>

#include "Failure.h"
#include "support/Descriptor.h"

namespace vellumo::engine {
namespace {

using support::Descriptor;

// How far into a file PDF readers look for its signature.
constexpr size_t kSignatureRange = 1024;

Failure Refusal(const std::string& document, const std::string& reason) {
    return {kRefused, document + " " + reason};
}

bool IsNamedPdf(const std::string& path) {
    const size_t dot = path.rfind('.');
    return dot != std::string::npos && strcasecmp(path.c_str() + dot, ".pdf") == 0;
}

bool HasPdfSignature(int file) {
    std::array<char, kSignatureRange> head{};
    const ssize_t length = pread(file, head.data(), head.size(), 0);
    const std::string_view text(head.data(), length > 0 ? static_cast<size_t>(length) : 0);
    return text.find("%PDF-") != std::string_view::npos;
}

void CheckDocument(int file, const std::string& path) {
    struct stat status {};
    if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode)) {
        throw Refusal(path, "is no regular file; give a document");
    }
    if (status.st_size == 0) {
        throw Refusal(path, "is empty, so there is nothing to convert");
    }
    if (IsNamedPdf(path) && !HasPdfSignature(file)) {
        throw Refusal(path, "is no PDF in spite of its name; give it the name of what it is");
    }
}

bool CopyContent(int from, int to) {
    if (ioctl(to, FICLONE, from) == 0) {
        return true;
    }
    constexpr size_t kAtOnce = size_t{1} << 30;
    ssize_t copied = 0;
    do {
        copied = sendfile(to, from, nullptr, kAtOnce);
    } while (copied > 0 || (copied < 0 && errno == EINTR));
    return copied == 0;
}

}  // namespace

void CopyDocument(const std::string& source, const std::string& copy) {
    // Non-blocking, so that a pipe in its place is refused instead of waited for.
    const Descriptor from(open(source.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!from) {
        throw Refusal(source, "cannot be read: " + std::generic_category().message(errno));
    }
    CheckDocument(from.Get(), source);

    const Descriptor to(
        open(copy.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, S_IRUSR | S_IRGRP | S_IROTH));
    if (!to || !CopyContent(from.Get(), to.Get()) || fchmod(to.Get(), 0444) != 0) {
        throw SystemFailure("cannot copy " + source + " to " + copy, errno);
    }
}

}  // namespace vellumo::engine
