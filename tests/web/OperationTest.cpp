// SPDX-License-Identifier: Apache-2.0
// The whole service as an administrator runs it: settings, metrics, logs, rights of its processes.
#include <linux/capability.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <filesystem>

#include "Accounts.h"
#include "RunningService.h"
#include "support/Descriptor.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::Not;

namespace {

// One share, docs, with a document that everybody may read.
class Operation : public DeviceTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        for (const char* file : {"", "-wal", "-shm"}) {
            unlink((std::string("/var/packages/Vellumo/etc/web.db") + file).c_str());
        }
        WriteFile("/etc/samba/smb.conf",
                  "[docs]\npath = /volume1/docs\n"
                  "[docker]\npath = /volume1/docker\navailable = no\n");
        WriteFile("/volume1/docs/a.docx", "some document");
        chmod("/volume1/docs/a.docx", 0644);
        chmod("/volume1/docs", 0755);
    }

    // Opens a document and waits for its product; the last state.
    static std::string Opened(Browser& browser, const std::string& path,
                              const std::string& product) {
        const std::string query = path + "?product=" + product;
        std::string state = browser.Post("/api/v1/open/" + query, "{}").Json()["state"].asString();
        while (state != "ready" && state != "none" && !state.empty()) {
            state = browser.Get("/api/v1/status/" + query + "&wait=5").Json()["state"].asString();
        }
        return state;
    }

private:
    const Accounts _accounts{AccountsWithService(), SomeGroups()};
};

TEST_F(Operation, TheCheckNamesAShareThatNobodyMayRead) {
    MakeDirectory("/volume1/closed");
    MakeDirectory("/volume1/listed");
    chmod("/volume1/closed", 0700);
    WriteFile("/etc/samba/smb.conf",
              "[docs]\npath = /volume1/docs\n"
              "[closed]\npath = /volume1/closed\n"
              "[listed]\npath = /volume1/listed\nvalid users = nobody-at-all\n"
              "[gone]\npath = /volume1/gone\n");
    const std::string output =
        RunProgram({"sh", "-c", VELLUMO_WEB " --check --settings /device/none 2>&1"}).output;
    EXPECT_THAT(output, HasSubstr("the share gone has no folder: /volume1/gone"));
    EXPECT_THAT(output, HasSubstr("may read the share closed (/volume1/closed)"));
    EXPECT_THAT(output, HasSubstr("may read the share listed (/volume1/listed)"));
    EXPECT_THAT(output, Not(HasSubstr("read the share docs")));
}

// What curl gets from the socket, as the account `user`.
std::string Fetched(const std::string& socket, const std::string& path, const char* user = "0") {
    return RunProgram({"setpriv", "--reuid", user, "--clear-groups", "curl", "-s", "--max-time",
                       "20", "--unix-socket", socket, "http://localhost" + path})
        .output;
}

TEST_F(Operation, OnlyTheAccountOfTheProxyMayConnect) {
    const RunningService service("forwarded = yes\nproxy-peer = root\n");
    EXPECT_THAT(Fetched("/device/web.sock", "/"), HasSubstr("<title>Documents</title>"));
    EXPECT_EQ(Fetched("/device/web.sock", "/", "1001"), "");
}

TEST_F(Operation, TellsRootAloneHowItIsAndWhatItDoes) {
    constexpr const char* kStatus = "/run/vellumo-web.status";
    const RunningService service;
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    EXPECT_EQ(ann.Get("/api/v1/list/docs").status, 200);
    EXPECT_EQ(ann.LogIn("ann", "wrong").status, 401);
    EXPECT_EQ(Fetched(kStatus, "/healthz"), "ok\n");
    EXPECT_EQ(Fetched(kStatus, "/healthz", "1001"), "") << "others may not connect";
    EXPECT_EQ(Fetched(kStatus, "/metrics", "1990"), "") << "nor may the process' own account";
    constexpr size_t kProcesses = 1 + 2 + 1 + 4;
    ASSERT_TRUE(ComesTrue([&] { return service.Children().size() == kProcesses; }));
    kill(service.Children().at(1), SIGKILL);
    ASSERT_TRUE(ComesTrue([&] {
        return Fetched(kStatus, "/metrics").find("vellumo_web_deaths_total{role=\"worker\"} 1\n") !=
               std::string::npos;
    }));
    const std::string metrics = Fetched(kStatus, "/metrics");
    EXPECT_THAT(metrics,
                HasSubstr("vellumo_web_requests_total{route=\"list\",status=\"200\"} 1\n"));
    EXPECT_THAT(metrics, HasSubstr("vellumo_web_logins_refused_total 1\n"));
    EXPECT_THAT(metrics, HasSubstr("vellumo_web_jobs{state=\"waiting\"} 0\n"));
    EXPECT_EQ(ann.Get("/metrics").status, 404) << "nothing of it where clients arrive";
}

