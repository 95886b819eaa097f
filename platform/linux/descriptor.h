// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_LINUX_DESCRIPTOR_H
#define NAVO_LINUX_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace NAVO::platform {

// Owns a descriptor (or none, -1) and closes it at the end, leaving errno alone.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : _descriptor(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Close();
        _descriptor = other.Release();
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return _descriptor >= 0; }
    int Get() const { return _descriptor; }
    int Release() { return std::exchange(_descriptor, -1); }

private:
    void Close() const {
        if (_descriptor >= 0) {
            const int error = errno;
            close(_descriptor);
            errno = error;
        }
    }

    int _descriptor = -1;
};

// The result of `call`, a system call that returns -1 on failure, made again for as long as a
// signal interrupts it.
template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace NAVO::platform

#endif
