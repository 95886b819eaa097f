// SPDX-License-Identifier: Apache-2.0
#include "support/Lease.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <vector>

#include "support/Descriptor.h"
#include "support/Directory.h"

namespace vellumo::support {
namespace {

// Above the standard descriptors: a program that inherits a lease has its own there.
Descriptor Open(const std::string& path, int flags) {
    Descriptor file(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, S_IRUSR | S_IWUSR));
    if (!file || file.Get() > STDERR_FILENO) {
        return file;
    }
    return Descriptor(fcntl(file.Get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct flock WholeFile() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

std::string ReadAll(int file) {
    std::string text;
    std::array<char, 4096> buffer{};
    ssize_t length = 0;
    while ((length = Uninterrupted([&] {
                return pread(file, buffer.data(), buffer.size(), static_cast<off_t>(text.size()));
            })) > 0) {
        text.append(buffer.data(), static_cast<size_t>(length));
    }
    return text;
}

bool WriteAt(int file, const std::string& text, off_t offset) {
    const ssize_t length =
        Uninterrupted([&] { return pwrite(file, text.data(), text.size(), offset); });
    return length == static_cast<ssize_t>(text.size());
}

// The leases of this process. A fork closes its copies of their descriptors: the lock would
// otherwise stay as long as the fork lives.
class Registry {
public:
    static Registry& Get() {
        static Registry registry;
        return registry;
    }

    void Add(Descriptor* descriptor) {
        const std::lock_guard<std::mutex> guard(_mutex);
        _descriptors.push_back(descriptor);
    }
    void Remove(Descriptor* descriptor) {
        const std::lock_guard<std::mutex> guard(_mutex);
        _descriptors.erase(std::find(_descriptors.begin(), _descriptors.end(), descriptor));
    }

private:
    Registry() {
        pthread_atfork([] { Get()._mutex.lock(); }, [] { Get()._mutex.unlock(); },
                       [] { Get().CloseInFork(); });
    }
    void CloseInFork() {
        for (Descriptor* descriptor : _descriptors) {
            descriptor->Close();
        }
        _mutex.unlock();
    }

    std::mutex _mutex;
    std::vector<Descriptor*> _descriptors;
};

}  // namespace

struct Lease::Held {
    Held(std::string file, Descriptor opened) : path(std::move(file)), lock(std::move(opened)) {
        Registry::Get().Add(&lock);
    }
    ~Held() { Registry::Get().Remove(&lock); }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

    std::string path;
    Descriptor lock;
};

Lease::Lease() = default;
Lease::~Lease() = default;
Lease::Lease(Lease&& other) noexcept = default;
Lease& Lease::operator=(Lease&& other) noexcept = default;

Lease::State Lease::StateOf(const std::string& path, std::string* text) {
    const Descriptor file = Open(path, O_RDONLY | O_NONBLOCK);
    struct flock lock = WholeFile();
    if (!file || fcntl(file.Get(), F_OFD_GETLK, &lock) != 0) {
        return State::kNone;
    }
    if (lock.l_type != F_UNLCK) {
        return State::kHeld;
    }
    if (text != nullptr) {
        *text = ReadAll(file.Get());
    }
    return State::kFree;
}

Lease Lease::Take(const std::string& path) {
    return Lock(path, 0);
}

Lease Lease::Create(const std::string& path) {
    return Lock(path, O_EXCL);
}

Lease Lease::Lock(const std::string& path, int flags) {
    Lease lease;
    while (true) {
        Descriptor file = Open(path, O_RDWR | O_CREAT | flags);
        struct flock lock = WholeFile();
        if (!file || fcntl(file.Get(), F_OFD_SETLK, &lock) != 0) {
            return lease;
        }
        // Its holder may have ended it between the two calls: the lock is then on a removed file.
        if (LiesAt(file, path)) {
            lease._held = std::make_unique<Held>(path, std::move(file));
            return lease;
        }
    }
}

Lease::operator bool() const {
    return _held != nullptr && _held->lock;
}

int Lease::Get() const {
    return _held == nullptr ? -1 : _held->lock.Get();
}

std::string Lease::Text() const {
    return *this ? ReadAll(Get()) : "";
}

bool Lease::SetText(const std::string& text) const {
    return *this && WriteAt(Get(), text, 0) &&
           ftruncate(Get(), static_cast<off_t>(text.size())) == 0;
}

bool Lease::AddText(const std::string& text) const {
    struct stat status {};
    return *this && fstat(Get(), &status) == 0 && WriteAt(Get(), text, status.st_size);
}

void Lease::End() {
    if (*this) {
        unlink(_held->path.c_str());
    }
    _held.reset();
}

}  // namespace vellumo::support
