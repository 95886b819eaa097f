// SPDX-License-Identifier: Apache-2.0
#include "support/TemporaryFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

namespace vellumo::support {

Descriptor MakeTemporaryFile(std::string& pattern, size_t suffixLength) {
    return Descriptor(mkostemps(pattern.data(), static_cast<int>(suffixLength), O_CLOEXEC));
}

Descriptor OpenNamelessFile() {
    Descriptor file(open("/tmp", O_TMPFILE | O_RDWR | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file && errno == EOPNOTSUPP) {  // the file system has no files without a name
        std::string name = "/tmp/vellumo-XXXXXX";
        file = MakeTemporaryFile(name);
        if (file) {
            unlink(name.c_str());
        }
    }
    return file;
}

std::string ReadTail(const Descriptor& file, size_t most) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        return "";
    }
    const off_t begin = std::max<off_t>(0, status.st_size - static_cast<off_t>(most));
    std::string text(static_cast<size_t>(status.st_size - begin), '\0');
    const ssize_t length = pread(file.Get(), text.data(), text.size(), begin);
    text.resize(length > 0 ? static_cast<size_t>(length) : 0);
    return text;
}

}  // namespace vellumo::support
