// SPDX-License-Identifier: Apache-2.0
#include "State.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>

#include "Packets.h"
#include "Statuses.h"
#include "exchange/request.h"

namespace vellumo::office {
namespace {

using support::Descriptor;

constexpr int kPatience = 2000;  // ms

std::string ColdFile(const std::string& socket) {
    return socket + ".cold";
}

std::string Reason(const std::string& socket) {
    std::string reason;
    std::ifstream file(ColdFile(socket));
    std::getline(file, reason);
    return reason;
}

Descriptor Connect(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    Descriptor office(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    const bool done =
        connect(office.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
    return done ? std::move(office) : Descriptor();
}

std::string Ask(const std::string& socket) {
    const Descriptor office = Connect(socket);
    if (!office || !Send(office, REQUEST_STATE)) {
        return "";
    }
    pollfd answer{office.Get(), POLLIN, 0};
    return poll(&answer, 1, kPatience) > 0 ? Receive(office).text : "";
}

}  // namespace

bool RememberCold(const std::string& socket, const std::string& reason) {
    if (Reason(socket) == reason) {
        return false;
    }
    std::error_code ignored;
    std::filesystem::create_directory(std::filesystem::path(socket).parent_path(), ignored);
    std::ofstream(ColdFile(socket)) << reason << '\n';
    return true;
}

void ForgetCold(const std::string& socket) {
    unlink(ColdFile(socket).c_str());
}

int PrintState(const std::string& socket) {
    const std::string state = Ask(socket);
    if (!state.empty()) {
        std::cout << state << '\n';
        return 0;
    }
    const std::string reason = Reason(socket);
    if (!reason.empty()) {
        std::cout << reason << '\n';
        return kCannotPreload;
    }
    std::cout << "no office answers\n";
    return kPlaceIsGone;
}

}  // namespace vellumo::office
