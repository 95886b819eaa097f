// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_PATH_EXTENDEDATTRIBUTES_H
#define VELLUMO_PATH_EXTENDEDATTRIBUTES_H

#include <string>

// Extended-attribute directories: for each file, one directory with the data derived from it; in
// that directory, one file (a stream) for each name. The platform decides on both paths.
namespace NAVO::VELLUMO::ea {

// Sets `directory` to the extended-attribute directory of `file`. Returns false, without a message
// and with `directory` untouched, when the platform refuses the path.
bool DirectoryOf(const std::string& file, std::string& directory);

// Sets `path` to the stream `stream` of `file` ("" for the directory itself), unless the platform
// returns a negative number. Returns the platform's result: 0 on success.
int StreamOf(const std::string& file, const std::string& stream, std::string& path);

// The attribute of a path::Path that holds the extended-attribute directory of the file that is
// meant. Such a directory belongs to one file, so it tells that file from another one that gets its
// name while a conversion runs.
inline constexpr const char* kMeant = "EADirectory";

enum class Presence {
    kThere,    // it existed, or was created now
    kNotRoot,  // it is missing, and the process cannot become root to create it
    kNotMade   // the platform cannot create it
};

// The caller of EnsureDirectory, for messages in the system log.
struct Asker {
    const char* source;
    int line;
    const char* notRoot;  // the message that EnsureDirectory logs for Presence::kNotRoot
};

// Creates `directory`, as root, if it is missing.
Presence EnsureDirectory(const std::string& directory, const Asker& asker);

}  // namespace NAVO::VELLUMO::ea

#endif
