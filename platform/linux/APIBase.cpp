// SPDX-License-Identifier: Apache-2.0
#include <navo/APIBase.h>

namespace NAVO {
namespace {

// JsonCpp's own accessors throw when a value is not of the type that they expect.
bool HasMember(const Json::Value& value, const std::string& key) {
    return value.isObject() && value.isMember(key);
}

}  // namespace

APIBase::APIBase() : _document(Json::objectValue) {}

APIBase::~APIBase() = default;

bool APIBase::HasData(const std::string& category, const std::string& key) const {
    return HasMember(_document, category) && HasMember(_document[category], key);
}

bool APIBase::SetData(const std::string& category, const Json::Value& value, bool overwrite) {
    if (category.empty() || (!overwrite && _document.isMember(category))) {
        return false;
    }
    _document[category] = value;
    return true;
}

bool APIBase::SetData(const std::string& category, const std::string& key, const Json::Value& value,
                      bool overwrite) {
    if (category.empty() || (!overwrite && APIBase::HasData(category, key))) {
        return false;
    }
    Json::Value& members = _document[category];
    if (!members.isObject()) {
        members = Json::Value(Json::objectValue);
    }
    members[key] = value;
    return true;
}

const Json::Value& APIBase::GetData(const std::string& category, const std::string& key,
                                    const Json::Value& defaultValue) const {
    return APIBase::HasData(category, key) ? _document[category][key] : defaultValue;
}

bool APIBase::ClearData(const std::string& category, const std::string& key) {
    if (!APIBase::HasData(category, key)) {
        return false;
    }
    _document[category].removeMember(key);
    return true;
}

}  // namespace NAVO
