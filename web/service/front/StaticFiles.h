// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_FRONT_STATICFILES_H
#define VELLUMO_WEB_FRONT_STATICFILES_H

#include <cstdint>
#include <map>
#include <string>

#include "support/Descriptor.h"

namespace vellumo::web::front {

// The files of the page. All are opened at the start, so that the process needs no file system
// later.
class StaticFiles {
public:
    struct File {
        support::Descriptor content;
        uint64_t size = 0;
        std::string type;
        std::string tag;  // with quotes
    };

    // Opens the regular files of a known type in `directory`. Throws std::runtime_error when it has
    // no index.html.
    explicit StaticFiles(const support::Descriptor& directory);

    // The file for a path: "/" is index.html. Null when there is none.
    const File* Find(const std::string& path) const;

private:
    std::map<std::string, File> _files;
};

}  // namespace vellumo::web::front

#endif
