// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_UTILS_H
#define VELLUMO_UTILS_H

#include <string>

#include "Export.h"

namespace NAVO {
class APIRequest;
}

namespace NAVO::VELLUMO::path {
class Path;
}

// Operations on files. Each returns whether it succeeded and is re-entrant, except where it changes
// the effective ids. Paths are absolute paths on the host.
namespace NAVO::VELLUMO {

// Moves (`move` true) or copies the file `source` to `destination`, replacing a file that is there.
// Returns false, without a message, when the platform refuses. The other two do the one or the
// other.
VELLUMO_API bool MoveOrCopyFile(const std::string& source, const std::string& destination,
                                bool move);
VELLUMO_API bool MoveFile(const std::string& source, const std::string& destination);
VELLUMO_API bool CopyFile(const std::string& source, const std::string& destination);

// Sets `volumePath` to the volume of the share with whose name `sharePath` begins: to "/volume1"
// for "/docker/@tmp" when the share docker is at /volume1/docker. Returns false, with `volumePath`
// untouched and a message in the system log, for an unknown share.
VELLUMO_API bool VolumePathGet(const std::string& sharePath, std::string& volumePath);

// Sets `type` to the extension of `path` in lower case, without its dot: "pdf" for x.PDF, "gz" for
// a.tar.gz, "" for "x.". Does not examine the file itself. Returns false, with an empty `type`, for
// a name without a dot.
VELLUMO_API bool GetFileType(const std::string& path, std::string& type);

// Whether the file `path` exists and is larger than 10 bytes; a smaller file does not count as a
// product of a conversion. Returns false, with a message in the system log, when the process cannot
// become root. Examines the file as root, so the effective ids change for a moment: no other thread
// may change them at that time.
VELLUMO_API bool IsFileValidSize(const std::string& path);

// Creates an empty file with mode 0600 and sets "realPath" of `out` to its path: `dir`, six random
// characters, "." and `type`. `dir` ends with a slash. The file reserves the name against other
// processes; the caller deletes it.
// Returns false, with `out` untouched and a message in the system log, when the file cannot be
// created.
VELLUMO_API bool CreateTmpFileNameWithType(const std::string& type, const std::string& dir,
                                           path::Path& out);

// Deletes the file `path` and drops its pages from the page cache. Opens it for reading and writing
// first. Returns false, without a message, when the file cannot be opened so or cannot be deleted;
// it then stays.
VELLUMO_API bool RemoveFileDropCache(const std::string& path);

// Records in the transfer log that a document was opened for viewing ("View Document"), if the
// server's setting "filebrowserxferlog" is "yes" (in upper or lower case). Each call reads the
// setting anew.
//
// `displayName`: the name to log, as the user sees the file. `realPath`: the file's real path, used
// for its size only. `request`: the request being served; it stays the caller's.
// The entry names the logged-in user. For a request through a sharing link it names the link's
// owner instead, and the file name in it is then the visitor's account name ("" without one), a
// blank, the server's text "download_log_desc" and `displayName`, with nothing else between them.
//
// Returns true when the entry is written or the setting asks for none. Returns false when the
// document cannot be examined, the visitor's id has no account, the log cannot be written, the
// process cannot become root or `request` is null; all but the visitor without an account are
// logged in the system log.
// Changes the effective ids for a moment: no other thread may change them at that time. Several
// processes may log at once.
VELLUMO_API bool ViewLog(const std::string& displayName, const std::string& realPath,
                         NAVO::APIRequest* request);

}  // namespace NAVO::VELLUMO

#endif
