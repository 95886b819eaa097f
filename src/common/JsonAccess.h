// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_JSONACCESS_H
#define VELLUMO_COMMON_JSONACCESS_H

#include <json/value.h>

#include <string>

// Access to JSON of any shape that never throws: JsonCpp's own accessors do when a value is not of
// the kind they expect, and the documents here are shared with other programs. What is of the wrong
// kind reads as absent and is replaced when it is written.
namespace NAVO::VELLUMO::json {

// The member `key` of `value`; a null value when there is none or `value` is no object.
const Json::Value& Member(const Json::Value& value, const std::string& key);

// Whether `value` is an object with the member `key`.
bool HasMember(const Json::Value& value, const std::string& key);

// `value` itself, made an empty object first when it is not an object.
Json::Value& AsObject(Json::Value& value);

// The text in `value`; `defaultValue` when it holds something that has no text form.
std::string Text(const Json::Value& value, const std::string& defaultValue);

// The integer in `value`; 0 when it holds anything else.
int Integer(const Json::Value& value);

}  // namespace NAVO::VELLUMO::json

#endif
