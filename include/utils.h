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

// File helpers. Each reports success as a bool and is re-entrant; paths are absolute host paths.
namespace NAVO::VELLUMO {

// Moves (`move` true) or copies the file `source` to `destination`, replacing what lies there.
// False when the platform refuses; nothing is logged.
VELLUMO_API bool MoveOrCopyFile(const std::string& source, const std::string& destination,
                                bool move);
VELLUMO_API bool MoveFile(const std::string& source, const std::string& destination);
VELLUMO_API bool CopyFile(const std::string& source, const std::string& destination);

// Sets `volumePath` to the volume that holds a share: for "/docker/@tmp", whose share is docker at
// /volume1/docker, to "/volume1". False for an unknown share, with a message in the system log;
// `volumePath` is then untouched.
VELLUMO_API bool VolumePathGet(const std::string& sharePath, std::string& volumePath);

// Sets `type` to the extension of `path`, lower-case and without its dot: "pdf" for x.PDF, "gz" for
// a.tar.gz, "" for "x.". False, with an empty `type`, for a name without a dot. The file itself is
// not looked at.
VELLUMO_API bool GetFileType(const std::string& path, std::string& type);

// Whether `path` exists and is larger than 10 bytes, the least that counts as a product of a
// conversion. Looks as root, so the effective ids change for a moment: no other thread may do the
// same at that time. False, with a message in the system log, when root cannot be had.
VELLUMO_API bool IsFileValidSize(const std::string& path);

// Creates an empty file of mode 0600 named `dir`, six random characters, "." and `type`, and makes
// it the "realPath" of `out`. `dir` carries its own trailing slash. The name is reserved against
// other processes by the file, which stays and is the caller's to delete.
// False, with `out` untouched and a message in the system log, when the file cannot be made.
VELLUMO_API bool CreateTmpFileNameWithType(const std::string& type, const std::string& dir,
                                           path::Path& out);

// Deletes `path` and drops its pages from the page cache. The file is opened for reading and
// writing first; where the caller may not do that, it stays and the result is false. True when the
// file was unlinked. Nothing is logged.
VELLUMO_API bool RemoveFileDropCache(const std::string& path);

// Records in the transfer log that a document was opened for viewing ("View Document"), when the
// server's setting "filebrowserxferlog" is "yes" in whatever case; it is read by each call.
//
// `displayName`: the name to log, as the user sees the file. `realPath`: where it lies; only its
// size is looked at. `request`: the request being served, the caller's. A view by a logged-in user
// is charged to that user; one through a sharing link to the link's owner, and the name logged is
// then the visitor's account name ("" without one), a blank, the server's text "download_log_desc"
// and `displayName`, with nothing else between them.
//
// True when the entry is written or none is wanted. False for a document that cannot be looked at,
// a visitor whose id has no account (the one case without a message in the system log), a log that
// cannot be written and a process that cannot become root. Changes the effective ids for a moment:
// no other thread may do the same at that time. Processes may log at once.
VELLUMO_API bool ViewLog(const std::string& displayName, const std::string& realPath,
                         NAVO::APIRequest* request);

}  // namespace NAVO::VELLUMO

#endif
