// SPDX-License-Identifier: Apache-2.0
#include "config/Leases.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <utility>

#include "common/KeptErrno.h"
#include "config/BootRecord.h"
#include "support/Directory.h"
#include "support/PrivateFile.h"
#include "support/TemporaryFile.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO::leases {
namespace {

using vellumo::support::Descriptor;

constexpr const char* kDeath = "died";
constexpr int kMostTries = 100;
constexpr int kPauseMs = 1;
constexpr size_t kLongest = 65536;  // of a lease's text

// FNV-1a. Two names with one hash do no harm: the file contains the name, and the second of the two
// is without a lease as long as the first has one.
std::string HashOf(const std::string& name) {
    uint64_t hash = 0xcbf29ce484222325U;
    for (const char byte : name) {
        hash = (hash ^ static_cast<unsigned char>(byte)) * 0x100000001b3U;
    }
    std::array<char, 17> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%016llx",
                        static_cast<unsigned long long>(hash));
    return digits.data();
}

std::string PathOf(const std::string& kind, const std::string& name) {
    return Folder() + kind + '-' + HashOf(name);
}

std::string TextOf(const Fields& fields) {
    std::string text;
    for (const std::string& field : fields) {
        text += field + '\0';
    }
    return text;
}

// A field without its NUL at the end of the text is one that its holder died over.
Fields FieldsOf(const std::string& text) {
    Fields fields;
    size_t begin = 0;
    for (size_t end = 0; (end = text.find('\0', begin)) != std::string::npos; begin = end + 1) {
        fields.push_back(text.substr(begin, end - begin));
    }
    return fields;
}

Descriptor Open(const std::string& path) {
    return Descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW));
}

Fields FieldsIn(const Descriptor& file) {
    return file ? FieldsOf(vellumo::support::ReadTail(file, kLongest)) : Fields();
}

std::vector<std::string> PathsOf(const std::string& kind) {
    const Descriptor folder = vellumo::support::OpenDirectory(Folder());
    std::vector<std::string> paths;
    for (const std::string& name : vellumo::support::NamesIn(folder)) {
        if (name.starts_with(kind + '-')) {
            paths.push_back(Folder() + name);
        }
    }
    return paths;
}

bool IsOf(const Fields& fields, const std::string& name) {
    return !fields.empty() && fields.front() == name;
}

}  // namespace

std::string Folder() {
    const std::string stateFile = SZF_CONFIG_PATH;
    return stateFile.substr(0, stateFile.rfind('/')) + "/leases/";
}

void Prepare() {
    static bool prepared = false;
    if (prepared) {
        return;
    }
    const KeptErrno errors;
    prepared = true;
    if (mkdir(Folder().c_str(), S_IRWXU) != 0) {
        vellumo::support::KeepForOwner(Folder());
    }
    HealAfterBoot();
}

bool IsHeld(const std::string& kind, const std::string& name) {
    const KeptErrno errors;
    return Lease::StateOf(PathOf(kind, name)) == Lease::State::kHeld;
}

bool IsLeft(const std::string& kind, const std::string& name) {
    const KeptErrno errors;
    std::string text;
    return Lease::StateOf(PathOf(kind, name), &text) == Lease::State::kFree &&
           IsOf(FieldsOf(text), name);
}

Lease TakeOne(const std::string& kind, const std::vector<Fields>& leases) {
    const KeptErrno errors;
    for (int tries = 0; tries < kMostTries && !leases.empty(); ++tries) {
        for (const Fields& fields : leases) {
            Lease lease = Lease::Take(PathOf(kind, fields.front()));
            if (lease) {
                SetFields(lease, fields);
                return lease;
            }
            if (errno != EAGAIN) {
                return {};
            }
        }
        poll(nullptr, 0, kPauseMs);
    }
    return {};
}

Lease Take(const std::string& kind, const Fields& fields) {
    return TakeOne(kind, {fields});
}

Lease TakeNew(const std::string& kind) {
    const KeptErrno errors;
    static int count = 0;
    Lease lease;
    do {
        const std::string name = std::to_string(getpid()) + '-' + std::to_string(count++);
        errno = 0;
        lease = Lease::Create(Folder() + kind + '-' + name);
    } while (!lease && (errno == EEXIST || errno == EAGAIN));
    return lease;
}

Lease TakeOver(const std::string& kind, const std::string& name, Fields& fields) {
    const KeptErrno errors;
    const std::string path = PathOf(kind, name);
    if (Lease::StateOf(path) != Lease::State::kFree) {
        return {};
    }
    Lease lease = Lease::Take(path);
    fields = FieldsOf(lease.Text());
    return IsOf(fields, name) ? std::move(lease) : Lease();
}

bool AnyLeft(const std::string& kind) {
    const KeptErrno errors;
    const std::vector<std::string> paths = PathsOf(kind);
    return std::any_of(paths.begin(), paths.end(), [](const std::string& path) {
        return Lease::StateOf(path) == Lease::State::kFree;
    });
}

std::vector<Left> TakeOverAll(const std::string& kind) {
    const KeptErrno errors;
    std::vector<Left> left;
    for (const std::string& path : PathsOf(kind)) {
        if (Lease::StateOf(path) != Lease::State::kFree) {
            continue;
        }
        if (Lease lease = Lease::Take(path)) {
            Fields fields = FieldsOf(lease.Text());
            left.push_back({std::move(lease), std::move(fields)});
        }
    }
    return left;
}

std::vector<Fields> FieldsOfHeld(const std::string& kind) {
    const KeptErrno errors;
    std::vector<Fields> held;
    for (const std::string& path : PathsOf(kind)) {
        if (Lease::StateOf(path) == Lease::State::kHeld) {
            held.push_back(FieldsIn(Open(path)));
        }
    }
    return held;
}

Fields FieldsOfHeld(const std::string& kind, const std::string& name) {
    return IsHeld(kind, name) ? FieldsIn(Open(PathOf(kind, name))) : Fields();
}

void NoteDeath(const Lease& lease) {
    AddFields(lease, {kDeath});
}

Sight::Sight(const std::string& kind, const std::string& name) {
    const KeptErrno errors;
    _file = Open(PathOf(kind, name));
}

bool Sight::WasLeft() const {
    const KeptErrno errors;
    const Fields fields = FieldsIn(_file);
    return !fields.empty() && fields.back() == kDeath;
}

void SetFields(const Lease& lease, const Fields& fields) {
    const KeptErrno errors;
    lease.SetText(TextOf(fields));
}

void AddFields(const Lease& lease, const Fields& fields) {
    const KeptErrno errors;
    lease.AddText(TextOf(fields));
}

}  // namespace NAVO::VELLUMO::leases
