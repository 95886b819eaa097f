// SPDX-License-Identifier: Apache-2.0
#include "common/Log.h"
#include "common/ResultCode.h"
#include "config/Leases.h"
#include "converter/ScratchEnvironment.h"
#include "converter/ScratchFiles.h"
#include "vellumo/Constants.h"
#include "vellumo/Converter.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kSource = "Converter";

// The scratch files of one run, as far as they were created. At the end of the run it removes the
// source, and the product unless that is kept for the caller.
class ScratchFiles {
public:
    ScratchFiles(const path::Path& source, const path::Path& target)
        : _source(source), _target(target) {}
    ~ScratchFiles() {
        if (!_source.GetRealPath("").empty()) {
            RemoveScratchSource(_source);
        }
        if (!_productKept && !_target.GetRealPath("").empty()) {
            RemoveScratchTarget(_target.GetRealPath(""));
        }
    }
    ScratchFiles(const ScratchFiles&) = delete;
    ScratchFiles& operator=(const ScratchFiles&) = delete;

    void KeepProduct() { _productKept = true; }

private:
    const path::Path& _source;
    const path::Path& _target;
    bool _productKept = false;
};

// With a slash at its end.
std::string DirectoryOf(const path::Path& file) {
    const std::string path = file.GetRealPath("");
    return path.substr(0, path.rfind('/') + 1);
}

int RunTool(ConverterBase& converter, ContainerPoolManager& pool) {
    std::vector<std::string> argv;
    converter.GetCommand(argv);
    const int result = pool.Execute(argv, converter._priority);
    if (result == kResultSuccess && !IsFileValidSize(converter._tmpTgtPath.GetRealPath(""))) {
        return kResultToolFailed;
    }
    return result;
}

}  // namespace

ConverterBase::ConverterBase(ContainerPoolManager::Priority priority) : _priority(priority) {}

ConverterBase::~ConverterBase() = default;

bool ConverterBase::IsNeedSameFolder() {
    return false;
}

int ConverterBase::Convert(const std::string& targetType, const path::Path& src, path::Path& dst) {
    ContainerPoolManager* pool =
        ContainerPoolManager::Instance(MAX_USING_COUNT, MAX_MEMORY_COUNT, PARALLEL_COUNT);

    leases::Prepare();
    const ScratchLease lease;
    ScratchFiles scratch(_tmpSrcPath, _tmpTgtPath);
    if (!CreateConvertEnvironment(src, targetType, _tmpSrcPath, _tmpTgtPath, IsNeedSameFolder())) {
        log::Failed(kSource, 179,
                    "! CreateConvertEnvironment(originPath, strFileType, _tmpSrcPath, _tmpTgtPath, "
                    "IsNeedSameFolder())");
        return kResultNotPrepared;
    }
    const int result = RunTool(*this, *pool);
    RemoveLeftScratchFiles({DirectoryOf(_tmpSrcPath), DirectoryOf(_tmpTgtPath)});
    if (result == kResultSuccess) {
        dst.SetData("realPath", _tmpTgtPath.GetRealPath(""), true);
        scratch.KeepProduct();
    }
    return result;
}

}  // namespace NAVO::VELLUMO::converter
