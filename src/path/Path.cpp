// SPDX-License-Identifier: Apache-2.0
#include "vellumo/Path.h"

#include "common/JsonAccess.h"
#include "vellumo/utils.h"

namespace NAVO {

// The base class is the platform's. This one operation of it is defined here, with the classes that
// create their categories with it.
bool APIBase::InitField(const std::string& category) {
    if (category.empty()) {
        return false;
    }
    _document[category] = Json::Value(Json::objectValue);
    return true;
}

}  // namespace NAVO

namespace NAVO::VELLUMO::path {
namespace {

constexpr const char* kCategory = "path";

}  // namespace

Path::~Path() = default;

bool Path::SetData(const std::string& key, const Json::Value& value, bool flag) {
    return APIBase::SetData(kCategory, key, value, flag);
}

bool Path::SetData(const Json::Value& value, bool flag) {
    return APIBase::SetData(kCategory, value, flag);
}

bool Path::HasData(const std::string& key) const {
    return APIBase::HasData(kCategory, key);
}

const Json::Value& Path::GetData(const std::string& key, const Json::Value& defaultValue) const {
    return APIBase::GetData(kCategory, key, defaultValue);
}

bool Path::ClearData(const std::string& key) {
    return APIBase::ClearData(kCategory, key);
}

std::string Path::Attribute(const std::string& key, const std::string& defaultValue) const {
    return HasData(key) ? json::Text(GetData(key, ""), defaultValue) : defaultValue;
}

void Path::Remember(const std::string& key, const std::string& value) const {
    // Storing a computed value does not change what the getters return.
    const_cast<Path*>(this)->SetData(key, value, true);  // NOLINT(*-const-cast)
}

std::string Path::GetSharePath(const std::string& defaultValue) const {
    return Attribute("sharePath", defaultValue);
}

std::string Path::GetEAType(const std::string& defaultValue) const {
    return Attribute("EAType", defaultValue);
}

std::string Path::GetUser(const std::string& defaultValue) const {
    return Attribute("user", defaultValue);
}

std::string Path::GetRealPath(const std::string& defaultValue) const {
    if (HasData("realPath")) {
        return Attribute("realPath", defaultValue);
    }
    if (!HasData("sharePath")) {
        return defaultValue;
    }
    std::string realPath;
    if (!ShareToRealPath(GetSharePath(""), realPath, GetUser(""))) {
        return defaultValue;
    }
    Remember("realPath", realPath);
    return realPath;
}

std::string Path::GetEAPath(const std::string& defaultValue) const {
    if (HasData("EAPath")) {
        return Attribute("EAPath", defaultValue);
    }
    if (!HasData("EAType")) {
        return defaultValue;
    }
    std::string eaPath;
    if (!RealPathToEAPath(GetRealPath(""), eaPath, GetEAType(""))) {
        return defaultValue;
    }
    Remember("EAPath", eaPath);
    return eaPath;
}

std::string Path::GetEAPathWithType(const std::string& type,
                                    const std::string& defaultValue) const {
    std::string eaPath;
    return RealPathToEAPath(GetRealPath(""), eaPath, type) ? eaPath : defaultValue;
}

std::string Path::GetFileType(const std::string& defaultValue) const {
    if (HasData("fileType")) {
        return Attribute("fileType", defaultValue);
    }
    std::string type;
    if (!VELLUMO::GetFileType(GetRealPath(""), type)) {
        return defaultValue;
    }
    Remember("fileType", type);
    return type;
}

std::string Path::GetFileName(const std::string& defaultValue) const {
    const std::string realPath = GetRealPath("");
    const size_t slash = realPath.rfind('/');
    return slash == std::string::npos ? defaultValue : realPath.substr(slash + 1);
}

}  // namespace NAVO::VELLUMO::path
