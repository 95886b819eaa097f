// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_CONFIGMANAGER_H
#define VELLUMO_CONFIGMANAGER_H

#include <json/value.h>

#include <cstdint>
#include <string>

#include "Export.h"

namespace NAVO::VELLUMO {

// The shared state file: one JSON document that several processes read and rewrite as a whole,
// under an advisory lock on the file itself (shared for readers, exclusive for writers).
//
// To read: LockR, Load, read `config`, Unlock. To write: use a ConfigWriter. One thread at a time
// may use an object. The lock keeps processes apart.
class VELLUMO_API ConfigManager {
public:
    // Creates `file` empty if it is missing; takes no lock and reads nothing.
    // `file`: the state file, SZF_CONFIG_PATH in every program of the package. `timeoutSecs`: how
    // many seconds taking a lock may block, usually LOCK_TIMEOUT_SECS.
    ConfigManager(const std::string& file, int timeoutSecs);

    // Releases a lock that is still held.
    virtual ~ConfigManager();
    ConfigManager(const ConfigManager&) = delete;
    ConfigManager& operator=(const ConfigManager&) = delete;

    // Takes the shared lock; does nothing when the object holds a lock already. Returns false, with
    // a message in the system log, when the lock is not free within the time limit or cannot be
    // taken. Blocks until then.
    bool LockR();

    // Takes the exclusive lock; does nothing when the object holds it already. Releases a shared
    // lock first, so another process may change the file in between: load it again afterwards.
    // Returns false, with a message in the system log, when the lock is not free within the time
    // limit or cannot be taken; a shared lock is then released. Blocks until then.
    bool LockW();

    // Releases the lock that is held; returns true also when none is. Returns false, with a message
    // in the system log and the lock's state unchanged, when the platform refuses.
    bool Unlock();

    // Reads the file into `config`. The caller holds a lock. Returns false, without a message, when
    // the file cannot be opened (`config` stays as it was) or is not JSON (`config` then holds what
    // the parser left).
    bool Load();

    // Replaces the file's content with `config`. The caller holds the exclusive lock. Returns false
    // when the file cannot be opened (with a message in the system log) or cannot be written to the
    // end (the file then holds a part of the document at most).
    bool Save();

    // Copies the factory default, /var/packages/Vellumo/target/conf/config, onto `file`. Takes no
    // lock. Returns false, with a message in the system log, when the copy fails.
    static bool Reset(const std::string& file);

    // Public and private take turns below because the order of the fields is part of the binary
    // interface.

    Json::Value config;  // the document as last loaded, with the changes made since

private:
    std::string path;

public:
    int32_t lockState = 0;  // 0: no lock; 1: the shared lock; 2: the exclusive lock

private:
    int32_t lockFd =
        -1;  // descriptor of the lock taken last; it holds one while lockState is not 0
    int32_t lockTimeoutSecs;

public:
    bool lastOk = true;  // whether the last scoped write or read succeeded
};

// One change of the state file, for as long as the object lives. The constructor takes the
// exclusive lock and loads the file; the user changes `manager.config`; the destructor saves,
// releases the lock and, when the manager held the shared lock before, takes that again. While the
// manager holds the exclusive lock already, as inside another writer, the object does nothing, so
// the outermost writer saves once.
//
// Sets `manager.lastOk` to whether its steps succeeded. A lock or load that fails does not stop the
// change: the destructor saves in any case.
class VELLUMO_API ConfigWriter {
public:
    // `manager` is the caller's and must outlive the writer.
    explicit ConfigWriter(ConfigManager& manager);
    ~ConfigWriter();
    ConfigWriter(const ConfigWriter&) = delete;
    ConfigWriter& operator=(const ConfigWriter&) = delete;

private:
    ConfigManager* _manager;
    bool _relockRead;
    bool _discard;
};

}  // namespace NAVO::VELLUMO

#endif
