// SPDX-License-Identifier: Apache-2.0
#include "vellumo/ConfigManager.h"

#include <json/reader.h>
#include <json/writer.h>
#include <navo/error.h>
#include <navo/file.h>
#include <navo/lock.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>

#include "common/Log.h"
#include "support/PrivateFile.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO {
namespace {

constexpr const char* kSource = "ConfigManager";
constexpr const char* kFactoryDefault = "/var/packages/Vellumo/target/conf/config";

enum LockState : int32_t { kUnlocked = 0, kReadLocked = 1, kWriteLocked = 2 };

// Uses the reader whose dialect of JSON the file has always had: it allows comments and ignores
// text after the document.
bool Parse(std::istream& file, Json::Value& document) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    Json::Reader reader;
#pragma GCC diagnostic pop
    try {
        return reader.parse(file, document, false);
    } catch (const std::exception&) {
        return false;  // nested more deeply than the parser can handle
    }
}

// Writes compactly and leaves the bytes of every text as they are: names of files may be invalid
// UTF-8, and reading must return what was written.
std::unique_ptr<Json::StreamWriter> MakeWriter() {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["emitUTF8"] = true;
    return std::unique_ptr<Json::StreamWriter>(builder.newStreamWriter());
}

}  // namespace

ConfigManager::ConfigManager(const std::string& file, int timeoutSecs)
    : path(file), lockTimeoutSecs(timeoutSecs) {
    NLIBCFileTouch(file.c_str());  // if it cannot be created, taking the lock fails later
    vellumo::support::KeepForOwner(file);
}

ConfigManager::~ConfigManager() {
    Unlock();
}

bool ConfigManager::LockR() {
    if (lockState != kUnlocked) {
        return true;
    }
    if (NLIBCFileLockTimeByFile(path.c_str(), 0, lockTimeoutSecs, &lockFd) == 0) {
        log::Error(kSource, __LINE__, "file lock failed: %s, [0x%04X %s:%d]", path.c_str(),
                   static_cast<unsigned>(NLIBCErrGet()), NLIBCErrorGetFile(), NLIBCErrorGetLine());
        return false;
    }
    lockState = kReadLocked;
    return true;
}

bool ConfigManager::LockW() {
    if (lockState == kWriteLocked) {
        return true;
    }
    if (lockState == kReadLocked) {
        Unlock();
    }
    if (NLIBCFileLockTimeByFile(path.c_str(), 1, lockTimeoutSecs, &lockFd) == 0) {
        log::Error(kSource, __LINE__, "file lock falied: %s, [0x%04X %s:%d]", path.c_str(),
                   static_cast<unsigned>(NLIBCErrGet()), NLIBCErrorGetFile(), NLIBCErrorGetLine());
        return false;
    }
    lockState = kWriteLocked;
    return true;
}

bool ConfigManager::Unlock() {
    if (lockState == kUnlocked || lockFd == -1) {
        return true;
    }
    if (NLIBCFileUnlockByFile(lockFd) == -1) {
        log::Error(kSource, __LINE__, "file unlock falied: %s, [0x%04X %s:%d]", path.c_str(),
                   static_cast<unsigned>(NLIBCErrGet()), NLIBCErrorGetFile(), NLIBCErrorGetLine());
        return false;
    }
    lockState = kUnlocked;
    return true;
}

bool ConfigManager::Load() {
    std::ifstream file(path);
    return file.is_open() && Parse(file, config);
}

bool ConfigManager::Save() {
    vellumo::support::EnsurePrivateFile(path);
    std::ofstream file(path, std::ios::trunc);
    if (!file.is_open()) {
        log::Error(kSource, __LINE__, "config %s save failed %s", path.c_str(),
                   std::strerror(errno));
        return false;
    }
    MakeWriter()->write(config, &file);
    file.flush();
    return file.good();
}

bool ConfigManager::Reset(const std::string& file) {
    const bool copied = CopyFile(kFactoryDefault, file);
    vellumo::support::KeepForOwner(file);  // the factory default may be readable for all
    if (!copied) {
        log::Error(kSource, __LINE__, "restor config error");
    }
    return copied;
}

ConfigWriter::ConfigWriter(ConfigManager& manager)
    : _manager(&manager),
      _relockRead(manager.lockState != kUnlocked),
      _discard(manager.lockState == kWriteLocked) {
    if (_discard) {
        return;
    }
    const bool locked = _manager->LockW();
    // Load also without the lock: the destructor saves in any case and must not drop what other
    // processes have in the file.
    const bool loaded = _manager->Load();
    _manager->lastOk = locked && loaded;
}

ConfigWriter::~ConfigWriter() {
    if (_discard) {
        return;
    }
    const bool saved = _manager->Save();
    const bool unlocked = _manager->Unlock();
    const bool relocked = !_relockRead || _manager->LockR();
    _manager->lastOk = saved && unlocked && relocked;
}

}  // namespace NAVO::VELLUMO
