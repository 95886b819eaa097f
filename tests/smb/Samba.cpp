// SPDX-License-Identifier: Apache-2.0
#include "Samba.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cstring>

namespace vellumo::test {
namespace {

using support::Descriptor;

constexpr const char* kServer = "/usr/sbin/smbd";
constexpr const char* kClientConfiguration = "/device/smbd/client.conf";
constexpr const char* kServerConfiguration = "/etc/samba/smb.conf";
constexpr const char* kPassword = "a password";
constexpr const char* kTimeLimit = "50";  // seconds for an answer of a server that has little time
constexpr int kPatience = 10000;          // milliseconds until a client has connected

// Samba's programs keep all that they write in the device's folder.
constexpr const char* kPlaces =
    "[global]\n"
    "private dir = /device/smbd/private\n"
    "state directory = /device/smbd/state\n"
    "cache directory = /device/smbd/cache\n"
    "lock directory = /device/smbd/lock\n"
    "pid directory = /device/smbd/pid\n"
    "ncalrpc dir = /device/smbd/rpc\n"
    "log file = /device/smbd/log\n"
    "passdb backend = tdbsam:/device/smbd/passdb.tdb\n"
    "server role = standalone\n"
    "disable netbios = yes\n"
    "load printers = no\n"
    "printcap name = /dev/null\n";

bool AreProgramsThere() {
    return RunProgram(
               {"sh", "-c", "PATH=$PATH:/usr/sbin && command -v smbd smbclient smbpasswd pdbedit"})
               .status == 0;
}

sockaddr_in AddressOf(const char* text) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    inet_pton(AF_INET, text, &address.sin_addr);
    return address;
}

// A client of an address of this machine has that address itself.
bool TakeAddress(const Descriptor& network, const char* interface, const char* text) {
    ifreq request{};
    std::strncpy(request.ifr_name, interface, IFNAMSIZ - 1);
    const sockaddr_in address = AddressOf(text);
    std::memcpy(&request.ifr_addr, &address, sizeof address);
    if (ioctl(network.Get(), SIOCSIFADDR, &request) != 0) {
        return false;
    }
    request.ifr_flags = IFF_UP | IFF_LOOPBACK | IFF_RUNNING;
    return ioctl(network.Get(), SIOCSIFFLAGS, &request) == 0;
}

bool HasNetworkOfItsOwn() {
    if (unshare(CLONE_NEWNET) != 0) {
        return false;
    }
    const Descriptor network(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    return TakeAddress(network, "lo", kThisMachine) && TakeAddress(network, "lo:1", kOfficeHost) &&
           TakeAddress(network, "lo:2", kOtherHost);
}

void MakePlaces() {
    for (const char* name : {"private", "state", "cache", "lock", "pid", "rpc"}) {
        MakeDirectory(std::string("/device/smbd/") + name);
    }
    WriteFile(kClientConfiguration, kPlaces);
}

bool SetPassword(const char* user) {
    return RunProgram({"sh", "-c", R"(printf '%s\n%s\n' "$2" "$2" | smbpasswd -c "$3" -s -a "$1")",
                       "sh", user, kPassword, kClientConfiguration})
               .status == 0;
}

struct Listener {
    Descriptor socket;
    int port = 0;
};

Listener ListenAt(const char* text) {
    Listener listener{Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))};
    sockaddr_in address = AddressOf(text);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener.socket.Get(), generic, size) == 0 && listen(listener.socket.Get(), 1) == 0 &&
        getsockname(listener.socket.Get(), generic, &size) == 0) {
        listener.port = ntohs(address.sin_port);
    }
    return listener;
}

Descriptor Accept(const Listener& listener) {
    pollfd waiting{listener.socket.Get(), POLLIN, 0};
    return poll(&waiting, 1, kPatience) == 1
               ? Descriptor(accept4(listener.socket.Get(), nullptr, nullptr, SOCK_CLOEXEC))
               : Descriptor();
}

// Serves one connection, as inetd starts smbd. In a session of its own, because smbd ends its whole
// process group.
int Serve(const Descriptor& connection) {
    setsid();
    dup2(connection.Get(), STDIN_FILENO);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    dup2(STDOUT_FILENO, STDERR_FILENO);
    return BecomeProgram({kServer, "--configfile", kServerConfiguration});
}

}  // namespace

void SambaTest::SetUp() {
    if (!HasOtherUsers() || !_accounts) {
        GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
    }
    if (!AreProgramsThere()) {
        GTEST_SKIP() << "skipped: Samba and smbclient are not installed";
    }
    ASSERT_TRUE(HasNetworkOfItsOwn()) << std::strerror(errno);
    MakePlaces();
    for (const char* user : {"ann", "bob", "carl"}) {
        ASSERT_TRUE(SetPassword(user)) << user;
    }
    Share();
}

void SambaTest::Share(const std::string& settings, const std::string& global) {
    WriteFile(kServerConfiguration, kPlaces + global +
                                        "\n[docs]\npath = /volume1/docs\nread only = no\n" +
                                        settings + "\n[volume]\npath = /volume1\nread only = no\n" +
                                        "[homes]\npath = /volume1/homes/%S\n" + settings + "\n");
}

Finished SambaTest::AsUser(const std::string& user, const std::string& share,
                           const std::string& commands, const char* address) {
    const Listener listener = ListenAt(address);
    RunningProgram client({"smbclient", "--configfile", kClientConfiguration, "--port",
                           std::to_string(listener.port), "--timeout", kTimeLimit, "--user",
                           user + "%" + kPassword, "--command", commands,
                           std::string("//") + address + "/" + share});
    const Descriptor connection = Accept(listener);
    const ChildProcess server([&] { return connection ? Serve(connection) : 1; });
    std::string output = client.ReadToEnd();
    return {client.Wait(), output};
}

std::string SambaTest::Fetched(const std::string& user, const std::string& share,
                               const std::string& path, const char* address) {
    const Finished client = AsUser(user, share, "get \"" + path + "\" -", address);
    return client.status == 0 ? client.output : "";
}

}  // namespace vellumo::test
