// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/FolderRules.h"

#include <string>

#include "loader/documents/Families.h"
#include "vellumo/utils.h"

namespace vellumo::loader {

bool IsHidden(std::string_view name) {
    return name.starts_with('.');
}

bool IsLeftover(std::string_view name) {
    return name.starts_with("~$") || name.starts_with('@') || name == "#recycle";
}

bool IsConvertible(std::string_view name) {
    std::string type;
    return NAVO::VELLUMO::GetFileType(std::string(name), type) && FamilyOf(type) != nullptr;
}

}  // namespace vellumo::loader
