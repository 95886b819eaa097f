// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_SCRATCHENVIRONMENT_H
#define VELLUMO_CONVERTER_SCRATCHENVIRONMENT_H

#include <string>

#include "vellumo/Path.h"

namespace NAVO::VELLUMO::converter {

// Prepares one conversion of `src` in the scratch directories, which every container sees. Creates
// those directories if they are missing. Empties both objects, then sets their "realPath":
//
//   scratchSource  a file with a unique name, the source's type and the source's content
//   scratchTarget  an empty file with a unique name and `targetType`; for a tool that names its
//                  product after its input (`sameName`), the scratch source's base name with
//                  `targetType`, which no file has yet
//
// Returns false, with a message in the system log for each step that failed, on failure. The
// objects then name the files created up to that point.
bool CreateConvertEnvironment(const path::Path& src, const std::string& targetType,
                              path::Path& scratchSource, path::Path& scratchTarget, bool sameName);

}  // namespace NAVO::VELLUMO::converter

#endif
