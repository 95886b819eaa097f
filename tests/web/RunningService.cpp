// SPDX-License-Identifier: Apache-2.0
#include "RunningService.h"

#include <json/reader.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <sstream>

namespace vellumo::test {
namespace {

constexpr const char* kSocket = "/device/web.sock";
constexpr const char* kPam = "/device/pam.d";
constexpr const char* kSettings = "/device/web.conf";

// Plays the modules that know the passwords.
constexpr const char* kPassword = "#!/bin/sh\n[ \"$(tr -d '\\0')\" = \"right-$PAM_USER\" ]\n";
constexpr const char* kAccount = "#!/bin/sh\n[ ! -e \"/device/locked-$PAM_USER\" ]\n";

int BeService() {
    return BecomeProgram({VELLUMO_WEB, "--settings", kSettings, "--pam-directory", kPam});
}

void Prepare(const std::string& settings) {
    MakeDirectory(kPam);
    WriteFile("/device/password", kPassword);
    WriteFile("/device/account", kAccount);
    chmod("/device/password", 0755);
    chmod("/device/account", 0755);
    WriteFile(std::string(kPam) + "/vellumo-web",
              "auth [success=1 default=ignore] pam_exec.so quiet expose_authtok /device/password\n"
              "auth requisite pam_deny.so\n"
              "auth required pam_permit.so\n"
              "account [success=1 default=ignore] pam_exec.so quiet /device/account\n"
              "account requisite pam_deny.so\n"
              "account required pam_permit.so\n");
    WriteFile(kSettings, std::string("listen = ") + kSocket +
                             "\nuser = vellumo\npage = " + VELLUMO_PAGE +
                             "\nquick-workers = 2\nconvert-workers = 1\n" + settings);
    chmod(kSettings, 0644);
    unlink(kSocket);
}

int Connected(const std::string& path) {
    const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof(address.sun_path) - 1);
    const timeval limit{30, 0};
    setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    if (connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        close(client);
        return -1;
    }
    return client;
}

HttpAnswer Understood(const std::string& bytes) {
    HttpAnswer answer;
    answer.bytes = bytes;
    const size_t end = bytes.find("\r\n\r\n");
    if (!bytes.starts_with("HTTP/1.1 ") || end == std::string::npos) {
        return answer;
    }
    answer.status = std::stoi(bytes.substr(9, 3));
    answer.content = bytes.substr(end + 4);
    std::istringstream lines(bytes.substr(0, end));
    for (std::string line; std::getline(lines, line);) {
        const size_t colon = line.find(": ");
        if (colon != std::string::npos) {
            std::string name = line.substr(0, colon);
            std::transform(name.begin(), name.end(), name.begin(), ::tolower);
            const bool hasReturn = line.ends_with('\r');
            answer.fields[name] =
                line.substr(colon + 2, line.size() - colon - 2 - (hasReturn ? 1 : 0));
        }
    }
    return answer;
}

}  // namespace

std::vector<TestAccount> AccountsWithService() {
    std::vector<TestAccount> accounts = SomeAccounts();
    accounts.push_back({"vellumo", 1990, 1990});
    return accounts;
}

Json::Value HttpAnswer::Json() const {
    Json::Value value;
    std::istringstream(content) >> value;
    return value;
}

RunningService::RunningService(const std::string& settings)
    : _process((Prepare(settings), BeService)) {
    const bool answersRoot = settings.find("proxy-peer = www-data") == std::string::npos;
    EXPECT_TRUE(!answersRoot || ComesTrue([] { return Browser().Get("/").status == 200; }))
        << "the service does not answer";
    constexpr size_t kProcesses = 4;  // the front, and the workers of the settings here
    EXPECT_TRUE(ComesTrue([this] { return Children().size() >= kProcesses; }))
        << "the front answers, but a worker is missing";
}

std::vector<pid_t> RunningService::Children() const {
    std::istringstream list(RunProgram({"pgrep", "-P", std::to_string(Id())}).output);
    std::vector<pid_t> children;
    for (pid_t child = 0; list >> child;) {
        children.push_back(child);
    }
    return children;
}

int RunningService::Stop() {
    Signal(SIGTERM);
    return Wait();
}

HttpAnswer SendBytes(const std::string& bytes, const std::string& socket) {
    const support::Descriptor client(Connected(socket));
    if (!client || send(client.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) {
        return {};
    }
    std::string received;
    std::array<char, 65536> piece{};
    for (;;) {
        const ssize_t count = recv(client.Get(), piece.data(), piece.size(), 0);
        if (count <= 0) {
            break;
        }
        received.append(piece.data(), static_cast<size_t>(count));
    }
    return Understood(received);
}

HttpAnswer Browser::Get(const std::string& path, const std::string& fields) {
    return SendBytes("GET " + path + " HTTP/1.1\r\nHost: test\r\nConnection: close\r\n" +
                     (cookie.empty() ? "" : "Cookie: " + cookie + "\r\n") + fields + "\r\n");
}

HttpAnswer Browser::Post(const std::string& path, const std::string& content,
                         const std::string& origin) {
    return Send("POST", path, content, origin);
}

HttpAnswer Browser::Send(const std::string& method, const std::string& path,
                         const std::string& content, const std::string& origin) {
    HttpAnswer answer = SendBytes(
        method + ' ' + path + " HTTP/1.1\r\nHost: test\r\nConnection: close\r\nOrigin: " + origin +
        "\r\n" + (cookie.empty() ? "" : "Cookie: " + cookie + "\r\n") +
        "Content-Type: application/json\r\nContent-Length: " + std::to_string(content.size()) +
        "\r\n\r\n" + content);
    const auto set = answer.fields.find("set-cookie");
    if (set != answer.fields.end()) {
        cookie = set->second.substr(0, set->second.find(';'));
    }
    return answer;
}

HttpAnswer Browser::LogIn(const std::string& user, const std::string& password) {
    return Post("/api/v1/login", R"({"user": ")" + user + R"(", "password": ")" +
                                     (password.empty() ? "right-" + user : password) + "\"}");
}

}  // namespace vellumo::test
