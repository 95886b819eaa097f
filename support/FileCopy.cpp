// SPDX-License-Identifier: Apache-2.0
#include "support/FileCopy.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "support/PrivateFile.h"

namespace vellumo::support {
namespace {

constexpr size_t kBufferSize = size_t{64} * 1024;
constexpr off_t kMostAtOnce = off_t{1} << 30;
constexpr off_t kMostWithoutSize = off_t{1} << 20;
constexpr off_t kFailed = -1;

bool WriteAll(int to, const char* data, size_t size, off_t at) {
    while (size > 0) {
        const ssize_t written = Uninterrupted([=] { return pwrite(to, data, size, at); });
        if (written < 0) {
            return false;
        }
        data += written;
        at += written;
        size -= static_cast<size_t>(written);
    }
    return true;
}

// Lets the file system copy or share blocks as far as it can, which it cannot do between all file
// systems or for all kinds of files. An error here occurs again in CopyThroughBuffer, which reports
// it. Returns the position that it has reached.
off_t CopyInKernel(int from, int to, off_t at, off_t end) {
    off_t written = at;
    while (at < end) {
        const auto most = static_cast<size_t>(std::min(end - at, kMostAtOnce));
        if (copy_file_range(from, &at, to, &written, most, 0) <= 0) {
            break;
        }
    }
    return at;
}

off_t CopyThroughBuffer(int from, int to, off_t at, off_t end) {
    std::array<char, kBufferSize> buffer{};
    while (at < end) {
        const auto most = std::min(static_cast<size_t>(end - at), buffer.size());
        const ssize_t got = Uninterrupted([&] { return pread(from, buffer.data(), most, at); });
        if (got == 0) {
            return at;
        }
        if (got < 0 || !WriteAll(to, buffer.data(), static_cast<size_t>(got), at)) {
            return kFailed;
        }
        at += got;
    }
    return at;
}

// Copies the bytes from `at` to `end`, or to the end of the file if that comes first. Returns the
// position that it has reached, or kFailed.
off_t CopyRange(int from, int to, off_t at, off_t end) {
    return CopyThroughBuffer(from, to, CopyInKernel(from, to, at, end), end);
}

// The next bytes of a file that are not a hole.
struct Data {
    off_t begin;
    off_t end;
};

// Finds them in the bytes from `at` to `end`; both are `end` when the rest is a hole. Where the
// file system knows no holes, the rest is data.
Data NextData(int file, off_t at, off_t end) {
    const off_t begin = lseek(file, at, SEEK_DATA);
    if (begin < 0) {
        return {errno == ENXIO ? end : at, end};
    }
    const off_t hole = lseek(file, begin, SEEK_HOLE);
    return {std::min(begin, end), hole < 0 ? end : std::min(hole, end)};
}

// Copies the data in the first `size` bytes. Returns how many bytes the copy is to have, or
// kFailed.
off_t CopyData(int from, int to, off_t size) {
    for (off_t at = 0; at < size;) {
        const Data data = NextData(from, at, size);
        at = CopyRange(from, to, data.begin, data.end);
        if (at != data.end) {
            return at;
        }
    }
    return size;
}

}  // namespace

Descriptor OpenRegularFile(const std::string& path) {
    const Descriptor found(open(path.c_str(), O_PATH | O_CLOEXEC));
    struct stat status {};
    if (!found || fstat(found.Get(), &status) != 0) {
        return {};
    }
    if (!S_ISREG(status.st_mode)) {
        errno = S_ISDIR(status.st_mode) ? EISDIR : EINVAL;
        return {};
    }
    const int flags = O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    return Descriptor(Uninterrupted([&] { return open(PathOf(found).c_str(), flags); }));
}

bool CopyContent(const Descriptor& from, const Descriptor& to) {
    struct stat before {};
    if (fstat(from.Get(), &before) != 0 || ftruncate(to.Get(), 0) != 0) {
        return false;
    }
    const off_t size = before.st_size;
    const off_t copied = size > 0 ? CopyData(from.Get(), to.Get(), size)
                                  : CopyRange(from.Get(), to.Get(), 0, kMostWithoutSize);
    struct stat now {};
    if (copied < 0 || fstat(from.Get(), &now) != 0) {
        return false;
    }
    // A file that got shorter meanwhile looks as if it had a hole at its end.
    const off_t end = size > 0 ? std::min(copied, now.st_size) : copied;
    return ftruncate(to.Get(), end) == 0;
}

bool SyncContent(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file && (fdatasync(file.Get()) == 0 || errno == EINVAL);
}

}  // namespace vellumo::support
