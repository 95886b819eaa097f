// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_TEMPORARYFILE_H
#define VELLUMO_TOOLS_TEMPORARYFILE_H

#include <cstdio>
#include <memory>

namespace vellumo::cli {

struct FileCloser {
    void operator()(std::FILE* file) const {
        static_cast<void>(std::fclose(file));  // NOLINT(*-owning-memory): this is the owner
    }
};

// A file of std::tmpfile, gone when it is closed; null when none can be had.
using TemporaryFile = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace vellumo::cli

#endif
