// SPDX-License-Identifier: Apache-2.0
#include "Packets.h"

#include <sys/socket.h>

#include <array>
#include <cstring>

#include "exchange/request.h"

namespace vellumo::office {
namespace {

using support::Descriptor;
using support::Uninterrupted;

union Control {
    cmsghdr header;
    std::array<char, CMSG_SPACE(sizeof(int))> space;
};

std::vector<Descriptor> FilesIn(msghdr& message) {
    std::vector<Descriptor> files;
    for (cmsghdr* part = CMSG_FIRSTHDR(&message); part != nullptr;
         part = CMSG_NXTHDR(&message, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        for (size_t at = 0; at + sizeof(int) <= part->cmsg_len - CMSG_LEN(0); at += sizeof(int)) {
            int file = -1;
            std::memcpy(&file, CMSG_DATA(part) + at, sizeof file);
            files.emplace_back(file);
        }
    }
    return files;
}

}  // namespace

Packet Receive(const Descriptor& socket) {
    std::array<char, REQUEST_SIZE> text{};
    Control control{};
    iovec data{text.data(), text.size()};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    const ssize_t length =
        Uninterrupted([&] { return recvmsg(socket.Get(), &message, MSG_CMSG_CLOEXEC); });
    if (length <= 0) {
        return {};
    }
    return {{text.data(), static_cast<size_t>(length)}, FilesIn(message)};
}

bool Send(const Descriptor& socket, const std::string& text, int file) {
    std::string copy = text;
    iovec data{copy.data(), copy.size()};
    Control control{};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    if (file >= 0) {
        message.msg_control = &control;
        message.msg_controllen = CMSG_SPACE(sizeof file);
        control.header.cmsg_level = SOL_SOCKET;
        control.header.cmsg_type = SCM_RIGHTS;
        control.header.cmsg_len = CMSG_LEN(sizeof file);
        std::memcpy(CMSG_DATA(&control.header), &file, sizeof file);
    }
    return Uninterrupted([&] {
               return sendmsg(socket.Get(), &message, MSG_NOSIGNAL | MSG_DONTWAIT);
           }) == static_cast<ssize_t>(copy.size());
}

std::string Peek(const Descriptor& socket) {
    std::array<char, REQUEST_SIZE> text{};
    const ssize_t length = recv(socket.Get(), text.data(), text.size(), MSG_PEEK | MSG_DONTWAIT);
    return {text.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

}  // namespace vellumo::office
