// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_APIBASE_H
#define NAVO_APIBASE_H

#include <json/value.h>

#include <string>

#include "base.h"

namespace NAVO {

// A JSON document of categories, each an object of keys; the base class of objects that a web API
// passes around. A category that is not an object counts as one without keys.
//
// Nothing here throws, except when memory runs out. One thread at a time may use an object.
class NAVO_API APIBase {
public:
    APIBase();
    virtual ~APIBase();
    APIBase(const APIBase&) = delete;
    APIBase& operator=(const APIBase&) = delete;

    // The order of these operations is part of the binary interface.

    // Whether `category` has the member `key`, also when its value is null.
    virtual bool HasData(const std::string& category, const std::string& key) const;

    // Replaces the whole of `category` with `value`. `overwrite`: false leaves a category that
    // exists already. Returns false when it does so and for an empty category name.
    virtual bool SetData(const std::string& category, const Json::Value& value, bool overwrite);

    // Sets the member `key` of `category` to `value`; a category that is missing or not an object
    // becomes one. `overwrite`: false leaves a member that exists already. Returns false when it
    // does so and for an empty category name.
    virtual bool SetData(const std::string& category, const std::string& key,
                         const Json::Value& value, bool overwrite);

    // Returns the member `key` of `category`, or `defaultValue` itself when there is none. The
    // reference is valid until the object is changed, or as long as `defaultValue` lives.
    virtual const Json::Value& GetData(const std::string& category, const std::string& key,
                                       const Json::Value& defaultValue) const;

    // Removes the member `key` of `category`. Returns false when there is none.
    virtual bool ClearData(const std::string& category, const std::string& key);

protected:
    // Makes `category` an empty object. Returns false for an empty name. Defined in libvellumo,
    // whose classes create their categories with it, and not in libnavo.
    bool InitField(const std::string& category);

private:
    Json::Value _document;
};

}  // namespace NAVO

#endif
