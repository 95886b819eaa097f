// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_COMMON_FILEDESCRIPTOR_H
#define VELLUMO_COMMON_FILEDESCRIPTOR_H

#include <unistd.h>

namespace NAVO::VELLUMO {

// Owns a descriptor (or none, -1) and closes it at the end.
class FileDescriptor {
public:
    explicit FileDescriptor(int descriptor) : _descriptor(descriptor) {}
    ~FileDescriptor() {
        if (_descriptor >= 0) {
            close(_descriptor);
        }
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    explicit operator bool() const { return _descriptor >= 0; }
    int Get() const { return _descriptor; }

private:
    int _descriptor;
};

}  // namespace NAVO::VELLUMO

#endif
