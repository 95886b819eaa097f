// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Assignment.h"

#include <unistd.h>

#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

bool IsPdfKept(const Document& document) {
    return access(StreamPath(document, core::SZK_THUMB_PDF_TYPE).c_str(), F_OK) == 0;
}

}  // namespace

core::ContainerPoolManager::Priority Assignment::Priority() const {
    return service == Service::kThumbnail || pages != nullptr
               ? core::ContainerPoolManager::PRIORITY_LOW
               : core::ContainerPoolManager::PRIORITY_HIGH;
}

const char* Assignment::Stream() const {
    switch (service) {
        case Service::kCachedPdf:
            return core::SZK_THUMB_PDF_TYPE;
        case Service::kThumbnail:
            return core::SZK_THUMB_TYPE;
        case Service::kPdf:
            break;
    }
    return nullptr;
}

const Way& Assignment::WayFor(const Document& document) const {
    return service == Service::kThumbnail || pages != nullptr ? document.family->pages
                                                              : document.family->whole;
}

std::string Assignment::ToolsFor(const Document& document) const {
    if (service != Service::kThumbnail) {
        return WayFor(document).tool;
    }
    // A kept PDF is the source of the first page where there is one; convert draws the picture.
    const Way& cut = IsPdfKept(document) ? FamilyOf("pdf")->pages : WayFor(document);
    return cut.tool + " or convert";
}

}  // namespace vellumo::loader
