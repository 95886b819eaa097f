// SPDX-License-Identifier: Apache-2.0
// Logins by the word of a proxy: whose word counts, for whom, and in which requests.
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <set>

#include "ServiceTest.h"
#include "login/LoginHelper.h"
#include "message/Mail.h"

using namespace vellumo::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

constexpr const char* kProxySocket = "/device/web.proxy";
constexpr const char* kSettings = "proxy-peer = root\nproxy-login = /device/web.proxy\n";
constexpr uid_t kService = 1990;

// While it lives, this process connects as another account.
class As {
public:
    explicit As(uid_t account) { EXPECT_EQ(seteuid(account), 0); }
    ~As() { EXPECT_EQ(seteuid(0), 0); }
    As(const As&) = delete;
    As& operator=(const As&) = delete;
};

HttpAnswer Sent(const std::string& bytes) {
    return SendBytes(bytes, kProxySocket);
}

// A request of the proxy with these fields.
HttpAnswer Asked(const std::string& fields, const std::string& line = "GET /login/proxy") {
    return Sent(line + " HTTP/1.1\r\nHost: test\r\n" + fields + "\r\n");
}

HttpAnswer Named(const std::string& user) {
    return Asked("X-Remote-User: " + user + "\r\n");
}

// The inodes of the sockets that a process has.
std::set<std::string> SocketsOf(pid_t process) {
    std::set<std::string> sockets;
    const std::string folder = "/proc/" + std::to_string(process) + "/fd";
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string target = std::filesystem::read_symlink(entry.path()).string();
        if (target.starts_with("socket:")) {
            sockets.insert(target);
        }
    }
    return sockets;
}

class ProxyLogin : public ServiceTest {
protected:
    static constexpr size_t kProcesses = 1 + 2 + 1 + 4 + 1 + 2;

    // The process that reads the proxy's requests.
    static pid_t ReaderOf(const RunningService& service) {
        EXPECT_TRUE(ComesTrue([&] { return service.Children().size() == kProcesses; }));
        const std::vector<pid_t> children = service.Children();
        return children.size() > 8 ? children.at(8) : 0;
    }
};

TEST_F(ProxyLogin, GivesAnAccountASessionWithTheRightsOfThisAccount) {
    const RunningService service(kSettings);
    const HttpAnswer answer = Named("bob");
    ASSERT_EQ(answer.status, 303);
    EXPECT_EQ(answer.fields.at("location"), "/");
    const std::string cookie = answer.fields.at("set-cookie");
    EXPECT_THAT(cookie, HasSubstr("; Path=/; HttpOnly; SameSite=Lax; Secure"));
    Browser bob;
    bob.cookie = cookie.substr(0, cookie.find(';'));
    EXPECT_EQ(bob.Get("/api/v1/me").Json()["user"], "bob");
    EXPECT_THAT(Hrefs(bob.Get("/api/v1/shares"), "shares"), ElementsAre("docs"));
    EXPECT_THAT(Hrefs(bob.Get("/api/v1/list/docs"), "entries"), ElementsAre("a.docx"));
    EXPECT_EQ(bob.Get("/api/v1/original/docs/secret.docx").status, 404);
}

TEST_F(ProxyLogin, EndsTheSessionThatTheBrowserHadBefore) {
    const RunningService service(kSettings);
    Browser ann;
    ASSERT_EQ(ann.LogIn("ann").status, 200);
    EXPECT_EQ(Asked("X-Remote-User: bob\r\nCookie: " + ann.cookie + "\r\n").status, 303);
    EXPECT_EQ(ann.Get("/api/v1/me").status, 401);
}

TEST_F(ProxyLogin, IsForTheAccountOfTheProxyAlone) {
    const RunningService service(kSettings);
    struct stat status {};
    ASSERT_EQ(stat(kProxySocket, &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    chmod(kProxySocket, 0666);  // the kernel's word about the peer counts too
    for (const uid_t other : {uid_t{1001}, kService}) {
        const As account(other);
        EXPECT_EQ(Named("ann").bytes, "") << other;
    }
    EXPECT_EQ(Named("ann").status, 303);
}

TEST_F(ProxyLogin, HasTheSameAnswerForAllWhoMayNotLogIn) {
    const RunningService service(kSettings);
    WriteFile("/device/locked-ann", "");
    const HttpAnswer unknown = Named("no-such-account");
    EXPECT_EQ(unknown.status, 401);
    EXPECT_EQ(unknown.fields.count("set-cookie"), 0U);
    for (const char* user : {"root", "daemon", "nobody", "vellumo", "ann", "0", "1002", "ann,bob",
                             "bob;bob", "BOB", "../bob", "bob bob"}) {
        EXPECT_EQ(Named(user).bytes, unknown.bytes) << user;
    }
    EXPECT_EQ(Named(std::string(257, 'b')).bytes, unknown.bytes);
}

TEST_F(ProxyLogin, MakesWhoFailsWaitAndNotThoseWhosePasswordIsGuessed) {
    const RunningService service(kSettings);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(Named("no-such-account").status, 401);
        EXPECT_EQ(Browser().LogIn("bob", "wrong").status, 401);
    }
    EXPECT_EQ(Named("no-such-account").status, 429);
    EXPECT_EQ(Named("bob").status, 303);
}

TEST_F(ProxyLogin, BeginsNoMoreThanTwentySessionsOfAUserInAMinute) {
    const RunningService service(kSettings);
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(Named("ann").status, 303) << i;
    }
    EXPECT_EQ(Named("ann").status, 429);
    EXPECT_EQ(Named("bob").status, 303);
}

