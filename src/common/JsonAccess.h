// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_JSONACCESS_H
#define VELLUMO_COMMON_JSONACCESS_H

#include <json/value.h>

#include <string>

// Access to JSON of any shape that never throws. JsonCpp's own accessors throw when a value is not
// of the type that they expect, and other programs write the same documents. A value of the wrong
// type counts as absent and is replaced when it is written.
namespace NAVO::VELLUMO::json {

// Returns the member `key` of `value`; a null value when there is none or `value` is not an object.
const Json::Value& Member(const Json::Value& value, const std::string& key);

// Whether `value` is an object with the member `key`.
bool HasMember(const Json::Value& value, const std::string& key);

// Returns `value` itself; replaces it with an empty object first when it is not an object.
Json::Value& AsObject(Json::Value& value);

// Returns the text in `value`; `defaultValue` when it has a type without a text form.
std::string Text(const Json::Value& value, const std::string& defaultValue);

// Returns the integer in `value`; 0 when it has another type.
int Integer(const Json::Value& value);

}  // namespace NAVO::VELLUMO::json

#endif
