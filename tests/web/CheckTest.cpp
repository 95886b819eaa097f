// SPDX-License-Identifier: Apache-2.0
// What vellumo-web says before it starts.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "Device.h"
#include "Process.h"
#include "support/Descriptor.h"

using namespace vellumo::test;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr const char* kSettings = "/device/check.conf";
constexpr const char* kPam = "/device/check-pam";

class WebCheck : public DeviceTest {
protected:
    void SetUp() override {
        MakeDirectory(kPam);
        WriteFile(std::string(kPam) + "/vellumo-web", "auth required pam_deny.so\n");
        Set("");
    }

    // Settings with which the service could start, and these lines.
    static void Set(const std::string& lines) {
        WriteFile(kSettings, std::string("user = nobody\npage = ") + VELLUMO_PAGE + "\n" + lines);
        chmod(kSettings, 0644);
    }

    // The standard output has the messages too.
    static Finished Run(const std::string& arguments) {
        return RunProgram({"sh", "-c", std::string(VELLUMO_WEB " ") + arguments + " 2>&1"});
    }

    static Finished Check(const std::string& pam = kPam) {
        return Run(std::string("--check --settings ") + kSettings + " --pam-directory " + pam);
    }
};

TEST_F(WebCheck, SaysNothingWhenNothingIsWrong) {
    Set("# a comment\n\n listen = 127.0.0.1:1 \nsecure = no\nconvert-workers = 64\n");
    const Finished check = Check();
    EXPECT_THAT(check.output, IsEmpty());
    EXPECT_EQ(check.status, 0);
}

TEST_F(WebCheck, NamesEachWrongLine) {
    Set("quick-workers = 0\nconvert-workers = 65\nsecure = maybe\ncolour = red\nnonsense\n");
    const Finished check = Check();
    EXPECT_EQ(check.status, 1);
    for (const char* problem :
         {"line 3: 'quick-workers' must be a number from 1 to 64",
          "line 4: 'convert-workers' must be a number from 1 to 64",
          "line 5: 'secure' must be yes or no", "line 6: there is no setting 'colour'",
          "line 7: it is not of the form NAME = VALUE"}) {
        EXPECT_THAT(check.output, HasSubstr(problem));
    }
}

TEST_F(WebCheck, NamesAMissingAccountPageAndFileOfPam) {
    Set("user = nobody-at-all\npage = /device/no-page\n");
    const Finished check = Check("/device/no-pam");
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output, HasSubstr("there is no account 'nobody-at-all'"));
    EXPECT_THAT(check.output, HasSubstr("the page is missing: /device/no-page/index.html"));
    EXPECT_THAT(check.output, HasSubstr("nobody can log in without /device/no-pam/vellumo-web"));
}

TEST_F(WebCheck, RefusesToGiveClientsAProcessOfRoot) {
    Set("user = root\n");
    const Finished check = Check();
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output, HasSubstr("the setting user must not be root"));
}

TEST_F(WebCheck, RefusesSettingsThatOthersMayChange) {
    chmod(kSettings, 0666);
    const Finished check = Check();
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output, HasSubstr("others than root may change /device/check.conf"));
}

TEST_F(WebCheck, NamesAPlaceAtWhichItCannotListen) {
    for (const auto& [place, problem] : std::vector<std::pair<std::string, std::string>>{
             {"0.0.0.0:8480", "there is no TLS here, so no other machine may connect"},
             {"127.0.0.1:web", "'127.0.0.1:web' has no port"},
             {"/device/nowhere/web.sock", "cannot listen on /device/nowhere/web.sock: No such"},
             {kSettings, "cannot listen on /device/check.conf: it is no socket"},
             {"/device/" + std::string(200, 'x'), "the path of the socket is too long"}}) {
        Set("listen = " + place + "\n");
        const Finished check = Check();
        EXPECT_EQ(check.status, 1) << place;
        EXPECT_THAT(check.output, HasSubstr(problem));
    }
}

