// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONVERTER_SCRATCHENVIRONMENT_H
#define VELLUMO_CONVERTER_SCRATCHENVIRONMENT_H

#include <string>

#include "vellumo/Path.h"

namespace NAVO::VELLUMO::converter {

// Prepares one conversion of `src` in the scratch directories that every container sees, and
// creates those directories when they are missing:
//
//   scratchSource  a unique name with the source's type, filled with the source's content
//   scratchTarget  a unique name with `targetType`; reserved by an empty file, or, for a tool that
//                  names its product after its input (`sameName`), the source's base name, which
//                  no file has yet
//
// Both objects are emptied first. False, with a message in the system log for each step that could
// not be done, when something fails; they then name whatever was created up to that point.
bool CreateConvertEnvironment(const path::Path& src, const std::string& targetType,
                              path::Path& scratchSource, path::Path& scratchTarget, bool sameName);

}  // namespace NAVO::VELLUMO::converter

#endif
