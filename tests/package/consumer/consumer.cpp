// SPDX-License-Identifier: Apache-2.0
// A program of another project: uses a piece of every public header.
#include <vellumo/ConfigManager.h>
#include <vellumo/Constants.h>
#include <vellumo/ContainerPoolManager.h>
#include <vellumo/Converter.h>
#include <vellumo/Path.h>
#include <vellumo/utils.h>

#include <iostream>

int main() {
    using namespace NAVO::VELLUMO;
    path::Path document;
    document.SetData("realPath", "/volume1/docs/Report.DOCX", true);
    const std::string type = document.GetFileType();
    const bool supported = converter::LibreOfficeConverter::_supportTypeSet.count(type) != 0;
    std::cout << SZF_CONFIG_PATH << ' ' << type << ' ' << supported << '\n';
    return type == "docx" && supported && ContainerPoolManager::PRIORITY_HIGH == 2 ? 0 : 1;
}
