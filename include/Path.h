// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_PATH_H
#define VELLUMO_PATH_H

#include <json/value.h>
#include <navo/APIBase.h>

#include <sstream>
#include <string>

#include "Export.h"

namespace NAVO::VELLUMO::path {

// The handle of one file: a set of named text attributes. The caller sets what it knows, usually
// "sharePath" and "user"; the object computes the others when they are first asked for and stores
// them.
//
//   sharePath  the file as its user sees it: "/", the share's name, the path inside the share
//   user       login name of the user for whom the file is read
//   EAType     the stream whose path GetEAPath returns, such as SZK_THUMB_TYPE
//   realPath   absolute path on the volume          (set by the caller or computed)
//   EAPath     absolute path of the "EAType" stream (computed)
//   fileType   lower-case extension without its dot (computed)
//   EADirectory  the extended-attribute directory of the file that is meant (set by the caller): a
//              conversion refuses another file that has got the name meanwhile
//
// A stored attribute stays until it is cleared. To use an object for another file, also clear
// "realPath", "EAPath" and "fileType", or replace all attributes.
//
// A getter returns its `defaultValue` when the attribute is absent and cannot be computed, or is
// not a text; the operations that compute attributes log their failures. One thread at a time may
// use an object, also to call getters of a const object: they store what they compute.
class VELLUMO_API Path : private NAVO::APIBase {
public:
    Path() { InitField("path"); }
    ~Path() override;
    Path(const Path&) = delete;
    Path& operator=(const Path&) = delete;

    // Sets the attribute `key`. `flag`: true replaces an existing value; false leaves it and
    // returns false.
    bool SetData(const std::string& key, const Json::Value& value, bool flag) override;

    // Whether the attribute `key` is present.
    virtual bool HasData(const std::string& key) const;

    // Replaces all attributes with the members of `value`, an object. `flag`: true replaces
    // existing attributes; false leaves them and returns false.
    virtual bool SetData(const Json::Value& value, bool flag);

    // Returns the attribute `key`, or `defaultValue` itself when it is absent. The reference is
    // valid until the object is changed, or as long as `defaultValue` lives.
    virtual const Json::Value& GetData(const std::string& key,
                                       const Json::Value& defaultValue) const;

    // Removes the attribute `key`. Returns false when it is absent.
    virtual bool ClearData(const std::string& key);

    // Return "sharePath", "EAType" and "user"; compute nothing.
    std::string GetSharePath(const std::string& defaultValue = "") const;
    std::string GetEAType(const std::string& defaultValue = "") const;
    std::string GetUser(const std::string& defaultValue = "") const;

    // Returns "realPath". Computes it from "sharePath" and "user" with ShareToRealPath, and stores
    // it.
    std::string GetRealPath(const std::string& defaultValue = "") const;

    // Returns "EAPath". Computes it from the real path and "EAType" with RealPathToEAPath, which
    // creates the file's extended-attribute directory if it is missing, and stores it.
    std::string GetEAPath(const std::string& defaultValue = "") const;

    // Returns the path of the file's stream `type`; for "", the extended-attribute directory
    // itself. Computes it with RealPathToEAPath each time and never stores it.
    std::string GetEAPathWithType(const std::string& type,
                                  const std::string& defaultValue = "") const;

    // Returns "fileType". Computes it from the real path with NAVO::VELLUMO::GetFileType, and
    // stores it.
    std::string GetFileType(const std::string& defaultValue = "") const;

    // Returns the part of the real path after the last slash: "" for a path that ends in a slash,
    // `defaultValue` for a path without any.
    std::string GetFileName(const std::string& defaultValue = "") const;

    // Whether "user" may read the file: asks HasReadPermission about the real path; what is said
    // there about ids and threads holds here too. Without "user", returns false and examines
    // nothing.
    bool CheckPermission() const;

    // The same for `user`, which becomes the object's "user" whatever the answer.
    bool CheckPermission(const std::string& user);

private:
    // Hides the base's operations by category: users of a Path see only those above.
    using NAVO::APIBase::ClearData;
    using NAVO::APIBase::GetData;
    using NAVO::APIBase::HasData;
    using NAVO::APIBase::SetData;

    VELLUMO_INTERNAL std::string Attribute(const std::string& key,
                                           const std::string& defaultValue) const;
    VELLUMO_INTERNAL void Remember(const std::string& key, const std::string& value) const;

    std::stringstream _stream;  // part of the object's layout; nothing reads or writes it
};

// Maps a share path to the real path on the volume.
//
// `sharePath`: begins with "/" and the share's name. Components such as ".." are mapped as they
// stand: the caller must refuse them. The caller must not pass the bare home alias without its
// trailing slash ("/home"): it throws std::out_of_range.
// `user`: a login name; used only for the home alias, as in "/home/a.docx".
// Returns false, with `realPath` untouched and a message in the system log, for a malformed path,
// an unknown share or a user without a home. Re-entrant; reads no file but the platform's
// configuration.
VELLUMO_API bool ShareToRealPath(const std::string& sharePath, std::string& realPath,
                                 const std::string& user);

// Sets `eaPath` to the path of the stream `eaType` ("" for the directory itself) of the file
// `realPath`. Creates the file's extended-attribute directory, as root, if it is missing.
//
// Returns false, with `eaPath` untouched, when the platform refuses the path or the stream's name,
// when the directory cannot be created or when the process cannot become root; each but a refused
// stream's name is logged.
// Changes the effective ids for a moment: no other thread may change them at that time.
VELLUMO_API bool RealPathToEAPath(const std::string& realPath, std::string& eaPath,
                                  const std::string& eaType);

// Whether the share with whose name `sharePath` begins lies on a scale-out volume. Looks up the
// home alias like any other share. Returns false, with a message in the system log, for a malformed
// path or an unknown share. Re-entrant.
VELLUMO_API bool IsScaleVolume(const std::string& sharePath);

// Whether the account `user` may read the file at `realPath`. The volume's access control lists and
// permissions decide, including those of the folders above the file.
//
// Returns false too, with a message in the system log, when the question cannot be answered: the
// process cannot become root, there is no such account or no such file, or the user may not search
// a folder above the file.
// The process becomes root and then acts as the user for a moment. Afterwards its effective ids and
// its supplementary groups are what they were before, whatever the answer. Both belong to the whole
// process: at that time no other thread may change ids or do work that depends on them.
VELLUMO_API bool HasReadPermission(const std::string& realPath, const std::string& user);

}  // namespace NAVO::VELLUMO::path

#endif
