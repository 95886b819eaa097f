// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_STREAMTREE_H
#define NAVO_LINUX_STREAMTREE_H

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Where the streams of files lie. The streams of /volume1/docs/sub/a.docx are in
//
//   /volume1/@navoea/docs/sub/@0123456789abcdef-2a01-16d3f0b2c4/
//
// a directory whose name has a hash of the file's name, its inode number and its time of birth. So
// another file of the same name has another directory, and the folders above tell where the file
// is. Folders whose own name begins with "@" have one more, so that they are not taken for such a
// directory. The streams of files on no volume are in /var/lib/navo/@navoea/, below the whole path
// of their folder.
//
// Only root can enter a tree, so nobody else can put anything into it or find anything in it.
namespace NAVO::platform {

// The tree of files that are on no volume.
inline constexpr std::string_view kTreeElsewhere = "/var/lib/navo/@navoea";

// What tells one file from another that had its name before. Both are 0 for a file that does not
// exist; the birth is 0 where the file system does not record it.
struct FileIdentity {
    uint64_t inode = 0;
    uint64_t birth = 0;  // nanoseconds since the epoch

    bool operator==(const FileIdentity&) const = default;
};

// Returns the identity of the file `name`, a path or the name of an entry of `directory`. Does not
// follow a link. Returns nothing, with errno, when there is no file or it cannot be examined.
std::optional<FileIdentity> IdentityOf(int directory, const char* name);
std::optional<FileIdentity> IdentityOf(int file);

// The directory of one file's streams.
struct StreamDirectory {
    std::string tree;                  // "/volume1/@navoea"
    std::vector<std::string> folders;  // names of the file's folders, as they are outside the tree
    std::string key;                   // hash of the file's name, 16 hexadecimal digits
    FileIdentity identity;

    // The name of the directory, its parent, and its whole path.
    std::string Name() const;
    std::string Parent() const;
    std::string Path() const { return Parent() + '/' + Name(); }

    // The folder in which the file is, or was.
    std::string FileFolder() const;
};

// The directory for the absolute path `file`, without the identity. `file` has no component "..".
StreamDirectory PlaceFor(std::string_view file);

// Reads a path made by StreamDirectory::Path(); nothing for any other path, and for null.
std::optional<StreamDirectory> ParseStreamDirectory(const char* path);

// The same for the name of a directory below `folder`, which has `tree` and `folders`.
std::optional<StreamDirectory> ParseName(const StreamDirectory& folder, std::string_view name);

// Whether `text` begins like the name of a directory of streams: "@" and no second one.
bool IsStreamDirectoryName(std::string_view text);

// The name of a folder in the tree, and the way back.
std::string FolderInTree(const std::string& name);
std::string FolderOutside(const std::string& name);

// The trees that there may be on this server: of each volume, and of everything else.
std::vector<std::string> AllTrees();

// The hash in the names of directories.
std::string NameKey(std::string_view name);

}  // namespace NAVO::platform

#endif
