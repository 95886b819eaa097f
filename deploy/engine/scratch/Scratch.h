// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_SCRATCH_H
#define VELLUMO_ENGINE_SCRATCH_SCRATCH_H

#include <cstdint>
#include <string>

#include "scratch/LockedDirectory.h"

namespace vellumo::engine {

// Where sources and products pass through, on the volume of the docker share: host directories
// with a trailing slash.
struct ScratchTree {
    std::string root;  // what stands before the names that the tools have for the next two
    std::string source;
    std::string target;
    std::string above;  // holds both, and this engine's own directories
};

// Throws Failure when there is no docker share or its directories cannot be made.
ScratchTree FindScratchTree();

// One command's own part of the scratch tree, `source` and `target` in a directory beside the
// shared ones, on the same file system.
class PrivateScratch {
public:
    static constexpr const char* kPrefix = ".engine-";  // of the directories' names

    // Throws Failure when the directory cannot be made.
    explicit PrivateScratch(const std::string& above);

    std::string Source() const { return _directory.Path() + "/source/"; }
    std::string Target() const { return _directory.Path() + "/target/"; }

    // Makes everything in it the property of the user `nobody`. False where there is no such user:
    // in a user namespace that has root alone.
    bool GiveToNobody() const;

    // Bytes that what lies in Target() takes. A command may be at work there.
    uintmax_t SizeOfTarget() const;

    // Brings the command's products to the directory `target` as files of the engine's user with
    // mode 0644, replacing what is there: regular files of the command's user that are not hidden
    // and not a tool's temporary. Throws Failure when one cannot be published.
    void Publish(const std::string& target) const;

private:
    void MakeRooms() const;

    LockedDirectory _directory;
};

// The user and group that own nothing on a server.
constexpr unsigned kNobody = 65534;

}  // namespace vellumo::engine

#endif
