// SPDX-License-Identifier: Apache-2.0
#include "PlatformDouble.h"

#include <dlfcn.h>
#include <grp.h>
#include <navo/acl.h>
#include <navo/ea.h>
#include <navo/error.h>
#include <navo/exec.h>
#include <navo/file.h>
#include <navo/lock.h>
#include <navo/share.h>
#include <navo/user.h>
#include <navo/xferlog.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <iostream>
#include <mutex>

namespace vellumo::test {
namespace {

constexpr int kInjectedError = EIO;

// The definition that the double replaces: libnavo's, or the C library's.
template <typename Function>
Function* Real(const char* symbol) {
    void* found = dlsym(RTLD_NEXT, symbol);
    if (found == nullptr) {
        std::cerr << "the platform has no operation " << symbol << '\n';
        std::abort();
    }
    return reinterpret_cast<Function*>(found);
}

std::string Text(const char* text) {
    return text == nullptr ? "(null)" : text;
}

std::string Text(const std::string& text) {
    return text;
}

template <typename Number>
std::string Text(Number number) {
    return std::to_string(number);
}

std::string Text(char* text) {
    return Text(static_cast<const char*>(text));
}

template <typename... Arguments>
std::optional<int> Note(const char* operation, int failure, Arguments... arguments) {
    return PlatformDouble::Get().Note({operation, {Text(arguments)...}}, failure);
}

}  // namespace

PlatformDouble& PlatformDouble::Get() {
    static PlatformDouble platform;
    return platform;
}

void PrintTo(const PlatformCall& call, std::ostream* out) {
    *out << call.operation;
    for (const std::string& argument : call.arguments) {
        *out << ' ' << argument;
    }
}

void PlatformDouble::Reset() {
    *this = PlatformDouble();
}

std::vector<PlatformCall> PlatformDouble::CallsOf(const std::string& operation) const {
    std::vector<PlatformCall> calls;
    for (const PlatformCall& call : _calls) {
        if (call.operation == operation) {
            calls.push_back(call);
        }
    }
    return calls;
}

void PlatformDouble::Always(const std::string& name, int result, int error) {
    SetAnswer([=](const PlatformCall& call) -> std::optional<int> {
        if (call.operation != name) {
            return std::nullopt;
        }
        errno = error;
        return result;
    });
}

void PlatformDouble::FailCall(int k) {
    _failAt = k;
    _fallible = 0;
    _failedCall.reset();
}

std::optional<int> PlatformDouble::Note(const PlatformCall& call, int failure) {
    static std::mutex threads;  // in some tests a thread plays another process
    const std::lock_guard<std::mutex> lock(threads);
    _calls.push_back(call);
    if (_failAt != 0 && ++_fallible == _failAt) {
        _failedCall = call;
        errno = kInjectedError;
        return failure;
    }
    return _answer ? _answer(call) : std::nullopt;
}

}  // namespace vellumo::test

using vellumo::test::Note;
using vellumo::test::Real;

int NLIBCExecv(const char* program, char* const argv[], int wait) {
    const auto answer = Note("NLIBCExecv", -1, program, wait);
    return answer ? *answer
                  : Real<decltype(NLIBCExecv)>("_Z10NLIBCExecvPKcPKPci")(program, argv, wait);
}

int NLIBCExecl(const char* program, int options, ...) {
    constexpr int kMost = 6;
    const char* arguments[kMost] = {};
    vellumo::test::PlatformCall call{"NLIBCExecl", {program, std::to_string(options)}};
    va_list list;
    va_start(list, options);
    for (int i = 0; i < kMost && (arguments[i] = va_arg(list, const char*)) != nullptr; ++i) {
        call.arguments.emplace_back(arguments[i]);
    }
    va_end(list);
    const auto answer = vellumo::test::PlatformDouble::Get().Note(call, -1);
    return answer ? *answer
                  : Real<decltype(NLIBCExecl)>("_Z10NLIBCExeclPKciz")(
                        program, options, arguments[0], arguments[1], arguments[2], arguments[3],
                        arguments[4], nullptr);
}

int NLIBCExec(const char* program, const char* argument1, const char* argument2,
              const char* argument3, const char* argument4) {
    const auto answer = Note("NLIBCExec", -1, program, argument1, argument2, argument3, argument4);
    return answer ? *answer
                  : Real<decltype(NLIBCExec)>("_Z9NLIBCExecPKcS0_S0_S0_S0_")(
                        program, argument1, argument2, argument3, argument4);
}

BOOL NLIBCFileExist(const char* path) {
    const auto answer = Note("NLIBCFileExist", FALSE, path);
    return answer ? *answer : Real<decltype(NLIBCFileExist)>("_Z14NLIBCFileExistPKc")(path);
}

BOOL NLIBCFileCheckDir(const char* path) {
    const auto answer = Note("NLIBCFileCheckDir", FALSE, path);
    return answer ? *answer : Real<decltype(NLIBCFileCheckDir)>("_Z17NLIBCFileCheckDirPKc")(path);
}

