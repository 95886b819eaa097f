// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_FOLDER_H
#define VELLUMO_TOOLS_FOLDER_H

#include <string>
#include <vector>

#include "app/Messages.h"
#include "loader/documents/Document.h"

namespace vellumo::cli {

// What lies in a folder and below it.
struct FolderContents {
    std::vector<std::string> documents;  // share paths of what a converter takes, in order of names
    std::vector<Problem> unreadable;     // folders that could not be listed
};

// Looks through `folder` and everything below it. Hidden files and folders (names that begin with
// a dot) and symbolic links are passed over, and so is every file that no converter takes.
FolderContents ContentsOf(const loader::Document& folder);

// Whether `document` is a folder.
bool IsFolder(const loader::Document& document);

}  // namespace vellumo::cli

#endif
