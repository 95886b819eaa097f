// SPDX-License-Identifier: Apache-2.0
#include "loader/documents/Families.h"

#include <algorithm>
#include <sstream>

#include "vellumo/Constants.h"
#include "vellumo/Converter.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;
namespace converter = core::converter;

template <typename Converter>
Way WayOf(const char* name, const char* targetType) {
    Converter instance(core::ContainerPoolManager::PRIORITY_LOW);
    std::vector<std::string> command;
    instance.GetCommand(command);
    return {name, command.front(), targetType};
}

const std::vector<Family>& Families() {
    static const std::vector<Family> families{
        {converter::LibreOfficeConverter::_supportTypeSet,
         WayOf<converter::LibreOfficeConverter>("LibreOfficeConverter", "pdf"),
         WayOf<converter::UnoconvConverter>("UnoconvConverter", "pdf")},
        {converter::CalibreConverter::_supportTypeSet,
         WayOf<converter::CalibreConverter>("CalibreConverter", "pdf"),
         WayOf<converter::CalibreThumbnailConverter>("CalibreThumbnailConverter", "jpg")},
        {converter::UnoconvSpreadSheetConverter::_supportTypeSet,
         WayOf<converter::UnoconvSpreadSheetConverter>("UnoconvSpreadSheetConverter", "pdf"),
         WayOf<converter::UnoconvSpreadSheetConverter>("UnoconvSpreadSheetConverter", "pdf")},
        {converter::PdftkConverter::_supportTypeSet,
         WayOf<converter::PdftkConverter>("PdftkConverter", "pdf"),
         WayOf<converter::PdftkConverter>("PdftkConverter", "pdf")},
    };
    return families;
}

}  // namespace

const Family* FamilyOf(const std::string& type) {
    for (const Family& family : Families()) {
        if (family.types.contains(type)) {
            return &family;
        }
    }
    return nullptr;
}

std::vector<std::string> SupportedTypes() {
    std::vector<std::string> types;
    std::istringstream list(core::SZF_SUPPORT_FILE_TYPES);
    for (std::string type; std::getline(list, type, ',');) {
        if (std::find(types.begin(), types.end(), type) == types.end()) {
            types.push_back(type);
        }
    }
    return types;
}

}  // namespace vellumo::loader