TEST_F(ProxyLogin, NeedsOneNameInOneField) {
    using namespace std::string_literals;
    const RunningService service(kSettings);
    const std::string ann = "X-Remote-User: ann\r\n";
    for (const std::string& fields :
         {""s, ann + ann, ann + "x-remote-user: bob\r\n", "X-Remote-User:\r\n"s,
          "X-Remote-User:  \t \r\n"s, "X-Remote-User: a\x01nn\r\n"s, "X-Remote-User: an\x7Fn\r\n"s,
          "X-Remote-User: an\0n\r\n"s, "X-Remote-User: ann\r\n bob\r\n"s, "X_Remote_User: ann\r\n"s,
          "X-Remote-User : ann\r\n"s, "Remote-User: ann\r\n"s, ann + "Content-Length: 1\r\n\r\na",
          ann + "Host: other\r\n"}) {
        EXPECT_EQ(Asked(fields).status, 400) << fields;
    }
    EXPECT_EQ(Asked("X-Remote-User: an\tn\r\n").status, 401);
}

TEST_F(ProxyLogin, IsOnePathThatAPageOpens) {
    const RunningService service(kSettings);
    const std::string ann = "X-Remote-User: ann\r\n";
    for (const char* path : {"/", "/login/proxy/", "/login/proxy?x", "/login/../login/proxy",
                             "/login//proxy", "/login/prox%79", "/api/v1/me", "/page.js"}) {
        EXPECT_EQ(Asked(ann, std::string("GET ") + path).status, 404) << path;
    }
    for (const char* method : {"HEAD", "PUT", "PATCH", "DELETE", "OPTIONS"}) {
        EXPECT_EQ(Asked(ann, std::string(method) + " /login/proxy").status, 405) << method;
    }
    EXPECT_EQ(Sent("POST /login/proxy HTTP/1.1\r\nHost: h\r\nContent-Length: 1\r\n" + ann + "\r\na")
                  .status,
              400);
    EXPECT_EQ(Asked(ann + "Sec-Fetch-Dest: image\r\n").status, 403);
    EXPECT_EQ(Asked(ann + "Sec-Fetch-Dest: document\r\n").status, 303);
    EXPECT_EQ(Asked(ann + "Content-Length: 0\r\n", "POST /login/proxy").status, 303);
}

// What follows the first request of a connection, or could be read as a second one in it, names
// nobody.
TEST_F(ProxyLogin, ReadsOneRequestOfAConnection) {
    const RunningService service(kSettings);
    const std::string bob = "GET /login/proxy HTTP/1.1\r\nHost: h\r\nX-Remote-User: bob\r\n\r\n";
    const std::string twice = Sent(bob + bob).bytes;
    EXPECT_EQ(twice.find("HTTP/1.1 303"), 0U);
    EXPECT_EQ(twice.find("HTTP/1.1", 1), std::string::npos);
    EXPECT_THAT(twice, HasSubstr("Connection: close"));
    const std::string unnamed = "GET /login/proxy HTTP/1.1\r\nHost: h\r\n";
    for (const std::string& bytes : std::vector<std::string>{
             unnamed + "\r\n" + bob, unnamed + "Content-Length: 5\r\n\r\n" + bob,
             unnamed + "Transfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + bob,
             unnamed + "Content-Length: 0\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n\r\n" + bob,
             unnamed + "Content-Length: 0\r\nContent-Length: 5\r\n\r\n" + bob,
             unnamed + "X: y\nX-Remote-User: bob\r\n\r\n",
             unnamed + "X: y\rX-Remote-User: bob\r\n\r\n",
             unnamed + "X: y\r\n\tX-Remote-User: bob\r\n\r\n",
             "GET /login/proxy HTTP/1.0\r\n\r\n" + bob, "GET /login/proxy\r\n\r\n" + bob,
             "\r\n" + bob,
             "GET http://h/login/proxy HTTP/1.1\r\nHost: h\r\nX-Remote-User: bob\r\n\r\n",
             "POST /login/proxy HTTP/1.1\r\nHost: h\r\nX-Remote-User: bob\r\nExpect: "
             "100-continue\r\nContent-Length: 0\r\n\r\n"}) {
        const HttpAnswer answer = Sent(bytes);
        EXPECT_THAT(answer.bytes, Not(HasSubstr("HTTP/1.1 303"))) << bytes;
        EXPECT_GE(answer.status, 400) << bytes;
    }
}

