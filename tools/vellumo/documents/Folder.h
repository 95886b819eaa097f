// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FOLDER_H
#define VELLUMO_TOOLS_FOLDER_H

#include <sys/types.h>

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "app/Messages.h"
#include "loader/documents/Document.h"

namespace vellumo::cli {

// What a walk passes over, beside hidden files and folders (names that begin with a dot), symbolic
// links, and files that no converter takes.
struct FolderFilter {
    // Owner files of offices (names that begin with "~$"), recycle folders ("#recycle"), and the
    // server's own and temporary files and folders (names that begin with '@').
    bool skipsLeftovers = false;

    // Glob patterns. A file or folder is skipped when one matches its name, or its path below the
    // folder in which the walk begins; '*' matches slashes too.
    std::vector<std::string> excluded;

    // Documents that were last changed before this time are skipped.
    std::optional<std::time_t> newerThan;
};

struct FoundDocument {
    std::string sharePath;
    std::string realPath;
    off_t size;
};

// A walk through a folder and all folders below it, in small steps, so that a program can do other
// things before it has ended.
class FolderWalk {
public:
    // `filter` is not owned and outlives the object.
    FolderWalk(const loader::Document& top, const FolderFilter& filter);

    // Looks at one more entry of a folder; false when there is none. `found`: the document, if the
    // entry is one that can be converted.
    bool Step(std::optional<FoundDocument>& found);

    // The folders that could not be listed so far.
    const std::vector<Problem>& Unreadable() const { return _unreadable; }

private:
    bool OpenNextFolder();
    void NoteError(const std::error_code& error);
    std::optional<FoundDocument> Examine(const std::filesystem::directory_entry& entry);
    bool IsSkipped(const std::string& name, const std::string& path) const;
    std::optional<FoundDocument> Document(const std::string& path) const;

    std::string _sharePath;
    std::string _realPath;
    const FolderFilter& _filter;
    std::vector<std::string> _waiting{""};  // paths below the top, each beginning with a slash
    std::string _folder;                    // the path of the folder that is listed now
    std::filesystem::directory_iterator _entry;
    std::vector<Problem> _unreadable;
};

// The documents in a folder and below it.
struct FolderContents {
    std::vector<std::string> documents;  // share paths of what can be converted, sorted
    std::vector<Problem> unreadable;     // folders that cannot be listed
};

// Lists the documents in `folder` and below it, as a walk without a filter finds them.
FolderContents ContentsOf(const loader::Document& folder);

// Whether `document` is a folder.
bool IsFolder(const loader::Document& document);

}  // namespace vellumo::cli

#endif
