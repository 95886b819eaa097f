// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_SCRATCH_H
#define VELLUMO_ENGINE_SCRATCH_SCRATCH_H

#include <cstdint>
#include <string>

#include "scratch/LockedDirectory.h"

namespace vellumo::engine {

// The scratch directories for sources and products, on the volume of the docker share. Paths on the
// host; source, target and above end with a slash.
struct ScratchTree {
    std::string root;    // prefix of the tools' paths for source and target
    std::string source;  // directory of the sources
    std::string target;  // directory of the products
    std::string above;   // contains both, and this engine's own directories
};

// Finds the scratch directories and creates them if they are missing. Throws Failure when there is
// no docker share or a directory cannot be created.
ScratchTree FindScratchTree();

// The scratch directories of one command: `source` and `target` in a new directory beside the
// shared ones, on the same file system. The destructor removes them.
class PrivateScratch {
public:
    static constexpr const char* kPrefix = ".engine-";  // of the directories' names

    // Creates the directory in `above`, see ScratchTree. Throws Failure when it cannot be created.
    explicit PrivateScratch(const std::string& above);

    std::string Source() const { return _directory.Path() + "/source/"; }
    std::string Target() const { return _directory.Path() + "/target/"; }

    // Makes the user `nobody` the owner of everything in the directory. False when that user does
    // not exist here, as in a user namespace with root alone.
    bool GiveToNobody() const;

    // Returns the disk space, in bytes, of the files in Target(). A command may be writing there.
    uintmax_t SizeOfTarget() const;

    // Copies the command's products to the directory `target`, as files of the engine's user with
    // mode 0644, and replaces files with the same names. Products are regular files that belong to
    // the command's user, are not hidden and are not a tool's temporary files. Throws Failure when
    // a product cannot be published.
    void Publish(const std::string& target) const;

private:
    void MakeRooms() const;

    LockedDirectory _directory;
};

// The user and group that own nothing on a server.
constexpr unsigned kNobody = 65534;

}  // namespace vellumo::engine

#endif
