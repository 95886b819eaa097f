// SPDX-License-Identifier: Apache-2.0
// What a command run by the engine can do and cannot, with ordinary programs in the tools' place.
#include "Shell.h"
#include "jail/users.h"

namespace vellumo::test {
namespace {

using testing::AllOf;
using testing::Field;
using testing::HasSubstr;

class Engine : public ShellTest {
protected:
    // Whatever a test did, nothing stays in the scratch tree but its two directories.
    ~Engine() override {
        if (IsSkipped()) {
            return;
        }
        EXPECT_THAT(OnHost("ls -A $folder/root/volume1/docker/@tmp/Vellumo/@tmp"),
                    Says(0, "source\ntarget\n"));
    }
};

TEST_F(Engine, EndsWithTheCommandsStatusAndPassesItsOutput) {
    EXPECT_THAT(InView("tool sh -c 'echo out; echo err >&2; exit 7'"), Says(7, "out\nerr\n"));
}

TEST_F(Engine, ShutsOtherAccountsOutOfTheScratchTree) {
    if (!IsRoot()) {
        GTEST_SKIP() << "needs root, to become another account";
    }
    const Said said = InView(R"sh(
        umask 0; echo secret >$S/a.docx; chmod 755 "${S%/*/*}" "${S%/*}"
        $nobody cat $S/a.docx
        tool cat $source/a.docx >/dev/null
        stat -c %a "${S%/*/*}" "${S%/*}" $S
        for path in "${S%/*/*}" "${S%/*}" $S $T; do
            $nobody ls $path 2>/dev/null || $nobody flock -n -x $path true 2>/dev/null || echo closed
        done
        rm $S/a.docx)sh");
    EXPECT_THAT(said, Says(0, "secret\n700\n700\n755\nclosed\nclosed\nclosed\nclosed\n"));
}

TEST_F(Engine, EndsWith127ForAnUnknownCommand) {
    EXPECT_EQ(InView("tool no-such-tool").status, 127);
    EXPECT_EQ(InView("docker exec navo1 no-such-tool").status, 127);
}

TEST_F(Engine, EndsWith124ForACommandOverItsLimitAndKeepsNothingOfIt) {
    EXPECT_THAT(InView("docker exec navo1 timeout --kill-after=1 0.3 "
                       "  sh -c \"echo part >$target/x; sleep 60\"; echo $?; ls $T"),
                Says(0, "124\n"));
}

TEST_F(Engine, KeepsNothingOfACommandThatASignalEnded) {
    EXPECT_THAT(InView("tool sh -c \"echo part >$target/x; kill -SEGV \\$\\$\"; echo $?; ls $T"),
                AllOf(Field(&Said::status, 0), Field(&Said::text, testing::EndsWith("139\n"))));
}

TEST_F(Engine, MovesAProductToTheTargetWhenTheCommandHasEnded) {
    const Said said = InView(R"sh(
        : >$T/x; chmod 600 $T/x
        tool sh -c "exec 2>/dev/null; touch /tmp/x; echo product >$target/x; chmod 4777 $target/x
                    sleep 9876; :" &
        await pgrep -x sleep; echo "meanwhile $(wc -c <$T/x)"; pkill -x sleep; wait $!
        cat $T/x; stat -c '%a %u' $T/x)sh");
    EXPECT_THAT(said, Says(0, "meanwhile 0\nproduct\n644 0\n"));
}

TEST_F(Engine, KeepsTheProductOfACommandThatFailed) {
    EXPECT_THAT(InView("tool sh -c \"echo x >$target/x; exit 3\"; ls $T"), Says(0, "x\n"));
}

TEST_F(Engine, LeavesBehindWhatIsNoProduct) {
    const Said said = InView(R"sh(
        tool sh -c "cd $target; ln -s /etc/passwd link; mkfifo pipe; touch .hidden lu123.tmp good
                    touch '.~lock.x.pdf#'; mkdir room; touch room/file; chmod 0 room"
        ls -A $T)sh");
    EXPECT_THAT(said, Says(0, "good\n"));
}

TEST_F(Engine, LetsNothingRunOnAfterTheCommand) {
    const Said said = InView(R"sh(
        begin='sleep 9876 >/dev/null 2>&1 & until grep -s sleep /proc/$!/comm; do :; done'
        timeout -k 5 30 docker exec navo1 bash -c "$begin"; echo $?
        pgrep -x sleep || echo ended)sh");
    EXPECT_THAT(said, Says(0, "sleep\n0\nended\n"));
}

TEST_F(Engine, TakesProductsOnlyOnceNothingWritesAnyMore) {
    const Said said = InView(R"sh(
        look() { ls -A $T ${T%/*} | cksum; }
        for i in {1..5}; do
            tool bash -c '(while :; do echo x >$0/$RANDOM; done) & sleep 0.05' $target
            before=$(look); sleep 0.05; [ "$before" = "$(look)" ] || echo still writing
        done
        [ -n "$(ls $T)" ] && ls -A ${T%/*})sh");
    EXPECT_THAT(said, Says(0, "source\ntarget\n"));
}

TEST_F(Engine, ShowsTheCommandItsDocumentAndNoOther) {
    EXPECT_THAT(InView("echo mine >$S/a.txt; echo other >$S/b.txt; "
                       "tool cat $source/a.txt; tool sh -c 'ls $(dirname $0)' $source/a.txt; "
                       "tool sh -c 'ls $(dirname ${0#A=})' A=$source/b.txt"),
                Says(0, "mine\na.txt\nb.txt\n"));
}

TEST_F(Engine, ShowsNoDocumentToACommandThatNamesNone) {
    EXPECT_THAT(InView("echo other >$S/b.txt; tool ls -A $source/ $source"),
                Says(0, "/Vellumo/@tmp/source:\n\n/Vellumo/@tmp/source/:\n"));
}

TEST_F(Engine, ShowsACopySoThatAUsersFileCannotBeChanged) {
    const Said said = InView(R"sh(
        echo original >/volume1/docs/a.txt; ln /volume1/docs/a.txt $S/a.txt
        deed='stat -c %i $0; chmod u+w $0; echo changed >$0; rm -f $0; mv $0 $0.x'
        seen=$(tool sh -c "$deed" $source/a.txt 2>/dev/null)
        [ -n "$seen" ] && [ $seen != $(stat -c %i $S/a.txt) ] && echo another file
        cat /volume1/docs/a.txt; stat -c %a /volume1/docs/a.txt)sh");
    EXPECT_THAT(said, Says(0, "another file\noriginal\n644\n"));
}

TEST_F(Engine, CopiesALargeDocumentWhole) {
    const Said said = InView(R"sh(
        head -c 30000000 /dev/urandom >$S/a.bin
        [ "$(tool sha256sum $source/a.bin | cut -c1-64)" = "$(sha256sum <$S/a.bin | cut -c1-64)" ]
        )sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(Engine, ShowsRootADocumentThatOthersMayNotRead) {
    if (!IsRoot()) {
        GTEST_SKIP() << "the tests do not run as root";
    }
    EXPECT_THAT(InView("echo private >$S/a.txt; chmod 600 $S/a.txt; chown 1234:1234 $S/a.txt; "
                       "tool cat $source/a.txt"),
                Says(0, "private\n"));
}

TEST_F(Engine, WorksForACallerWhoseMaskLeavesOthersNothing) {
    EXPECT_THAT(InView("umask 077; echo private >$S/a.txt; tool cat $source/a.txt; "
                       "docker exec navo1 sh -c \"echo x >$target/x.pdf\"; stat -c %a $T/x.pdf"),
                Says(0, "private\n644\n"));
}

TEST_F(Engine, WorksForARootWhoseEffectiveIdsAreAnother) {
    if (!IsRoot()) {
        GTEST_SKIP() << "the tests do not run as root";
    }
    EXPECT_THAT(InView("setpriv --euid=1234 --egid=1234 --clear-groups docker exec navo1 "
                       "  sh -c \"echo x >$target/x\"; stat -c '%u %g' $T/x"),
                Says(0, "0 0\n"));
}

TEST_F(Engine, HasNoNetwork) {
    EXPECT_THAT(InView("tool cat /proc/net/dev | grep -o '^ *[a-z0-9]*:'"), Says(0, "    lo:\n"));
}

TEST_F(Engine, HidesTheServersFiles) {
    const Said said = InView(
        "tool ls -d /volume1 /volume2 /device /home /root /var/packages /var/log "
        "  /usr/navo /usr/local/bin /etc/shadow /etc/samba /sys /run /dev/log "
        "  $T 2>/dev/null");
    EXPECT_THAT(said, Says(2, ""));
}

TEST_F(Engine, HidesOtherProcesses) {
    EXPECT_THAT(InView("tool sh -c 'cat /proc/[0-9]*/comm; true'"),
                Says(0, "bwrap\ntimeout\nsh\n"));
}

TEST_F(Engine, GivesTheCommandNoPowers) {
    EXPECT_THAT(InView("tool grep -E 'Cap(Inh|Prm|Eff|Amb)|NoNewPrivs' /proc/self/status"),
                Says(0,
                     "CapInh:\t0000000000000000\nCapPrm:\t0000000000000000\n"
                     "CapEff:\t0000000000000000\nCapAmb:\t0000000000000000\nNoNewPrivs:\t1\n"));
}

TEST_F(Engine, RunsEachCommandAsAUserOfItsOwn) {
    if (!IsRoot()) {
        GTEST_SKIP() << "an ordinary user's view has root alone";
    }
    // The first waits for the second.
    const Said said = InView(R"sh(
        docker exec navo1 sh -c 'id -u; id -g; sleep 60' >$folder/one & one=$!
        await grep -qs . $folder/one
        tool id -u; kill $one; wait $one; sort -u $folder/one)sh");
    const uid_t first = users_block(0) + USERS_OF_OFFICE;
    EXPECT_THAT(said, Says(0, std::to_string(first + USERS_IN_BLOCK) + "\n" +
                                  std::to_string(first) + "\n"));
}

TEST_F(Engine, LetsTheCommandWriteToNothingButItsTargetAndMemory) {
    if (IsRoot()) {
        EXPECT_THAT(InView("for place in / /etc /usr /usr/bin /opt /dev $S; do "
                           "  [ -w $place ] || echo $place; done"),
                    Says(0, ""))
            << "outside root may not write there either";
    }
    const Said said = InView(R"sh(
        for place in / /etc /usr /usr/bin /opt /opt/vellumo/bin /dev $source; do
            tool test -d $place || echo no $place
            tool sh -c "echo >$place/x" 2>/dev/null && echo $place
        done
        tool sh -c "echo >$target/x && echo >/tmp/x && echo >~/x" && echo target and memory)sh");
    EXPECT_THAT(said, Says(0, "target and memory\n"));
}

TEST_F(Engine, LetsTheCommandChangeNoSettingOfTheKernel) {
    if (!IsRoot()) {
        GTEST_SKIP() << "the tests do not run as root, who may change them";
    }
    // What is there is written back, so that nothing changes.
    const Said said = InView(R"sh(
        change() { "$@" sh -c 'echo $(cat $0) >$0' /proc/sys/vm/swappiness 2>/dev/null; }
        change env || { echo root may not; exit; }
        change tool && echo changed; tool cat /proc/sys/vm/swappiness | wc -l)sh");
    if (said.text == "root may not\n") {
        GTEST_SKIP() << "root may not change settings of the kernel here";
    }
    EXPECT_THAT(said, Says(0, "1\n"));
}

TEST_F(Engine, PassesNoneOfTheCallersEnvironment) {
    EXPECT_THAT(InView("SECRET=1 tool env | grep -c -e SECRET -e VELLUMO_DEVICE; tool sh -c 'echo "
                       "$HOME $LANG'"),
                Says(0, "0\n/tmp/home C.UTF-8\n"));
}

TEST_F(Engine, PassesNoneOfTheCallersDescriptorsAndInput) {
    EXPECT_THAT(InView("exec 7</volume1/docs; tool ls -l /proc/self/fd | grep -c volume1; echo "
                       "input | tool cat"),
                Says(0, "0\n"));
}

TEST_F(Engine, RefusesADocumentThatIsNone) {
    const std::pair<const char*, const char*> cases[] = {
        {": >$S/a.docx", "is empty"},
        {"true", "cannot be read: No such file"},
        {"mkdir $S/a.docx", "is no regular file"},
        {"mkfifo $S/a.docx", "is no regular file"},
        {"echo secret >/volume1/docs/x; ln -s /volume1/docs/x $S/a.docx", "cannot be read"},
    };
    for (const auto& [make, message] : cases) {
        const Said said =
            InView(std::string("rm -rf $S/* $T/*; ") + make +
                   "; tool sh -c 'echo >$1' $source/a.docx $target/x; echo $?; ls $T");
        EXPECT_THAT(said.text, AllOf(HasSubstr(message), testing::EndsWith("\n1\n"))) << make;
    }
}

TEST_F(Engine, RefusesAPdfThatIsNone) {
    EXPECT_THAT(
        InView("echo '%!PS showpage' >$S/a.PDF; tool sh -c 'echo >$1' $source/a.PDF $target/x; "
               "echo $?; ls $T"),
        Says(0,
             "vellumo-engine: /volume1/docker/@tmp/Vellumo/@tmp/source/a.PDF is no PDF in "
             "spite of "
             "its name; give it the name of what it is\n1\n"));
    EXPECT_THAT(InView("(head -c 1019 /dev/zero; echo %PDF-1.4) >$S/late.pdf; "
                       "(head -c 1020 /dev/zero; echo %PDF-1.4) >$S/too-late.pdf; "
                       "tool true $source/late.pdf; echo $?; tool true $source/too-late.pdf "
                       "2>/dev/null; echo $?"),
                Says(0, "0\n1\n"));
}

TEST_F(Engine, ExplainsWrongUsage) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "only exec NAME COMMAND, start"},
        {"run navo1 true", "only exec NAME COMMAND"},
        {"exec", "needs a container's name and a command"},
        {"exec navo1", "needs a container's name and a command"},
        {"exec -i navo1 true", "\"-i\" is no container name"},
        {"exec 'a b' true", "\"a b\" is no container name"},
        {"exec '' true", "\"\" is no container name"},
        {"exec navo1 cat $source/a $source/b", "more than one document"},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_THAT(InView(std::string("docker ") + arguments),
                    AllOf(Field(&Said::status, 125), Field(&Said::text, HasSubstr(message))))
            << arguments;
    }
}

TEST_F(Engine, TellsWhatIsMissingOnTheServer) {
    EXPECT_THAT(
        InView("echo '[docs]' >/etc/samba/smb.conf; rm -rf /volume1/docker/other; docker exec "
               "navo1 true"),
        AllOf(Field(&Said::status, 125), Field(&Said::text, HasSubstr("add a section [docker]"))));
}

TEST_F(Engine, TeachesItsUse) {
    EXPECT_THAT(InView("docker --help"),
                AllOf(Field(&Said::status, 0), Field(&Said::text, HasSubstr("exec NAME COMMAND"))));
    EXPECT_THAT(InView("docker --version"),
                AllOf(Field(&Said::status, 0), Field(&Said::text, HasSubstr("vellumo-engine "))));
}

TEST_F(Engine, PutsThingsInOrderWhenItIsAskedToEnd) {
    const std::pair<const char*, int> signals[] = {{"TERM", 143}, {"INT", 130}, {"HUP", 129}};
    for (const auto& [signal, status] : signals) {
        const Said said = InView("signal=" + std::string(signal) + R"sh(
            docker exec navo1 sh -c "echo part >$target/x; sleep 9876" & engine=$!
            await pgrep -x sleep
            kill -$signal $engine; wait $engine; echo $?
            pgrep -lx 'sleep|sh'; ls $T; ls -A ${T%/*})sh");
        EXPECT_THAT(said, Says(0, std::to_string(status) + "\nsource\ntarget\n")) << signal;
    }
}

TEST_F(Engine, LeavesNoProcessWhenItIsKilledAndIsSweptUpAfterByTheNext) {
    const Said said = InView(R"sh(
        docker exec navo1 sh -c "mkdir $target/room; chmod 0 $target/room; sleep 9876" & engine=$!
        await pgrep -x sleep
        kill -KILL $engine; wait $engine 2>/dev/null
        gone() { ! pgrep -x 'sleep|sh|docker'; }; await gone
        ls -A ${T%/*} | grep -c engine
        tool true; ls -A ${T%/*})sh");
    EXPECT_THAT(said, Says(0, "1\nsource\ntarget\n"));
}

TEST_F(Engine, LeavesAloneWhatAnotherEngineIsWorkingIn) {
    const Said said = InView(R"sh(
        for i in 1 2 3; do
            docker exec navo$i sh -c "exec 2>/dev/null; sleep 9876; echo $i >$target/$i" &
        done
        three() { [ "$(pgrep -xc sleep)" = 3 ]; }
        await three; for i in {1..5}; do tool true; done; three && pkill -x sleep; wait; cat $T/*
        )sh");
    EXPECT_THAT(said, Says(0, "1\n2\n3\n"));
}

}  // namespace
}  // namespace vellumo::test
