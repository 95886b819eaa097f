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
// Readers: LockR, Load, look at `config`, Unlock. Writers: a ConfigWriter. Between processes the
// lock decides; an object belongs to one thread at a time.
class VELLUMO_API ConfigManager {
public:
    // `file`: the state file, SZF_CONFIG_PATH in every program of the package; created empty when
    // it is missing. `timeoutSecs`: how long taking a lock may block, LOCK_TIMEOUT_SECS as a rule.
    // Takes no lock and reads nothing.
    ConfigManager(const std::string& file, int timeoutSecs);

    // Gives back a lock that is still held.
    virtual ~ConfigManager();
    ConfigManager(const ConfigManager&) = delete;
    ConfigManager& operator=(const ConfigManager&) = delete;

    // Takes the shared lock, or is content with the lock that is held. False, with a message in
    // the system log, when it is not had in time.
    bool LockR();

    // Takes the exclusive lock. A shared lock is given up first, so another process may come in
    // between: load again afterwards. False, with a message in the system log, when it is not had
    // in time; a shared lock is then gone.
    bool LockW();

    // Gives back whichever lock is held; true when there is none. False, with a message in the
    // system log and the state as it was, when the platform refuses.
    bool Unlock();

    // Reads the file into `config`; the caller holds a lock. False, without a message, when it
    // cannot be opened (`config` stays) or is not JSON (`config` holds what the parser left).
    bool Load();

    // Replaces the file's content by `config`; the caller holds the exclusive lock. False when it
    // cannot be opened (with a message in the system log) or not be written to the end.
    bool Save();

    // Copies the factory default, /var/packages/Vellumo/target/conf/config, onto `file`. Takes no
    // lock. False, with a message in the system log, when the copy fails.
    static bool Reset(const std::string& file);

    // Public and private take turns below because the order of the fields is part of the binary
    // interface.
    Json::Value config;  // the document as last loaded, and as changed since

private:
    std::string path;

public:
    int32_t lockState = 0;  // 0 no lock, 1 the shared lock, 2 the exclusive lock

private:
    int32_t lockFd =
        -1;  // descriptor of the lock taken last; it holds one while lockState is not 0
    int32_t lockTimeoutSecs;

public:
    bool lastOk = true;  // outcome of the last scoped write or read
};

// One change of the state file, for as long as the object lives: takes the exclusive lock and
// loads; the user changes `manager.config`; the end saves, gives the lock back and, when the
// manager held the shared lock before, takes that again. Inside another writer it does nothing, so
// the outermost one saves once.
//
// Outcomes go to `manager.lastOk`. A lock or load that fails does not stop the change.
class VELLUMO_API ConfigWriter {
public:
    // `manager` is not owned and outlives the writer.
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
