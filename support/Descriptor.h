// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_SUPPORT_DESCRIPTOR_H
#define VELLUMO_SUPPORT_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace vellumo::support {

// Owns a file descriptor (or none, -1) and closes it when destroyed. Closing leaves errno as it
// was, so that the caller can still report the error of the call before.
class Descriptor {
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : _descriptor(descriptor) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : _descriptor(other.Release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        Descriptor moved(std::move(other));
        std::swap(_descriptor, moved._descriptor);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return _descriptor >= 0; }
    int Get() const { return _descriptor; }

    // Returns the descriptor and no longer owns it: the caller closes it.
    int Release() { return std::exchange(_descriptor, -1); }

    void Close() {
        if (_descriptor >= 0) {
            const int error = errno;
            close(Release());
            errno = error;
        }
    }

private:
    int _descriptor = -1;
};

// Returns the result of `call`, a system call that returns -1 on failure. Repeats the call while a
// signal interrupts it.
template <typename Call>
auto Uninterrupted(Call call) {
    auto result = call();
    while (result == -1 && errno == EINTR) {
        result = call();
    }
    return result;
}

}  // namespace vellumo::support

#endif
