// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_PATH_EXTENDEDATTRIBUTES_H
#define VELLUMO_PATH_EXTENDEDATTRIBUTES_H

#include <string>

// Where the platform keeps what is derived from a file: a directory for each file, a stream of it
// for each name. Both paths are the platform's to choose.
namespace NAVO::VELLUMO::ea {

// Sets `directory` to the directory of `file`. False, with `directory` untouched, when the platform
// refuses the path; nothing is logged.
bool DirectoryOf(const std::string& file, std::string& directory);

// Sets `path` to the stream `stream` of `file` ("" for the directory itself) unless the platform
// answers with a negative number. Returns that answer: 0 on success.
int StreamOf(const std::string& file, const std::string& stream, std::string& path);

enum class Presence {
    kThere,    // it exists, or was made now
    kNotRoot,  // it is missing, and the process cannot become root to make it
    kNotMade   // the platform cannot make it
};

// Who asks for a directory, for the log.
struct Asker {
    const char* source;
    int line;
    const char* notRoot;  // the message for Presence::kNotRoot, which is logged here
};

// Makes `directory` as root when it is missing.
Presence EnsureDirectory(const std::string& directory, const Asker& asker);

}  // namespace NAVO::VELLUMO::ea

#endif