vellumo::support::Descriptor ConnectedTo(const char* path) {
    vellumo::support::Descriptor client(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::string(path).copy(address.sun_path, sizeof(address.sun_path) - 1);
    return connect(client.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0
               ? std::move(client)
               : vellumo::support::Descriptor();
}

Json::Value StatusOfTool() {
    HttpAnswer answer;
    answer.content = RunProgram({VELLUMO_TOOL, "--json", "status"}).output;
    return answer.Json();
}

TEST_F(Operation, IsInTheStatusThatTheToolShows) {
    {
        const RunningService service;
        ASSERT_EQ(Browser().LogIn("ann").status, 200);
        ASSERT_EQ(Browser().LogIn("bob").status, 200);
        const auto idle = ConnectedTo("/device/web.sock");
        EXPECT_TRUE(ComesTrue([] { return StatusOfTool()["web"]["connections"] == 1; }));
        const Json::Value web = StatusOfTool()["web"];
        EXPECT_EQ(web["runs"], true);
        EXPECT_EQ(web["sessions"], 2);
        EXPECT_EQ(web["converting"], 0);
        EXPECT_EQ(web["waiting"], 0);
        EXPECT_THAT(RunProgram({VELLUMO_TOOL, "status"}).output,
                    HasSubstr("Web:       runs: 1 connections, 2 sessions, 0 conversions running, "
                              "0 waiting\n"));
    }
    EXPECT_EQ(StatusOfTool()["web"]["runs"], false);
    EXPECT_THAT(RunProgram({VELLUMO_TOOL, "status"}).output, HasSubstr("Web:       does not run;"));
}

TEST_F(Operation, IsNotWellWhenNobodyLooksThingsUp) {
    const RunningService service;
    constexpr size_t kProcesses = 1 + 2 + 1 + 4;
    ASSERT_TRUE(ComesTrue([&] { return service.Children().size() == kProcesses; }));
    const std::vector<pid_t> children = service.Children();
    kill(children.at(1), SIGSTOP);
    kill(children.at(2), SIGSTOP);
    EXPECT_THAT(
        RunProgram({"curl", "-s", "--max-time", "2", "-o", "/dev/null", "-w", "%{http_code}",
                    "--unix-socket", "/run/vellumo-web.status", "http://localhost/healthz"})
            .output,
        "000")
        << "it waits for an answer";
    kill(children.at(1), SIGKILL);
    kill(children.at(2), SIGKILL);
    EXPECT_TRUE(ComesTrue([] { return Fetched("/run/vellumo-web.status", "/healthz") == "ok\n"; }));
}

TEST_F(Operation, WritesAnAccessLogAndOpensItAnewAfterItWasMovedAway) {
    for (const char* file : {"/device/access.log", "/device/access.log.1"}) {
        unlink(file);
    }
    const RunningService service("access-log = /device/access.log\n");
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    ann.Get("/api/v1/list/docs?cursor=");
    EXPECT_THAT(ReadFile("/device/access.log"), HasSubstr(" GET /api/v1/list/docs 200 "));
    ASSERT_EQ(rename("/device/access.log", "/device/access.log.1"), 0);
    service.Signal(SIGHUP);
    EXPECT_TRUE(ComesTrue([&] {
        ann.Get("/api/v1/me");
        return ReadFile("/device/access.log").find(" GET /api/v1/me 200 ") != std::string::npos;
    }));
    const std::string token = ann.cookie.substr(ann.cookie.find('=') + 1);
    EXPECT_THAT(ReadFile("/device/access.log.1") + ReadFile("/device/access.log"),
                Not(HasSubstr(token)));
    kill(service.Children().front(), SIGKILL);
    EXPECT_TRUE(ComesTrue([&] {
        ann.Get("/api/v1/shares");
        return ReadFile("/device/access.log").find("/api/v1/shares 200") != std::string::npos;
    })) << "the next front writes to the new file";
}

// The bits of a set of capabilities in /proc/PID/status.
uint64_t CapabilitiesOf(pid_t process, const std::string& set) {
    const std::string status = ReadFile("/proc/" + std::to_string(process) + "/status");
    const size_t found = status.find(set + ":\t");
    return found == std::string::npos
               ? UINT64_MAX
               : std::stoull(status.substr(found + set.size() + 2), nullptr, 16);
}

TEST_F(Operation, LeavesItsWorkersOnlyTheCapabilitiesThatTheyNeed) {
    constexpr uint64_t kLooking = 1U << CAP_SETUID | 1U << CAP_SETGID | 1U << CAP_DAC_OVERRIDE |
                                  1U << CAP_DAC_READ_SEARCH | 1U << CAP_CHOWN | 1U << CAP_FOWNER |
                                  1U << CAP_KILL | 1U << CAP_AUDIT_WRITE;
    constexpr uint64_t kDangerous = uint64_t{1} << CAP_SYS_MODULE | uint64_t{1} << CAP_SYS_RAWIO |
                                    uint64_t{1} << CAP_SYS_BOOT | uint64_t{1} << CAP_SYS_TIME |
                                    uint64_t{1} << CAP_NET_RAW | uint64_t{1} << CAP_MKNOD |
                                    uint64_t{1} << CAP_BPF | uint64_t{1} << CAP_SYSLOG;
    const RunningService service;
    const std::vector<pid_t> children = service.Children();
    ASSERT_GE(children.size(), 4U);
    for (const char* set : {"CapPrm", "CapEff", "CapBnd"}) {
        for (const size_t quick : {1U, 2U}) {
            EXPECT_TRUE(ComesTrue([&] {
                return (CapabilitiesOf(children.at(quick), set) & ~kLooking) == 0;
            })) << set;
        }
        EXPECT_TRUE(ComesTrue([&] {
            return (CapabilitiesOf(children.at(3), set) & kDangerous) == 0;
        })) << set;
        EXPECT_EQ(CapabilitiesOf(children.at(3), set) & kLooking,
                  CapabilitiesOf(children.at(1), set));
    }
}

TEST_F(Operation, LeavesALoginOnlyTheCapabilitiesThatPamNeeds) {
    constexpr uint64_t kNeeded = 1U << CAP_SETUID | 1U << CAP_SETGID | 1U << CAP_DAC_OVERRIDE |
                                 1U << CAP_DAC_READ_SEARCH | 1U << CAP_CHOWN |
                                 1U << CAP_AUDIT_WRITE;
    const RunningService service("proxy-peer = root\nproxy-login = /device/web.proxy\n");
    constexpr size_t kProcesses = 1 + 2 + 1 + 4 + 1 + 2;
    ASSERT_TRUE(ComesTrue([&] { return service.Children().size() == kProcesses; }));
    const std::vector<pid_t> children = service.Children();
    for (const size_t login : {4U, 5U, 6U, 7U, 9U, 10U}) {
        for (const char* set : {"CapPrm", "CapEff", "CapBnd", "CapInh", "CapAmb"}) {
            EXPECT_TRUE(ComesTrue([&] {
                return (CapabilitiesOf(children.at(login), set) & ~kNeeded) == 0;
            })) << login
                << set;
        }
    }
    EXPECT_EQ(Browser().LogIn("ann").status, 200);
}

// Passwords that the view alone has: ann's counts, bob's account is closed.
void CoverPasswords() {
    const std::string hash = RunProgram({"openssl", "passwd", "-6", "of-the-server"}).output;
    const std::string field = hash.substr(0, hash.find('\n'));
    WriteFile("/device/shadow",
              "ann:" + field + ":19000:0:99999:7:::\nbob:" + field + ":19000:0:99999:7::1:\n");
    chmod("/device/shadow", 0640);
    ASSERT_EQ(RunProgram({"mount", "--bind", "/device/shadow", "/etc/shadow"}).status, 0);
}

TEST_F(Operation, AsksTheServersOwnPasswordsWithTheseCapabilities) {
    CoverPasswords();
    const RunningService service("proxy-peer = root\nproxy-login = /device/web.proxy\n");
    WriteFile("/device/pam.d/vellumo-web",
              "auth required pam_unix.so\naccount required pam_unix.so\n");
    EXPECT_EQ(Browser().LogIn("ann", "of-the-server").status, 200);
    EXPECT_EQ(Browser().LogIn("ann", "wrong").status, 401);
    EXPECT_EQ(Browser().LogIn("bob", "of-the-server").status, 401);
    const auto named = [](const std::string& user) {
        return SendBytes(
                   "GET /login/proxy HTTP/1.1\r\nHost: h\r\nX-Remote-User: " + user + "\r\n\r\n",
                   "/device/web.proxy")
            .status;
    };
    EXPECT_EQ(named("ann"), 303);
    EXPECT_EQ(named("bob"), 401);
    RunProgram({"umount", "/etc/shadow"});
}

TEST_F(Operation, ServesOthersWhileAlmostAThousandClientsDoNothingOrLittle) {
    const RunningService service;
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    std::vector<vellumo::support::Descriptor> clients;
    for (int i = 0; i < 990; ++i) {
        clients.push_back(ConnectedTo("/device/web.sock"));
        ASSERT_TRUE(clients.back()) << i;
        if (i % 2 == 0) {  // the others say nothing at all
            ASSERT_EQ(send(clients.back().Get(), "GET / HTTP/1.1\r\nHo", 18, MSG_NOSIGNAL), 18);
        }
    }
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(ann.Get("/api/v1/list/docs").status, 200) << "room is left for ten more";
    }
    EXPECT_THAT(Fetched("/run/vellumo-web.status", "/metrics"),
                HasSubstr("vellumo_web_connections 99"));
    // Half a head must be a whole one within five seconds.
    EXPECT_TRUE(ComesTrue([&] {
        char byte = 0;
        return recv(clients.front().Get(), &byte, 1, MSG_DONTWAIT) == 0;
    }));
    EXPECT_EQ(ann.Get("/api/v1/list/docs").status, 200);
}

// Whether the connection closed before all had come that the head promises: a client notices.
bool IsTorn(const HttpAnswer& answer) {
    const auto length = answer.fields.find("content-length");
    return length == answer.fields.end() || answer.content.size() < std::stoul(length->second);
}

TEST_F(Operation, AKilledProcessCostsItsClientsATryAndNothingElse) {
    const RunningService service;
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    ASSERT_EQ(Opened(ann, "docs/a.docx", "pdf"), "ready");
    const std::string pdf = ann.Get("/api/v1/pdf/docs/a.docx").content;
    std::vector<ChildProcess> clients;
    for (int i = 0; i < 4; ++i) {
        clients.emplace_back([ann, &pdf]() mutable {
            int answered = 0;
            for (int request = 0; request < 150; ++request) {
                const HttpAnswer answer = ann.Get("/api/v1/pdf/docs/a.docx");
                const bool isWhole = answer.status == 200 && answer.content == pdf;
                if (!isWhole && !IsTorn(answer) && answer.status != 503) {
                    return 1;
                }
                answered += isWhole ? 1 : 0;
            }
            return answered > 0 ? 0 : 2;
        });
    }
    for (int kills = 0; kills < 24; ++kills) {
        const std::vector<pid_t> children = service.Children();
        if (!children.empty()) {
            kill(children.at(static_cast<size_t>(kills) % children.size()), SIGKILL);
        }
        usleep(40'000);
    }
    for (ChildProcess& client : clients) {
        EXPECT_EQ(client.Wait(), 0) << "1: a wrong answer, 2: none at all";
    }
    EXPECT_TRUE(ComesTrue([&] { return ann.Get("/api/v1/pdf/docs/a.docx").content == pdf; }));
}

// Puts listening sockets at 3 and 4, as systemd does, and becomes the service.
int BeActivatedService() {
    for (int number : {3, 4}) {
        const std::string path = "/device/socket" + std::to_string(number);
        unlink(path.c_str());
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof(address.sun_path) - 1);
        const int made = socket(AF_UNIX, SOCK_STREAM, 0);
        if (bind(made, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
            listen(made, 16) != 0 || (made != number && dup2(made, number) < 0)) {
            return EXIT_FAILURE;
        }
    }
    setenv("LISTEN_PID", std::to_string(getpid()).c_str(), 1);
    setenv("LISTEN_FDS", "2", 1);
    return BecomeProgram(
        {VELLUMO_WEB, "--settings", "/device/web.conf", "--pam-directory", "/device/pam.d"});
}

TEST_F(Operation, ServesEverySocketThatSystemdPasses) {
    RunningService("").Stop();  // makes the settings
    const ChildProcess service(BeActivatedService);
    for (const char* path : {"/device/socket3", "/device/socket4"}) {
        EXPECT_TRUE(ComesTrue([&] {
            return Fetched(path, "/").find("<title>Documents</title>") != std::string::npos;
        })) << path;
    }
}

// Where the only thumbnail is kept.
std::filesystem::path KeptThumbnail() {
    for (const auto& entry : std::filesystem::recursive_directory_iterator("/volume1/@navoea")) {
        if (entry.path().filename() == "NAVODOC_THUMB.png") {
            return entry.path();
        }
    }
    return {};
}

// Whoever makes a thumbnail leaves this mark meanwhile.
TEST_F(Operation, TakesTheMarkOfAThumbnailThatIsBeingMadeForNoFailure) {
    const RunningService service;
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    ASSERT_EQ(Opened(ann, "docs/a.docx", "thumbnail"), "ready");
    const std::filesystem::path kept = KeptThumbnail();
    ASSERT_FALSE(kept.empty());
    std::filesystem::rename(kept, kept.string() + ".err.0063");
    EXPECT_EQ(ann.Get("/api/v1/status/docs/a.docx?product=thumbnail").status, 202);
    EXPECT_EQ(Opened(ann, "docs/a.docx", "thumbnail"), "ready");
}

}  // namespace
