// SPDX-License-Identifier: Apache-2.0
// The command line of vellumo-office, and what it says where no office can be kept in memory.
#include "Shell.h"

namespace vellumo::test {
namespace {

using testing::AllOf;
using testing::Field;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kProgram = "office=" VELLUMO_OFFICE R"sh(
export VELLUMO_OFFICE_SOCKET=$folder/run/office
# Runs a command on a machine with less memory, or with another library in the place of the office's.
instead_of() { unshare --mount bash -c 'mount --bind "$1" "$0" && exec "${@:2}"' "$@"; }
with_little_memory() {
    printf 'MemTotal: 4000000 kB\nMemFree: 4 kB\nMemAvailable: 204900 kB\n' >$folder/meminfo
    instead_of /proc/meminfo $folder/meminfo "$@"
}
with_another_office() {
    instead_of /usr/lib/libreoffice/program/libmergedlo.so \
        $(ldd $office | awk '/libc.so/ {print $3}') "$@"
}
)sh";

constexpr const char* kTooLittle =
    "vellumo-office: only 200 MiB of memory are free; 300 are needed\n";

class OfficeProgram : public ShellTest {
protected:
    Said Run(const std::string& script) const { return OnHost(kProgram + script); }
};

// On a machine that is another one in some respect.
class OfficeProgramElsewhere : public OfficeProgram {
protected:
    void SetUp() override {
        if (!IsRoot()) {
            GTEST_SKIP() << "the tests do not run as root";
        }
    }
};

TEST_F(OfficeProgram, ExplainsItself) {
    EXPECT_THAT(Run("$office --help"),
                AllOf(Field(&Said::status, 0),
                      Field(&Said::text, AllOf(StartsWith("vellumo-office keep | check | state\n"),
                                               HasSubstr("VELLUMO_OFFICE_SOCKET")))));
}

TEST_F(OfficeProgram, ExplainsWrongUsage) {
    for (const char* words : {"", "begin", "keep check", "--help keep", "''"}) {
        EXPECT_THAT(Run(std::string("$office ") + words),
                    Says(64, "vellumo-office: keep, check or state; see --help\n"))
            << words;
    }
}

TEST_F(OfficeProgram, TellsThatNoOfficeAnswers) {
    EXPECT_THAT(Run("$office state"), Says(69, "no office answers\n"));
}

TEST_F(OfficeProgram, TellsThatAnOfficeThatIsKilledDoesNotAnswer) {
    EXPECT_THAT(Run("mkdir $folder/run; python3 -c 'import socket, sys; "
                    "socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET).bind(sys.argv[1])' "
                    "$VELLUMO_OFFICE_SOCKET; $office state"),
                Says(69, "no office answers\n"));
}

TEST_F(OfficeProgram, TellsWhyThereIsNoOffice) {
    EXPECT_THAT(Run("mkdir $folder/run; echo 'no fonts' >$folder/run/office.cold; $office state"),
                Says(78, "no fonts\n"));
}

TEST_F(OfficeProgram, FindsThatItCanKeepAnOffice) {
    SKIP_WITHOUT("soffice");
    EXPECT_THAT(Run("$office check"), Says(0, ""));
}

TEST_F(OfficeProgramElsewhere, FindsTooLittleMemory) {
    EXPECT_THAT(Run("with_little_memory $office check"), Says(78, kTooLittle));
}

TEST_F(OfficeProgramElsewhere, FindsAnOfficeOfAnotherVersion) {
    SKIP_WITHOUT("soffice");
    EXPECT_THAT(Run("with_another_office $office check"),
                Says(78,
                     "vellumo-office: the installed office has no "
                     "_ZN10comphelper26getProcessComponentContextEv; this program was made for "
                     "another version\n"));
}

TEST_F(OfficeProgramElsewhere, SaysOnceWhyItKeepsNoOffice) {
    const Said said = Run(R"sh(
        for i in 1 2 3; do with_little_memory $office keep; echo $?; done
        cat $VELLUMO_OFFICE_SOCKET.cold; ls $folder/run)sh");
    EXPECT_THAT(said, Says(0, kTooLittle + std::string("78\n78\n78\nonly 200 MiB of memory are "
                                                       "free; 300 are needed\noffice.cold\n")));
}

TEST_F(OfficeProgramElsewhere, SaysAnotherReasonWhyItKeepsNoOffice) {
    const Said said = Run(R"sh(
        mkdir $folder/run; echo 'no fonts' >$folder/run/office.cold
        with_little_memory $office keep; $office state)sh");
    EXPECT_THAT(said, Says(78, kTooLittle + std::string("only 200 MiB of memory are free; "
                                                        "300 are needed\n")));
}

}  // namespace
}  // namespace vellumo::test
