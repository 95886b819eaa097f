// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_ENGINE_SCRATCH_DOCUMENT_H
#define VELLUMO_ENGINE_SCRATCH_DOCUMENT_H

#include <string>

namespace vellumo::engine {

// Copies the scratch source `source`, which is a user's own file under a second name, to the new
// file `copy`, readable by all; where the file system can, both share their blocks.
//
// Throws Failure with kRefused for a document that no tool should see: one that cannot be read, an
// empty one (tools make a blank page of it) and a .pdf that is none (it would be run as a
// PostScript program). The text names the file. Throws kEngineFailed when it cannot be copied.
void CopyDocument(const std::string& source, const std::string& copy);

}  // namespace vellumo::engine

#endif
