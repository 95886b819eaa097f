// SPDX-License-Identifier: Apache-2.0
#include "message/Mail.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <array>
#include <cstring>

#include "message/Message.h"

namespace vellumo::web::message {
namespace {

using support::Descriptor;
using support::Uninterrupted;

// Room for more files than are allowed, so that a message with several is seen and refused. The
// kernel closes those for which there is no room.
constexpr size_t kRoomForFiles = CMSG_SPACE(4 * sizeof(int));

int FlagsOf(Wait wait) {
    return wait == Wait::kBlocks ? 0 : MSG_DONTWAIT;
}

// Takes the attached files out of a received message; false if there are several.
bool TakeFile(msghdr& header, Descriptor& file) {
    size_t found = 0;
    for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr;
         part = CMSG_NXTHDR(&header, part)) {
        if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) {
            continue;
        }
        const size_t count = (part->cmsg_len - CMSG_LEN(0)) / sizeof(int);
        for (size_t i = 0; i < count; ++i, ++found) {
            int number = -1;
            std::memcpy(&number, CMSG_DATA(part) + (i * sizeof(int)), sizeof(int));
            file = Descriptor(number);
        }
    }
    return found <= 1;
}

}  // namespace

Ends MakeEnds() {
    std::array<int, 2> ends{-1, -1};
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
        return {};
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

bool Send(const Descriptor& socket, std::string_view bytes, int file, Wait wait) {
    iovec content{const_cast<char*>(bytes.data()), bytes.size()};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> room{};
    msghdr header{};
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    if (file >= 0) {
        header.msg_control = room.data();
        header.msg_controllen = room.size();
        cmsghdr* const part = CMSG_FIRSTHDR(&header);
        part->cmsg_level = SOL_SOCKET;
        part->cmsg_type = SCM_RIGHTS;
        part->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(part), &file, sizeof(int));
    }
    const int flags = MSG_NOSIGNAL | FlagsOf(wait);
    return Uninterrupted([&] { return sendmsg(socket.Get(), &header, flags); }) >= 0;
}

std::optional<Mail> Receive(const Descriptor& socket, Wait wait) {
    Mail mail{std::string(kMostBytes, '\0'), {}};
    iovec content{mail.bytes.data(), mail.bytes.size()};
    alignas(cmsghdr) std::array<char, kRoomForFiles> room{};
    msghdr header{};
    header.msg_iov = &content;
    header.msg_iovlen = 1;
    header.msg_control = room.data();
    header.msg_controllen = room.size();
    const int flags = MSG_CMSG_CLOEXEC | FlagsOf(wait);
    const ssize_t length = Uninterrupted([&] { return recvmsg(socket.Get(), &header, flags); });
    if (length < 0) {
        return std::nullopt;
    }
    const bool hasOneFile = TakeFile(header, mail.file);
    if (length == 0) {
        errno = EPIPE;
        return std::nullopt;
    }
    if (!hasOneFile || (header.msg_flags & (MSG_TRUNC | MSG_CTRUNC)) != 0) {
        errno = EBADMSG;
        return std::nullopt;
    }
    mail.bytes.resize(static_cast<size_t>(length));
    return mail;
}

bool IsFrom(const Descriptor& socket, uid_t user) {
    ucred peer{};
    int type = 0;
    socklen_t peerSize = sizeof(peer);
    socklen_t typeSize = sizeof(type);
    return getsockopt(socket.Get(), SOL_SOCKET, SO_TYPE, &type, &typeSize) == 0 &&
           type == SOCK_SEQPACKET &&
           getsockopt(socket.Get(), SOL_SOCKET, SO_PEERCRED, &peer, &peerSize) == 0 &&
           peer.uid == user;
}

}  // namespace vellumo::web::message
