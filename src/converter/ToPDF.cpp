// SPDX-License-Identifier: Apache-2.0
#include "common/Log.h"
#include "common/ResultCode.h"
#include "vellumo/Converter.h"

namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kSource = "Converter";

struct Job {
    const path::Path& source;
    path::Path& output;
    const Json::Value& options;
};

template <typename Converter, ContainerPoolManager::Priority priority>
int Run(const char* targetType, const Job& job) {
    Converter converter(priority);
    converter._options = job.options;
    return converter.Convert(targetType, job.source, job.output);
}

template <typename Converter>
constexpr auto RunWhole = Run<Converter, ContainerPoolManager::PRIORITY_HIGH>;

template <typename Converter>
constexpr auto RunPages = Run<Converter, ContainerPoolManager::PRIORITY_LOW>;

struct Way {
    int (*run)(const char* targetType, const Job& job);
    const char* targetType;
};

// The file types of one set, and how to convert them.
struct Service {
    const std::set<std::string>& types;
    Way whole;
    Way pages;
};

// The first set that contains the type decides.
const Service kServices[] = {
    {LibreOfficeConverter::_supportTypeSet,
     {RunWhole<LibreOfficeConverter>, "pdf"},
     {RunPages<UnoconvConverter>, "pdf"}},
    {CalibreConverter::_supportTypeSet,
     {RunWhole<CalibreConverter>, "pdf"},
     {RunPages<CalibreThumbnailConverter>, "jpg"}},
    {UnoconvSpreadSheetConverter::_supportTypeSet,
     {RunWhole<UnoconvSpreadSheetConverter>, "pdf"},
     {RunPages<UnoconvSpreadSheetConverter>, "pdf"}},
    {PdftkConverter::_supportTypeSet,
     {RunWhole<PdftkConverter>, "pdf"},
     {RunPages<PdftkConverter>, "pdf"}},
};

}  // namespace

int ToPDF(const path::Path& source, path::Path& output, const char* pageRange) {
    const std::string type = source.GetFileType("");
    Json::Value options;
    if (pageRange != nullptr) {
        options["PageRange"] = pageRange;
    }
    if (type.empty()) {
        log::Failed(kSource, 321, "strSrcType.empty()");
        return kResultNotPrepared;
    }
    for (const Service& service : kServices) {
        if (service.types.contains(type)) {
            const Way& way = pageRange == nullptr ? service.whole : service.pages;
            return way.run(way.targetType, {source, output, options});
        }
    }
    log::Error(kSource, 349, "err type: %s", type.c_str());
    return kResultNotPrepared;
}

}  // namespace NAVO::VELLUMO::converter