TEST_F(WebCheck, SaysThatAPortIsInUseAndLeavesItAlone) {
    const vellumo::support::Descriptor other(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* const place = reinterpret_cast<sockaddr*>(&address);
    ASSERT_EQ(bind(other.Get(), place, size), 0);
    ASSERT_EQ(listen(other.Get(), 1), 0);
    ASSERT_EQ(getsockname(other.Get(), place, &size), 0);
    Set("listen = 127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "\n");
    const Finished check = Check();
    EXPECT_THAT(check.output, HasSubstr("is in use"));
    EXPECT_EQ(check.status, 0) << "the service itself may run";
}

TEST_F(WebCheck, NamesTheModuleOfPamThatIsMissingAndItsPackage) {
    WriteFile(std::string(kPam) + "/vellumo-web", "@include common-auth\n@include no-file\n");
    WriteFile(std::string(kPam) + "/common-auth",
              "auth [success=1 default=ignore] pam_none_such.so try_first\n"
              "-session optional pam_other_none.so\n"
              "account required pam_permit.so\nauth sufficient pam_winbind.so.none # comment\n");
    const Finished check = Check();
    EXPECT_EQ(check.status, 1);
    EXPECT_THAT(check.output, HasSubstr("the PAM module pam_none_such.so is missing; 'apt-file "
                                        "search pam_none_such.so' names its package"));
    EXPECT_THAT(check.output, HasSubstr("PAM's file no-file is missing"));
    EXPECT_THAT(check.output, testing::Not(HasSubstr("pam_other_none"))) << "only for sessions";
    EXPECT_THAT(check.output, testing::Not(HasSubstr("pam_permit")));
}

TEST_F(WebCheck, HintsAtAProxyWhoseWordAnybodyCouldGive) {
    Set("listen = 127.0.0.1:1\nforwarded = yes\nsecure = no\n");
    const Finished tcp = Check();
    EXPECT_EQ(tcp.status, 0) << "it can start";
    EXPECT_THAT(tcp.output, HasSubstr("can connect to 127.0.0.1:1 and claim any address"));
    EXPECT_THAT(tcp.output, HasSubstr("send the session to the proxy without encryption"));
    Set("listen = /device/check.sock\nforwarded = yes\n");
    EXPECT_THAT(Check().output, HasSubstr("set proxy-peer to the account of the proxy"));
    Set("listen = /device/check.sock\n");
    EXPECT_THAT(Check().output, HasSubstr("the addresses of clients that come through a Unix"));
    Set("listen = /device/check.sock\nforwarded = yes\nproxy-peer = nobody\n");
    EXPECT_THAT(Check().output, IsEmpty());
    Set("proxy-peer = nobody-at-all\n");
    EXPECT_THAT(Check().output, HasSubstr("there is no account 'nobody-at-all'"));
}

TEST_F(WebCheck, LetsNobodyLogInByTheWordOfAProxyThatCouldBeAnybody) {
    const std::string lines =
        "listen = /device/check.sock\nforwarded = yes\nproxy-login = /device/check.login\n";
    const auto problem = [&](const std::string& more) {
        Set(lines + more);
        const Finished check = Check();
        EXPECT_EQ(check.status, 1) << more;
        return check.output;
    };
    EXPECT_THAT(problem(""), HasSubstr("proxy-login needs proxy-peer"));
    EXPECT_THAT(problem("proxy-peer = nobody\n"), HasSubstr("must be another account than user"));
    EXPECT_THAT(problem("proxy-peer = www-data\nproxy-login = /device/check.sock\n"),
                HasSubstr("needs a socket of its own"));
    EXPECT_THAT(problem("proxy-peer = www-data\nproxy-login = relative\n"),
                HasSubstr("'proxy-login' must be an absolute path or none"));
    EXPECT_THAT(problem("proxy-peer = www-data\nproxy-user-header = X Y\n"),
                HasSubstr("'proxy-user-header' must be letters, digits and '-'"));
    MakeDirectory("/device/open");
    chmod("/device/open", 0777);
    EXPECT_THAT(problem("proxy-peer = www-data\nproxy-login = /device/open/login\n"),
                HasSubstr("others than root may exchange what is in /device/open/"));
    Set(lines + "user = games\nproxy-peer = nobody\n");
    EXPECT_THAT(Check().output, HasSubstr("programs of many kinds run as nobody"));
    Set(lines + "proxy-peer = www-data\n");
    const Finished sound = Check();
    EXPECT_THAT(sound.output, IsEmpty());
    EXPECT_EQ(sound.status, 0);
}

TEST_F(WebCheck, TheServiceDoesNotStartWithWhatTheCheckFinds) {
    Set("colour = red\n");
    const Finished service =
        Run(std::string("--settings ") + kSettings + " --pam-directory " + kPam);
    EXPECT_EQ(service.status, 1);
    EXPECT_THAT(service.output, HasSubstr("there is no setting 'colour'"));
}

TEST_F(WebCheck, NamesAnOptionThatDoesNotExist) {
    const Finished wrong = Run("--chekc");
    EXPECT_EQ(wrong.status, 2);
    EXPECT_THAT(wrong.output, HasSubstr("'--chekc' is not understood"));
    EXPECT_EQ(Run("--settings").status, 2) << "its value is missing";
}

}  // namespace
