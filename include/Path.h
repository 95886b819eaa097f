// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_PATH_H
#define VELLUMO_PATH_H

#include <json/value.h>
#include <navo/APIBase.h>

#include <sstream>
#include <string>

#include "Export.h"

namespace NAVO::VELLUMO::path {

// The handle of one file: a bag of named string attributes. The caller sets what it knows, usually
// "sharePath" and "user"; the object works out the rest on first demand and remembers it.
//
//   sharePath  the file as its user sees it: "/", the share's name, the path inside the share
//   user       login name of the user on whose behalf the file is read
//   EAType     stream that GetEAPath resolves to, such as SZK_THUMB_TYPE
//   realPath   absolute path on the volume          (set by the caller or computed)
//   EAPath     absolute path of the "EAType" stream (computed)
//   fileType   lower-case extension without its dot (computed)
//
// A remembered attribute stays until it is cleared: who points an object at another file clears
// "realPath", "EAPath" and "fileType" as well, or replaces the whole bag.
//
// Failures are logged by the operations underneath and become the caller's default. A getter of an
// attribute that is absent, or is no text, returns that default. An object belongs to one thread
// at a time; getters of a const object count as changes in this respect.
class VELLUMO_API Path : private NAVO::APIBase {
public:
    Path() { InitField("path"); }
    ~Path() override;
    Path(const Path&) = delete;
    Path& operator=(const Path&) = delete;

    // Sets attribute `key`. `flag` true replaces an existing value; false refuses to and returns
    // false.
    bool SetData(const std::string& key, const Json::Value& value, bool flag) override;

    // Whether attribute `key` is present.
    virtual bool HasData(const std::string& key) const;

    // Makes `value`, an object, the whole bag. `flag` as above.
    virtual bool SetData(const Json::Value& value, bool flag);

    // The attribute `key`, or `defaultValue` itself when it is absent. The reference lives until
    // the object is changed, or as long as `defaultValue`.
    virtual const Json::Value& GetData(const std::string& key,
                                       const Json::Value& defaultValue) const;

    // Removes attribute `key`; false when it was absent.
    virtual bool ClearData(const std::string& key);

    std::string GetSharePath(const std::string& defaultValue = "") const;
    std::string GetEAType(const std::string& defaultValue = "") const;
    std::string GetUser(const std::string& defaultValue = "") const;

    // Computed from the share path and the user by ShareToRealPath, and remembered.
    std::string GetRealPath(const std::string& defaultValue = "") const;

    // Computed from the real path and "EAType" by RealPathToEAPath, and remembered. Creates the
    // file's extended-attribute directory when that is missing.
    std::string GetEAPath(const std::string& defaultValue = "") const;

    // The path of stream `type` of the file, computed each time and never remembered; "" names the
    // extended-attribute directory itself, which is created when it is missing.
    std::string GetEAPathWithType(const std::string& type,
                                  const std::string& defaultValue = "") const;

    // Computed from the real path by NAVO::VELLUMO::GetFileType, and remembered.
    std::string GetFileType(const std::string& defaultValue = "") const;

    // What follows the last slash of the real path: "" for a path that ends in one, the default
    // for a path without any.
    std::string GetFileName(const std::string& defaultValue = "") const;

    // Whether "user" may read the file: HasReadPermission of the real path, with its conditions.
    // False without "user", without looking at anything.
    bool CheckPermission() const;

    // The same for `user`, which becomes the object's "user" whatever the answer.
    bool CheckPermission(const std::string& user);

private:
    // Only Path's own names are seen from outside; the operations by category stay the base's.
    using NAVO::APIBase::ClearData;
    using NAVO::APIBase::GetData;
    using NAVO::APIBase::HasData;
    using NAVO::APIBase::SetData;

    VELLUMO_INTERNAL std::string Attribute(const std::string& key,
                                           const std::string& defaultValue) const;
    VELLUMO_INTERNAL void Remember(const std::string& key, const std::string& value) const;

    std::stringstream _stream;  // kept for the layout of the object; nothing reads or writes it
};

// Maps a share path to the real path on the volume. `user` (a login name) matters only for the home
// alias, as in "/home/a.docx". Components such as ".." are mapped as they stand: refusing them is
// the caller's work.
//
// `sharePath` begins with "/" and the share's name. The bare home alias without its trailing slash
// ("/home") must not be passed: it throws std::out_of_range.
// Returns false, with `realPath` untouched and a message in the system log, for a malformed path,
// an unknown share or a user without a home. Re-entrant; touches no file but the platform's
// configuration.
VELLUMO_API bool ShareToRealPath(const std::string& sharePath, std::string& realPath,
                                 const std::string& user);

// Gives the path of stream `eaType` ("" for the directory itself) of the file `realPath`, and
// creates the file's extended-attribute directory, as root, when it is missing.
//
// Returns false, with `eaPath` untouched and a message in the system log where there is something
// to mend, when the platform refuses the path or the directory cannot be created.
// Changes the effective ids for a moment: no other thread may do the same at that time.
VELLUMO_API bool RealPathToEAPath(const std::string& realPath, std::string& eaPath,
                                  const std::string& eaType);

// Whether the share that `sharePath` begins with lies on a scale-out volume. False, with a message
// in the system log, for a malformed path or an unknown share; the home alias is looked up like any
// other share.
VELLUMO_API bool IsScaleVolume(const std::string& sharePath);

// Whether the account `user` may read the file at `realPath`, as the volume's access control lists
// and permissions have it, those of the folders above included. For that the process acts as the
// user for a moment, and must be able to become root; afterwards its effective ids and its
// supplementary groups are what they were, whatever the answer. They are the whole process's: no
// other thread may change ids, or do what needs them, at the same time.
//
// False too, with a message in the system log, when the question cannot be asked: no root, no such
// account, no such file, or a folder above that the user may not search.
VELLUMO_API bool HasReadPermission(const std::string& realPath, const std::string& user);

}  // namespace NAVO::VELLUMO::path

#endif
