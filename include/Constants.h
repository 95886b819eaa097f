// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONSTANTS_H
#define VELLUMO_CONSTANTS_H

#include <cstdint>

#include "Export.h"

// The package's fixed locations and limits, defined once for the library and for every program that
// loads it. SZF_ names a file or directory, SZK_ a key (the name of a cached stream), SZ_ another
// text. None ever changes; any thread may read them.
namespace NAVO::VELLUMO {

// The indexing queue file that the daemon is working on.
VELLUMO_API extern const char* const SZF_INDEX_QUEUE_WORKING;
// Directory of the indexing queue, with its trailing slash.
VELLUMO_API extern const char* const SZF_INDEX_QUEUE_DIR;
// The daemon's indexing queue file.
VELLUMO_API extern const char* const SZF_INDEX_QUEUE;
// Indexing settings.
VELLUMO_API extern const char* const SZF_INDEX_CONFIG;
// The daemon's executable.
VELLUMO_API extern const char* const SZF_INDEX_DAEMON;
// Marker file whose presence switches indexing on.
VELLUMO_API extern const char* const SZF_ENABLE_INDEX;
// The daemon's pid file.
VELLUMO_API extern const char* const SZF_PIDPATH;
// Per-user data directory of the package.
VELLUMO_API extern const char* const SZF_UDC_PATH;
// The user name that stands for visitors of a sharing link.
VELLUMO_API extern const char* const SZ_ANONYMOUS_USER;
// The action in a transfer-log entry for a viewed document.
VELLUMO_API extern const char* const SZ_TYPE_VIEW;
// File extensions that the package can show, separated by commas ("sxd" appears twice).
VELLUMO_API extern const char* const SZF_SUPPORT_FILE_TYPES;
// Stream name of a document's converted PDF.
VELLUMO_API extern const char* const SZK_THUMB_PDF_TYPE;
// Stream name of a document's thumbnail.
VELLUMO_API extern const char* const SZK_THUMB_TYPE;
// Scratch directory for products, relative to the docker scratch root; the same text is its
// absolute path inside every container. Begins and ends with a slash.
VELLUMO_API extern const char* const SZF_COVERT_TARGET_DIR;
// Scratch directory for sources, in the same form.
VELLUMO_API extern const char* const SZF_COVERT_SOURCE_DIR;
// The docker scratch root, relative to the volume that holds the docker share.
VELLUMO_API extern const char* const SZF_DOCKER_DIR;
// SQLite file of the conversions that other packages have asked for.
VELLUMO_API extern const char* const SZF_THIRD_PARTY_DB_PATH;
// SQLite index of the conversion cache.
VELLUMO_API extern const char* const SZF_CACHE_DB_PATH;
// SQLite file of the conversion task queue.
VELLUMO_API extern const char* const SZF_THUMB_DB_PATH;
// The JSON state file; processes lock this file itself.
VELLUMO_API extern const char* const SZF_CONFIG_PATH;

// Seconds to wait for the state file's lock.
VELLUMO_API extern const int32_t LOCK_TIMEOUT_SECS;
// Microseconds between two checks while waiting for a container slot or for another process.
VELLUMO_API extern const int32_t USLEEP_TIME;
// How many commands may run at once in one container.
VELLUMO_API extern const int32_t PARALLEL_COUNT;
// Bytes (350 MiB); the container pool stores it and does not use it.
VELLUMO_API extern const int32_t MAX_MEMORY_COUNT;
// The container pool stores it and does not use it.
VELLUMO_API extern const int32_t MAX_USING_COUNT;
// Length of the home alias in a share path with both of its slashes: "/home/".
VELLUMO_API extern const int32_t HOME_LENGTH;

}  // namespace NAVO::VELLUMO

#endif