int NLIBCFileStat(const char* path, int followLinks, struct stat* status) {
    const auto answer = Note("NLIBCFileStat", -1, path, followLinks);
    return answer ? *answer
                  : Real<decltype(NLIBCFileStat)>("_Z13NLIBCFileStatPKciP4stat")(path, followLinks,
                                                                                 status);
}

int NLIBCFileTouch(const char* path) {
    const auto answer = Note("NLIBCFileTouch", -1, path);
    return answer ? *answer : Real<decltype(NLIBCFileTouch)>("_Z14NLIBCFileTouchPKc")(path);
}

int NAVOFSMkdirP(const char* path, const char* reserved, BOOL parents, uid_t owner, gid_t group,
                 mode_t mode) {
    const auto answer = Note("NAVOFSMkdirP", -1, path, reserved, parents, owner, group, mode);
    return answer ? *answer
                  : Real<decltype(NAVOFSMkdirP)>("_Z12NAVOFSMkdirPPKcS0_ijjj")(
                        path, reserved, parents, owner, group, mode);
}

int NAVOFileCopy(const char* source, const char* destination, const NAVOFILECOPYOPTIONS* options) {
    const auto answer =
        Note("NAVOFileCopy", -1, source, destination, options->replace, options->move);
    return answer ? *answer
                  : Real<decltype(NAVOFileCopy)>("_Z12NAVOFileCopyPKcS0_PK19NAVOFILECOPYOPTIONS")(
                        source, destination, options);
}

int NLIBCFileLockTimeByFile(const char* path, int exclusive, int timeoutSecs, int* descriptor) {
    const auto answer = Note("NLIBCFileLockTimeByFile", 0, path, exclusive, timeoutSecs);
    return answer ? *answer
                  : Real<decltype(NLIBCFileLockTimeByFile)>("_Z23NLIBCFileLockTimeByFilePKciiPi")(
                        path, exclusive, timeoutSecs, descriptor);
}

int NLIBCFileUnlockByFile(int descriptor) {
    const auto answer = Note("NLIBCFileUnlockByFile", -1);
    return answer ? *answer
                  : Real<decltype(NLIBCFileUnlockByFile)>("_Z21NLIBCFileUnlockByFilei")(descriptor);
}

int NAVOShareGet(const char* name, PNAVOSHARE* share) {
    const auto answer = Note("NAVOShareGet", -1, name);
    return answer ? *answer
                  : Real<decltype(NAVOShareGet)>("_Z12NAVOShareGetPKcPP9NAVOSHARE")(name, share);
}

bool PortmanFileShare::IsDirUserHome(const std::string& shareName, void* reserved) const {
    const auto answer = Note("IsDirUserHome", FALSE, shareName);
    if (answer) {
        return *answer != FALSE;
    }
    using Method = bool(const PortmanFileShare*, const std::string&, void*);
    return Real<Method>(
        "_ZNK16PortmanFileShare13IsDirUserHomeERKNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcESaIcEEE"
        "Pv")(this, shareName, reserved);
}

bool PortmanFileShare::PfmUserHomeFullPathGet(std::string& home, const std::string& user) const {
    const auto answer = Note("PfmUserHomeFullPathGet", FALSE, user);
    if (answer) {
        return *answer != FALSE;
    }
    using Method = bool(const PortmanFileShare*, std::string&, const std::string&);
    return Real<Method>(
        "_ZNK16PortmanFileShare22PfmUserHomeFullPathGetERNSt7__cxx1112basic_stringIcSt11char_"
        "traitsIcE"
        "SaIcEEERKS5_")(this, home, user);
}

int NAVOEADirPath(int flags, const char* path, char* buffer, size_t size) {
    const auto answer = Note("NAVOEADirPath", -1, flags, path, size);
    return answer ? *answer
                  : Real<decltype(NAVOEADirPath)>("_Z13NAVOEADirPathiPKcPcm")(flags, path, buffer,
                                                                              size);
}

int NAVOEAPath(int flags, const char* path, const char* stream, char* buffer, size_t size,
               int reserved) {
    const auto answer = Note("NAVOEAPath", -1, flags, path, stream, size, reserved);
    return answer ? *answer
                  : Real<decltype(NAVOEAPath)>("_Z10NAVOEAPathiPKcS0_Pcmi")(flags, path, stream,
                                                                            buffer, size, reserved);
}

int NAVOEAMKDir(int flags, const char* directory) {
    const auto answer = Note("NAVOEAMKDir", -1, flags, directory);
    return answer ? *answer : Real<decltype(NAVOEAMKDir)>("_Z11NAVOEAMKDiriPKc")(flags, directory);
}

bool ResetCredentialsByName(const char* user, bool canReturn) {
    const auto answer = Note("ResetCredentialsByName", FALSE, user, static_cast<int>(canReturn));
    return answer ? *answer != FALSE
                  : Real<decltype(ResetCredentialsByName)>("_Z22ResetCredentialsByNamePKcb")(
                        user, canReturn);
}

int NAVOACLPermGet(const char* path, unsigned* mask) {
    const auto answer = Note("NAVOACLPermGet", -1, path);
    return answer ? *answer : Real<decltype(NAVOACLPermGet)>("_Z14NAVOACLPermGetPKcPj")(path, mask);
}

