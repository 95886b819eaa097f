// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_DESCRIPTOR_H
#define VELLUMO_TOOLS_DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace vellumo::cli {

// Owns a descriptor (or none, -1) and closes it at the end.
class Descriptor {
public:
    explicit Descriptor(int descriptor = -1) : _descriptor(descriptor) {}
    ~Descriptor() { Close(); }
    Descriptor(Descriptor&& other) noexcept : _descriptor(std::exchange(other._descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(_descriptor, other._descriptor);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return _descriptor >= 0; }
    int Get() const { return _descriptor; }

    void Close() {
        if (_descriptor >= 0) {
            close(std::exchange(_descriptor, -1));
        }
    }

private:
    int _descriptor;
};

}  // namespace vellumo::cli

#endif