TEST_F(ProxyLogin, IsNothingThatTheFrontKnows) {
    const RunningService service(kSettings);
    Browser stranger;
    const std::string named = "X-Remote-User: ann\r\n";
    EXPECT_EQ(stranger.Get("/login/proxy", named).status, 404);
    EXPECT_EQ(stranger.Get("/api/v1/me", named).status, 401);
    EXPECT_EQ(stranger.Get("/api/v1/list/docs", named).status, 401);
    const HttpAnswer login =
        SendBytes("POST /api/v1/login HTTP/1.1\r\nHost: test\r\nOrigin: http://test\r\n" + named +
                  "Connection: close\r\nContent-Type: application/json\r\nContent-Length: "
                  "2\r\n\r\n{}");
    EXPECT_EQ(login.status, 400);
}

// What a front that was taken over could try: its own queue, with a name and no password.
TEST_F(ProxyLogin, CountsOnItsOwnQueueAlone) {
    using vellumo::web::message::Kind;
    namespace message = vellumo::web::message;
    for (const auto& [sent, taken] :
         {std::pair(Kind::kProxyLogin, Kind::kLogin), std::pair(Kind::kLogin, Kind::kProxyLogin)}) {
        const message::Ends queue = message::MakeEnds();
        message::Ends answer = message::MakeEnds();
        const message::Question question{.kind = sent, .user = "ann", .password = "right-ann"};
        ASSERT_TRUE(message::Send(queue.one, *message::Encode(question), answer.other.Get()));
        answer.other.Close();
        EXPECT_NE(vellumo::web::login::ServeOneLogin(queue.other, {geteuid(), "", taken}), 0);
        EXPECT_EQ(message::Receive(answer.one, message::Wait::kReturnsAtOnce), std::nullopt);
        EXPECT_EQ(errno, EPIPE) << "no answer, and nobody left who could give one";
    }
}

TEST_F(ProxyLogin, IsReadByAProcessWithoutRightsThatSharesNoSocketWithTheFront) {
    const RunningService service(kSettings);
    const pid_t reader = ReaderOf(service);
    ASSERT_EQ(Named("ann").status, 303);
    const std::string status = ReadFile("/proc/" + std::to_string(reader) + "/status");
    EXPECT_THAT(status, HasSubstr("Uid:\t1990\t1990\t1990\t1990\n"));
    EXPECT_THAT(status, HasSubstr("CapEff:\t0000000000000000\n"));
    EXPECT_THAT(status, HasSubstr("NoNewPrivs:\t1\n"));
    EXPECT_THAT(status, HasSubstr("Seccomp:\t2\n"));
    const std::set<std::string> ofReader = SocketsOf(reader);
    const std::set<std::string> ofFront = SocketsOf(service.Children().front());
    EXPECT_THAT(ofReader, Not(IsEmpty()));
    EXPECT_THAT(ofFront, Not(IsEmpty()));
    for (const std::string& socket : ofReader) {
        EXPECT_EQ(ofFront.count(socket), 0U) << socket;
    }
}

TEST_F(ProxyLogin, GoesOnAfterEachOfItsProcessesWasKilled) {
    const RunningService service(kSettings);
    ASSERT_EQ(kill(ReaderOf(service), SIGKILL), 0);
    for (int kills = 0; kills < 6; ++kills) {
        EXPECT_TRUE(ComesTrue([] {
            const int status = Named("ann").status;
            EXPECT_THAT(status, testing::AnyOf(0, 303, 503));
            return status == 303;
        })) << kills;
        // One that has begun a session may have ended already.
        kill(service.Children().back(), SIGKILL);
    }
    EXPECT_TRUE(ComesTrue([&] { return service.Children().size() == kProcesses; }));
}

TEST_F(ProxyLogin, IsOffUnlessTheSettingsNameASocket) {
    unlink(kProxySocket);
    const RunningService service("proxy-peer = root\n");
    EXPECT_EQ(Named("ann").bytes, "");
    constexpr size_t kWithout = kProcesses - 3;
    EXPECT_TRUE(ComesTrue([&] { return service.Children().size() == kWithout; }));
}

}  // namespace