int NAVOUserGet(const char* name, PNAVOUSER* user) {
    const auto answer = Note("NAVOUserGet", -1, name);
    return answer ? *answer
                  : Real<decltype(NAVOUserGet)>("_Z11NAVOUserGetPKcPP8NAVOUSER")(name, user);
}

int NAVOUserGetByUID(uint32_t uid, PNAVOUSER* user) {
    const auto answer = Note("NAVOUserGetByUID", -1, uid);
    return answer ? *answer
                  : Real<decltype(NAVOUserGetByUID)>("_Z16NAVOUserGetByUIDjPP8NAVOUSER")(uid, user);
}

int NAVOGroupGetGID(const char* name, uint32_t* gid) {
    const auto answer = Note("NAVOGroupGetGID", -1, name);
    return answer ? *answer
                  : Real<decltype(NAVOGroupGetGID)>("_Z15NAVOGroupGetGIDPKcPj")(name, gid);
}

int NAVOGroupGetByGID(uint32_t gid, PNAVOGROUP* group) {
    const auto answer = Note("NAVOGroupGetByGID", -1, gid);
    return answer ? *answer
                  : Real<decltype(NAVOGroupGetByGID)>("_Z17NAVOGroupGetByGIDjPP9NAVOGROUP")(gid,
                                                                                            group);
}

int NAVOUserLoginNameConvert(const char* name, char* buffer, size_t size) {
    const auto answer = Note("NAVOUserLoginNameConvert", -1, name, size);
    return answer ? *answer
                  : Real<decltype(NAVOUserLoginNameConvert)>("_Z24NAVOUserLoginNameConvertPKcPcm")(
                        name, buffer, size);
}

int NLIBUserRealNameGet(const char* name, char* buffer, size_t size) {
    const auto answer = Note("NLIBUserRealNameGet", -1, name, size);
    return answer ? *answer
                  : Real<decltype(NLIBUserRealNameGet)>("_Z19NLIBUserRealNameGetPKcPcm")(
                        name, buffer, size);
}

int NAVOWinsUserNameFqdn2Netbios(const char* name, char* buffer, size_t size) {
    const auto answer = Note("NAVOWinsUserNameFqdn2Netbios", -1, name, size);
    return answer ? *answer
                  : Real<decltype(NAVOWinsUserNameFqdn2Netbios)>(
                        "_Z28NAVOWinsUserNameFqdn2NetbiosPKcPcm")(name, buffer, size);
}

// Answered, it gives null whatever the answer.
PNLIBCSZHASH NLIBGroupInfoHashGet(const char* user, int withPrimary, int flags) {
    const auto answer = Note("NLIBGroupInfoHashGet", 0, user, withPrimary, flags);
    return answer ? nullptr
                  : Real<decltype(NLIBGroupInfoHashGet)>("_Z20NLIBGroupInfoHashGetPKcii")(
                        user, withPrimary, flags);
}

int NAVOLogNOSFMXferLog(const char* remoteAddress, const char* user, const char* action,
                        int64_t size, const char* fileName, int reserved) {
    const auto answer =
        Note("NAVOLogNOSFMXferLog", -1, remoteAddress, user, action, size, fileName, reserved);
    return answer ? *answer
                  : Real<decltype(NAVOLogNOSFMXferLog)>("_Z19NAVOLogNOSFMXferLogPKcS0_S0_lS0_i")(
                        remoteAddress, user, action, size, fileName, reserved);
}

// Not the platform's own, but as fallible: the calls that make scratch names and change ids.
extern "C" {

// NOLINTBEGIN(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
int mkostemps(char* pattern, int suffixLength, int flags) {
    const auto answer = Note("mkostemps", -1, pattern, suffixLength);
    return answer ? *answer : Real<int(char*, int, int)>("mkostemps")(pattern, suffixLength, flags);
}

int nanosleep(const timespec* duration, timespec* left) {
    const auto answer = Note("nanosleep", -1, duration->tv_sec, duration->tv_nsec);
    return answer ? *answer : Real<int(const timespec*, timespec*)>("nanosleep")(duration, left);
}

int usleep(useconds_t duration) {
    const auto answer = Note("usleep", -1, duration);
    return answer ? *answer : Real<int(useconds_t)>("usleep")(duration);
}

int setresuid(uid_t real, uid_t effective, uid_t saved) noexcept {
    const auto answer = Note("setresuid", -1, static_cast<int>(effective));
    return answer ? *answer : Real<int(uid_t, uid_t, uid_t)>("setresuid")(real, effective, saved);
}

int setresgid(gid_t real, gid_t effective, gid_t saved) noexcept {
    const auto answer = Note("setresgid", -1, static_cast<int>(effective));
    return answer ? *answer : Real<int(gid_t, gid_t, gid_t)>("setresgid")(real, effective, saved);
}

int setgroups(size_t count, const gid_t* groups) noexcept {
    const auto answer = Note("setgroups", -1, count);
    return answer ? *answer : Real<int(size_t, const gid_t*)>("setgroups")(count, groups);
}
// NOLINTEND(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
}
