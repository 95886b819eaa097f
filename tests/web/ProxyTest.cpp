// SPDX-License-Identifier: Apache-2.0
// The service behind real proxies with TLS, with the configurations that deploy/web/ offers.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <initializer_list>
#include <regex>

#include "Accounts.h"
#include "RunningService.h"
#include "support/Descriptor.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* kConfiguration = "/device/proxy.conf";
constexpr const char* kPassword = "at-the-proxy";
constexpr const char* kJar = "/device/cookies";
constexpr const char* kLog = "/device/proxy-access.log";

uint16_t FreePort() {
    const vellumo::support::Descriptor probe(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const place = reinterpret_cast<sockaddr*>(&address);
    EXPECT_EQ(bind(probe.Get(), place, size), 0);
    EXPECT_EQ(getsockname(probe.Get(), place, &size), 0);
    return ntohs(address.sin_port);
}

// Makes the lines count that are a comment in the example, from the one with `begin` to the next
// one with `end`.
void Uncomment(std::string& text, const std::string& begin, const std::string& end) {
    const size_t found = text.find('#' + begin);
    ASSERT_NE(found, std::string::npos) << begin << " is not in the example";
    const size_t first = text.rfind('\n', found) + 1;
    const size_t last = text.find(text.substr(first, found - first) + '#' + end + '\n', first);
    ASSERT_NE(last, std::string::npos) << "the part " << begin << " does not end";
    const size_t size = text.find('\n', last) - first;
    text.replace(
        first, size,
        std::regex_replace(text.substr(first, size), std::regex("(^|\n)([ \t]*)#"), "$1$2"));
}

void Replace(std::string& text, const std::string& what, const std::string& by) {
    size_t at = text.find(what);
    ASSERT_NE(at, std::string::npos) << what << " is not in the example";
    for (; at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

// The first line of the program's output.
std::string Printed(const std::vector<std::string>& command) {
    const std::string output = RunProgram(command).output;
    return output.substr(0, output.find('\n'));
}

void WritePasswords() {
    const std::string hash = Printed({"openssl", "passwd", "-apr1", kPassword});
    WriteFile("/device/passwords", "bob:" + hash + "\nroot:" + hash + "\n");
    chmod("/device/passwords", 0644);
}

std::string Example(const char* name) {
    std::string text = ReadFile(std::string(VELLUMO_PROXY_EXAMPLES "/") + name);
    Replace(text, "/run/vellumo-web.sock", "/device/web.sock");
    Replace(text, "/run/vellumo-web.proxy-login", "/device/web.proxy");
    return text;
}

void ReplaceCertificate(std::string& text) {
    Replace(text, "/etc/ssl/certs/EXAMPLE.pem", "/device/certificate.pem");
    Replace(text, "/etc/ssl/private/EXAMPLE.key", "/device/certificate.key");
}

std::string ForNginx(uint16_t port, bool withLogin) {
    std::string text = Example("nginx.conf");
    ReplaceCertificate(text);
    Replace(text, "listen 443 ssl http2;",
            "listen 127.0.0.1:" + std::to_string(port) + " ssl http2;");
    Replace(text, "    listen [::]:443 ssl http2;\n", "");
    text.erase(text.find("\nserver {\n    listen 80;"));  // the last part
    if (withLogin) {
        Uncomment(text, "location = /login/proxy {", "}");
        Replace(text, "/etc/nginx/EXAMPLE.passwords", "/device/passwords");
        WritePasswords();
    }
    return "user www-data;\ndaemon off;\npid /device/nginx.pid;\nerror_log stderr;\n"
           "events {}\nhttp {\n" +
           text + "}\n";
}

std::string WithModules(std::initializer_list<const char*> names) {
    std::string lines;
    for (const std::string name : names) {
        lines += "LoadModule " + name + "_module /usr/lib/apache2/modules/mod_" + name + ".so\n";
    }
    return lines;
}

std::string ForApache(uint16_t port, bool withLogin) {
    std::string text = Example("apache.conf");
    ReplaceCertificate(text);
    Replace(text, "*:443", "*:" + std::to_string(port));
    std::string modules =
        WithModules({"mpm_event", "authz_core", "proxy", "proxy_http", "ssl", "headers"});
    if (withLogin) {
        Uncomment(text, "ProxyPass /login/proxy", "</Location>");
        Replace(text, "/etc/apache2/EXAMPLE.passwords", "/device/passwords");
        WritePasswords();
        modules += WithModules({"auth_basic", "authn_core", "authn_file", "authz_user"});
    }
    return "ServerRoot /device\nServerName localhost\nUser www-data\nGroup www-data\n"
           "PidFile /device/apache.pid\nErrorLog /dev/stderr\nMutex sem\n"
           "Listen 127.0.0.1:" +
           std::to_string(port) + "\n" + modules + text;
}

std::string ForCaddy(uint16_t port, bool withLogin) {
    std::string text = Example("Caddyfile");
    Replace(text, "documents.EXAMPLE.org {\n",
            "localhost:" + std::to_string(port) +
                " {\n\tbind 127.0.0.1\n"
                "\ttls /device/certificate.pem /device/certificate.key\n");
    if (withLogin) {
        Uncomment(text, "handle /login/proxy {", "}");
        const std::string hash = Printed({"caddy", "hash-password", "--plaintext", kPassword});
        Replace(text, "EXAMPLE $2a$14$... (as printed by caddy hash-password)",
                "bob " + hash + "\n\t\t\troot " + hash);
    }
    return "{\n\tadmin off\n\tauto_https disable_redirects\n}\n" + text;
}

struct ProxyKind {
    const char* name;
    const char* program;
    std::vector<std::string> options;
    bool isRoot;  // and takes the account www-data by itself
    std::string (*configuration)(uint16_t port, bool withLogin);
    const char* statusOfLoginWithContent;  // only nginx keeps it to itself

    friend void PrintTo(const ProxyKind& kind, std::ostream* out) { *out << kind.name; }
};

const ProxyKind kKinds[] = {
    {"Nginx", "/usr/sbin/nginx", {"-c"}, true, ForNginx, "303"},
    {"Apache", "/usr/sbin/apache2", {"-D", "FOREGROUND", "-f"}, true, ForApache, "400"},
    {"Caddy",
     "/usr/bin/caddy",
     {"run", "--adapter", "caddyfile", "--config"},
     false,
     ForCaddy,
     "400"},
};

class Proxy : public DeviceTest, public testing::WithParamInterface<ProxyKind> {
protected:
    void SetUp() override {
        if (!HasOtherUsers() || !_accounts) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!std::filesystem::exists(GetParam().program)) {
            GTEST_SKIP() << "skipped: " << GetParam().name << " is not installed";
        }
        for (const char* file : {"", "-wal", "-shm"}) {
            unlink((std::string("/var/packages/Vellumo/etc/web.db") + file).c_str());
        }
        unlink(kJar);
        unlink(kLog);
        WriteFile("/etc/samba/smb.conf",
                  "[docs]\npath = /volume1/docs\n"
                  "[docker]\npath = /volume1/docker\navailable = no\n");
        WriteFile("/volume1/docs/a.docx", "some document");
        chmod("/volume1/docs/a.docx", 0644);
        chmod("/volume1/docs", 0755);
        EXPECT_EQ(
            RunProgram({"openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:P-256", "-nodes", "-days", "1", "-subj", "/CN=localhost",
                        "-keyout", "/device/certificate.key", "-out", "/device/certificate.pem"})
                .status,
            0);
        chmod("/device/certificate.key", 0644);
        Configure(false);
    }

    void Configure(bool withLogin) const {
        WriteFile(kConfiguration, GetParam().configuration(_port, withLogin));
    }
    static int BeProxy() {
        const ProxyKind& kind = GetParam();
        std::vector<std::string> command{kind.program};
        command.insert(command.end(), kind.options.begin(), kind.options.end());
        command.emplace_back(kConfiguration);
        if (!kind.isRoot) {
            command.insert(command.begin(), {"/usr/bin/setpriv", "--reuid=www-data",
                                             "--regid=www-data", "--clear-groups"});
        }
        return BecomeProgram(command);
    }

    // What curl gets through the proxy.
    std::string Fetched(const std::string& path,
                        const std::vector<std::string>& options = {}) const {
        std::vector<std::string> command{
            "curl", "-s", "--max-time", "30", "--cacert", "/device/certificate.pem",
            "-b",   kJar, "-c",         kJar};
        command.insert(command.end(), options.begin(), options.end());
        command.push_back("https://localhost:" + std::to_string(_port) + path);
        return RunProgram(command).output;
    }

    std::string Posted(const std::string& path, const std::string& content) const {
        return Fetched(path, {"-H", "Content-Type: application/json", "-H",
                              "Sec-Fetch-Site: same-origin", "-d", content});
    }

    // The status of a login at the proxy.
    std::string StatusOfLogin(const std::string& user,
                              std::vector<std::string> options = {}) const {
        options.insert(options.end(), {"-u", user, "-o", "/dev/null", "-w", "%{http_code}"});
        return Fetched("/login/proxy", options);
    }

private:
    const Accounts _accounts{AccountsWithService(), SomeGroups()};
    const uint16_t _port = FreePort();
};

TEST_P(Proxy, CarriesLoginListAndRangesThroughHttps) {
    const ChildProcess proxy(BeProxy);
    const RunningService service(
        "forwarded = yes\nproxy-peer = www-data\naccess-log = " + std::string(kLog) + "\n");
    ASSERT_TRUE(ComesTrue(
        [&] { return Fetched("/").find("<title>Documents</title>") != std::string::npos; }));
    EXPECT_EQ(Browser().Get("/").status, 0) << "only the proxy may connect";
    EXPECT_EQ(Posted("/api/v1/login", R"({"user": "ann", "password": "right-ann"})"), "{}");
    EXPECT_THAT(Fetched("/api/v1/list/docs", {"-H", "X-Forwarded-For: 192.0.2.66"}),
                HasSubstr("\"href\":\"a.docx\""));
    std::string state = Posted("/api/v1/open/docs/a.docx", "{}");
    for (int i = 0; i < 9 && state.find("\"ready\"") == std::string::npos; ++i) {
        state = Fetched("/api/v1/status/docs/a.docx?wait=5");
    }
    const std::string pdf = Fetched("/api/v1/pdf/docs/a.docx");
    ASSERT_EQ(pdf.size(), 100U) << state;
    EXPECT_EQ(Fetched("/api/v1/pdf/docs/a.docx", {"-r", "10-19"}), pdf.substr(10, 10));
    EXPECT_EQ(
        Fetched("/api/v1/pdf/docs/a.docx", {"-r", "500-", "-o", "/dev/null", "-w", "%{http_code}"}),
        "416");
    EXPECT_EQ(Fetched("/api/v1/list/docs%2f..", {"-o", "/dev/null", "-w", "%{http_code}"}), "400");
    const std::string log = ReadFile(kLog);
    EXPECT_THAT(log, HasSubstr(" 127.0.0.1 "));
    EXPECT_THAT(log, Not(HasSubstr("192.0.2.66"))) << "a client's own claim does not count";
}

TEST_P(Proxy, LogsInWhomItHasLoggedInAndNobodyWhomAClientNames) {
    Configure(true);
    const ChildProcess proxy(BeProxy);
    const RunningService service(
        "forwarded = yes\nproxy-peer = www-data\nproxy-login = /device/web.proxy\n");
    ASSERT_TRUE(ComesTrue(
        [&] { return Fetched("/").find("<title>Documents</title>") != std::string::npos; }));
    EXPECT_EQ(StatusOfLogin("bob:wrong"), "401");
    EXPECT_EQ(StatusOfLogin("root:at-the-proxy"), "401");
    EXPECT_THAT(Fetched("/api/v1/me", {"-H", "X-Remote-User: bob"}), HasSubstr("no-session"));
    EXPECT_EQ(StatusOfLogin("bob:at-the-proxy", {"-H", "X-Remote-User: ann"}), "303");
    EXPECT_THAT(Fetched("/api/v1/me"), HasSubstr("\"user\":\"bob\""));
    EXPECT_THAT(Fetched("/api/v1/list/docs"), HasSubstr("\"href\":\"a.docx\""));
    EXPECT_EQ(StatusOfLogin("bob:at-the-proxy", {"-d", "some content"}),
              GetParam().statusOfLoginWithContent);
}

INSTANTIATE_TEST_SUITE_P(Web, Proxy, testing::ValuesIn(kKinds), testing::PrintToStringParamName());

}  // namespace
