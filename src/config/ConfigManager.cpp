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
#include <sstream>

#include "common/KeptErrno.h"
#include "common/Log.h"
#include "config/SavedCopy.h"
#include "config/StateChange.h"
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
    if (file.is_open() && Parse(file, config)) {
        return true;
    }
    const KeptErrno errors;
    std::istringstream copy(CopyOfTorn(path));
    Json::Value whole;
    if (!Parse(copy, whole)) {
        return false;
    }
    config.swap(whole);
    return true;
}

// A death in the middle leaves a part of the document in the file. So the whole of it is beside the
// file before that is truncated, until it has been written.
bool ConfigManager::Save() {
    vellumo::support::EnsurePrivateFile(path);
    std::ostringstream text;
    MakeWriter()->write(config, &text);
    const SavedCopy copy(path, text.str());
    if (copy.HasNoSpace()) {
        return Overwrite(path, text.str());
    }
    std::ofstream file(path, std::ios::trunc);
    if (!file.is_open()) {
        log::Error(kSource, __LINE__, "config %s save failed %s", path.c_str(),
                   std::strerror(errno));
        return false;
    }
    file << text.str();
    file.flush();
    if (!file.good()) {
        return false;
    }
    copy.Remove();
    return true;
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
    if (!_discard) {
        BeginChange(*_manager);
    }
}

ConfigWriter::~ConfigWriter() {
    if (!_discard) {
        std::vector<vellumo::support::Lease> none;
        FinishChange(*_manager, _relockRead, none);
    }
}

}  // namespace NAVO::VELLUMO
