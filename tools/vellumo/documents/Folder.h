// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FOLDER_H
#define VELLUMO_TOOLS_FOLDER_H

#include <string>
#include <vector>

#include "app/Messages.h"
#include "loader/documents/Document.h"

namespace vellumo::cli {

// The documents in a folder and below it.
struct FolderContents {
    std::vector<std::string> documents;  // share paths of what can be converted, sorted
    std::vector<Problem> unreadable;     // folders that cannot be listed
};

// Lists the documents in `folder` and below it. Skips hidden files and folders (names that begin
// with a dot), symbolic links, and files that no converter takes.
FolderContents ContentsOf(const loader::Document& folder);

// Whether `document` is a folder.
bool IsFolder(const loader::Document& document);

}  // namespace vellumo::cli

#endif
