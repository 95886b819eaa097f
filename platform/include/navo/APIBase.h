// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_APIBASE_H
#define NAVO_APIBASE_H

#include <json/value.h>

#include <string>

#include "base.h"

namespace NAVO {

// A JSON document of categories, each an object of keys; the base of objects that a web API hands
// around. A category that is not an object reads as one without keys.
//
// Nothing here throws but for lack of memory. An object belongs to one thread at a time.
class NAVO_API APIBase {
public:
    APIBase();
    virtual ~APIBase();
    APIBase(const APIBase&) = delete;
    APIBase& operator=(const APIBase&) = delete;

    // The order of these operations is part of the binary interface.

    // Whether `category` has the member `key`, also when its value is null.
    virtual bool HasData(const std::string& category, const std::string& key) const;

    // Makes `value` the whole of `category`. `overwrite` false refuses (returns false) when the
    // category exists already. An empty category name is refused.
    virtual bool SetData(const std::string& category, const Json::Value& value, bool overwrite);

    // Sets the member `key` of `category` to `value`; a category that is missing or not an object
    // becomes one. `overwrite` false refuses when the member exists already. An empty category name
    // is refused.
    virtual bool SetData(const std::string& category, const std::string& key,
                         const Json::Value& value, bool overwrite);

    // The member `key` of `category`, or `defaultValue` itself when there is none. The reference
    // lives until the object is changed, or as long as `defaultValue`.
    virtual const Json::Value& GetData(const std::string& category, const std::string& key,
                                       const Json::Value& defaultValue) const;

    // Removes the member `key` of `category`; false when there was none.
    virtual bool ClearData(const std::string& category, const std::string& key);

protected:
    // Makes `category` an empty object; false for an empty name. Defined by the library whose
    // classes start their categories with it (libvellumo), not by libnavo.
    bool InitField(const std::string& category);

private:
    Json::Value _document;
};

}  // namespace NAVO

#endif
