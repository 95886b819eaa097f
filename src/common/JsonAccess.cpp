// SPDX-License-Identifier: Apache-2.0
#include "common/JsonAccess.h"

namespace NAVO::VELLUMO::json {

bool HasMember(const Json::Value& value, const std::string& key) {
    return value.isObject() && value.isMember(key);
}

const Json::Value& Member(const Json::Value& value, const std::string& key) {
    return HasMember(value, key) ? value[key] : Json::Value::nullSingleton();
}

Json::Value& AsObject(Json::Value& value) {
    if (!value.isObject()) {
        value = Json::Value(Json::objectValue);
    }
    return value;
}

std::string Text(const Json::Value& value, const std::string& defaultValue) {
    return value.isConvertibleTo(Json::stringValue) ? value.asString() : defaultValue;
}

int Integer(const Json::Value& value) {
    return value.isInt() ? value.asInt() : 0;
}

}  // namespace NAVO::VELLUMO::json
