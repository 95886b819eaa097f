// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_DOCUMENT_H
#define VELLUMO_ENGINE_SCRATCH_DOCUMENT_H

#include <string>

namespace vellumo::engine {

// Copies the scratch source `source`, a hard link to a user's own file, to the new file `copy`,
// which all users may read. Where the file system supports it, both files share their blocks.
//
// Throws Failure with kRefused for a document that no tool may read: one that cannot be opened, an
// empty one (tools turn it into a blank page) and a .pdf that is not a PDF (it would be run as a
// PostScript program). The message names the file. Throws Failure with kEngineFailed when the
// document cannot be copied.
void CopyDocument(const std::string& source, const std::string& copy);

}  // namespace vellumo::engine

#endif
