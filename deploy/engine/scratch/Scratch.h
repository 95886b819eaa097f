// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_SCRATCH_H
#define VELLUMO_ENGINE_SCRATCH_SCRATCH_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "exchange/products.h"
#include "scratch/LockedDirectory.h"
#include "scratch/MemoryDirectory.h"

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

// A number that no other command or warm office in the same scratch tree has, while the object
// lives. It decides the user ids of their programs.
class UserBlock {
public:
    // The name of its directory in the scratch tree.
    static constexpr const char* kPrefix = ".engine-";

    // Takes the number in `above`, see ScratchTree. What killed engines have left there is removed,
    // and what ran as their users is killed. Throws Failure when there is none.
    explicit UserBlock(const std::string& above);

    const std::string& Path() const { return _directory.Path(); }
    unsigned Number() const { return _directory.Number(); }

    // The user of a command; none where the engine cannot become another user, as in a user
    // namespace with root alone.
    std::optional<uid_t> User() const;

private:
    LockedDirectory _directory;
};

// The scratch directories of one command: the source on the file system of the scratch tree, so
// that a document's copy can share its blocks, and the target in memory, with a limit of its size.
// The destructor removes them.
class PrivateScratch {
public:
    // Creates the directories in `above`, see ScratchTree. Throws Failure when they cannot be
    // created.
    explicit PrivateScratch(const std::string& above);

    std::string Source() const { return _block.Path() + "/source/"; }
    std::string Target() const { return _block.Path() + "/target/"; }
    std::optional<uid_t> User() const { return _block.User(); }

    // Whether the target has reached its limit.
    bool IsFull() const;

    // Copies the command's products to the directory `target`, as files of the engine's user with
    // mode 0644, and replaces files with the same names. Products are regular files with one of
    // `names` that belong to the command's user, are not hidden and are not a tool's temporary
    // files. Throws Failure when a product cannot be published.
    void Publish(const std::string& target, const products& names) const;

private:
    UserBlock _block;
    std::optional<MemoryDirectory> _target;
};

}  // namespace vellumo::engine

#endif
