// SPDX-License-Identifier: Apache-2.0
#include "Shell.h"

namespace vellumo::test {
namespace {

using testing::AllOf;
using testing::Field;
using testing::HasSubstr;
using testing::StartsWith;

class DeviceView : public ShellTest {};

// What lies in the directories into which a view adds something.
constexpr const char* kListHost = R"sh(
list_host() {
    find / /usr /usr/local /usr/local/bin /etc /etc/samba /var /var/log /dev -maxdepth 1 \
        -printf '%p %y %i %m %u %l\n' 2>/dev/null | sort
}
)sh";

TEST_F(DeviceView, HasTheFixedLocationsOfAServer) {
    const Said said = InView(R"sh(
        ls -d /volume1/docs /volume1/docker /volume1/homes /volume2 /var/packages/Vellumo/etc \
            /var/packages/Vellumo/target/index /usr/navo/etc /var/log/navo /etc/samba/smb.conf
        cat /var/packages/Vellumo/target/conf/config
        echo "$VELLUMO_DEVICE"; readlink /usr/local/bin/docker; readlink /device/bin/docker)sh");
    EXPECT_THAT(said, Says(0,
                           "/etc/samba/smb.conf\n/usr/navo/etc\n/var/log/navo\n"
                           "/var/packages/Vellumo/etc\n/var/packages/Vellumo/target/index\n"
                           "/volume1/docker\n/volume1/docs\n/volume1/homes\n/volume2\n"
                           "{\"runningQueue\":{},\"waitingQueue\":[{},{},{}]}\n"
                           "/device\n/device/bin/docker\n" VELLUMO_ENGINE "\n"));
}

TEST_F(DeviceView, KeepsInItsFolderWhatIsWrittenToTheFixedLocations) {
    InView(R"sh(echo 1 >/volume1/docs/a; echo 2 >/volume2/a; echo 3 >/var/packages/Vellumo/etc/a
              echo 4 >/etc/samba/a; echo 5 >/usr/navo/etc/a; echo 6 >/var/log/navo/a)sh");
    EXPECT_THAT(OnHost(R"sh(cd $folder/root && cat volume1/docs/a volume2/a packages/Vellumo/etc/a \
                              samba/a navo/etc/a log/a)sh"),
                Says(0, "1\n2\n3\n4\n5\n6\n"));
}

TEST_F(DeviceView, KeepsWhatIsInItsFolderAlready) {
    InView(
        "echo '[mine]' >/etc/samba/smb.conf; echo '{}' >/var/packages/Vellumo/target/conf/config");
    EXPECT_THAT(InView("cat /etc/samba/smb.conf /var/packages/Vellumo/target/conf/config"),
                Says(0, "[mine]\n{}\n"));
}

TEST_F(DeviceView, ChangesNothingOnTheHost) {
    const Said said = OnHost(std::string(kListHost) + R"sh(
        list_host >$folder/before
        $device --root $folder/root --engine $engine --log none -- bash -c '
            touch /new /etc/new /usr/new /usr/local/bin/new /var/new /var/log/new /dev/log
            touch '$folder'/started; until [ -e '$folder'/seen ]; do sleep 0.02; done' &
        await test -e $folder/started
        list_host >$folder/during; touch $folder/seen; wait $! || exit; list_host >$folder/after
        diff $folder/before $folder/during && diff $folder/before $folder/after)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(DeviceView, ShowsTheRestOfTheHostAsItIs) {
    const Said said = OnHost(R"sh(
        look() {
            cat /etc/passwd; readlink -f /usr/bin/env
            find /usr/bin /usr/lib -maxdepth 1 -printf '%p %i\n' | sort
        }
        declare -f look >$folder/look; look >$folder/outside
        $device --root $folder/root -- bash -c '. $0/look; look >$0/inside' $folder
        cmp $folder/outside $folder/inside)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(DeviceView, FollowsLinksOutOfEtcAsTheHostDoes) {
    const Said said = OnHost(R"sh(
        count() {
            n=0; for link in /etc/*/*; do [ ! -L $link ] || [ ! -e $link ] || ((n += 1)); done
            echo $n
        }
        export -f count
        outside=$(count) inside=$($device --root $folder/root -- bash -c count)
        [ $outside -gt 0 ] && [ $inside = $outside ] ||
            echo "$outside outside, $inside in the view")sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(DeviceView, StandsBesideOthersWithoutMeetingThem) {
    const Said said = OnHost(R"sh(
        $device --root $folder/a -- bash -c '
            echo a >/volume1/docs/x; touch '$folder'/a-wrote
            await test -e '$folder'/b-wrote; cat /volume1/docs/x' &
        await test -e $folder/a-wrote
        $device --root $folder/b -- bash -c '
            [ ! -e /volume1/docs/x ] && echo b >/volume1/docs/x; touch '$folder'/b-wrote
            cat /volume1/docs/x'
        wait)sh");
    EXPECT_THAT(said.text, testing::AnyOf("a\nb\n", "b\na\n"));
}

TEST_F(DeviceView, MayStandInAnother) {
    const Said said = InView("echo outer >/volume1/docs/x; " VELLUMO_DEVICE_LAUNCHER
                             " --root $folder/inner -- bash -c "
                             "'ls /volume1/docs; head -c4 /etc/passwd'");
    EXPECT_THAT(said, Says(0, "root"));
}

TEST_F(DeviceView, KeepsWorkingDirectoryInputAndExitStatus) {
    EXPECT_THAT(OnHost("mkdir $folder/here && cd $folder/here && echo input | "
                       "$device --root ../root -- bash -c 'pwd; cat; exit 7'"),
                Says(7, Folder() + "/here\ninput\n"));
    EXPECT_THAT(OnHost("cd $folder/here && echo input | "
                       "$device --tmp -- bash -c 'pwd; cat; exit 7'"),
                Says(7, Folder() + "/here\ninput\n"));
}

TEST_F(DeviceView, ReportsACommandThatASignalEndedLikeAShell) {
    EXPECT_EQ(InView("kill -KILL $$").status, 128 + 9);
}

TEST_F(DeviceView, ReportsAnUnknownCommandLikeAShell) {
    EXPECT_EQ(OnHost("$device --root $folder/root -- $folder/no-such-command").status, 127);
}

TEST_F(DeviceView, RunsItsCommandAsRoot) {
    EXPECT_THAT(InView("id -u; id -g"), Says(0, "0\n0\n"));
}

TEST_F(DeviceView, LeavesRootItsPowers) {
    if (!IsRoot()) {
        GTEST_SKIP() << "the tests do not run as root";
    }
    EXPECT_THAT(
        InView("touch /volume1/docs/x; chown 1234:5678 /volume1/docs/x; "
               "stat -c '%u %g' /volume1/docs/x; setpriv --reuid=1234 --clear-groups id -u"),
        Says(0, "1234 5678\n1234\n"));
}

TEST_F(DeviceView, WorksForAnOrdinaryUser) {
    SKIP_WITHOUT_ORDINARY_USER();
    EXPECT_THAT(
        InViewOfOrdinaryUser("id -u; echo x >/volume1/docs/x; tool sh -c 'echo product >$0' "
                             "$target/x; cat $T/x"),
        Says(0, "0\nproduct\n"));
    EXPECT_THAT(OnHost("stat -c %u $folder/ordinary/volume1/docs/x"), Says(0, "65534\n"));
}

TEST_F(DeviceView, TakesTheEngineThatIsInstalledWithItUnlessThereIsOne) {
    const Said said = OnHost(R"sh(
        mkdir -p $folder/prefix/bin $folder/prefix/libexec/vellumo
        cp $device $folder/prefix/bin; ln -s $folder/prefix/bin/vellumo-device $folder/link
        printf '#!/bin/sh\necho installed\n' >$folder/prefix/libexec/vellumo/vellumo-engine
        chmod +x $folder/prefix/libexec/vellumo/vellumo-engine
        $folder/link --root $folder/new -- docker
        $device --root $folder/old --engine /bin/echo -- docker named
        $folder/link --root $folder/old -- docker kept)sh");
    EXPECT_THAT(said, Says(0, "installed\nnamed\nkept\n"));
}

TEST_F(DeviceView, LetsATestReplaceTheEngineAtAnyTime) {
    EXPECT_THAT(InView(R"sh(rm /device/bin/docker
                          printf '#!/bin/sh\necho scripted "$@"\n' >/device/bin/docker
                          chmod +x /device/bin/docker; /usr/local/bin/docker exec navo1 x)sh"),
                Says(0, "scripted exec navo1 x\n"));
}

TEST_F(DeviceView, HasADeviceDirectoryOfItsOwnForALogSocket) {
    EXPECT_THAT(
        InView("ls /dev/log 2>/dev/null; touch /dev/log && echo made; "
               "echo x >/dev/null; head -c1 /dev/zero | od -An -tx1; ls -ld /dev/shm | head -c10"),
        Says(0, "made\n 00\ndrwxrwxrwt"));
}

TEST_F(DeviceView, PassesTheHostsLogOnIfAsked) {
    SKIP_WITHOUT("python3");
    // The host is a view here, with a log of its own, there or where a link leads.
    const std::string makeLog = R"sh(log() {
        python3 -c 'import socket, sys
socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM).bind(sys.argv[1])' $1
        }; )sh";
    const std::string inner = "; " VELLUMO_DEVICE_LAUNCHER " --root $folder/inner ";
    const std::string direct = makeLog + "log /dev/log";
    const std::string linked = makeLog + "log $folder/log; ln -s $folder/log /dev/log";
    EXPECT_EQ(InView(direct + inner + "-- test -S /dev/log").status, 0);
    EXPECT_EQ(InView(direct + inner + "--log none -- test -S /dev/log").status, 1);
    EXPECT_EQ(InView(linked + inner + "--log host -- test -S /dev/log").status, 0);
    EXPECT_EQ(InView(linked + inner + "--log none -- test -S /dev/log").status, 1);
}

TEST_F(DeviceView, PutsAPlaceWhereALinkOnTheWayLeads) {
    const Said said = InView(R"sh(
        bwrap --dev-bind / / --tmpfs /var --dir /data/log --symlink /data/log /var/log \
            )sh" VELLUMO_DEVICE_LAUNCHER R"sh( --root $folder/inner -- \
            bash -c 'readlink /var/log; echo x >/var/log/navo/x'
        cat $folder/inner/log/x; ls -A /data/log)sh");
    EXPECT_THAT(said, Says(0, "/data/log\nx\n"));
}

TEST_F(DeviceView, RemovesATemporaryFolderHoweverTheCommandEnds) {
    const Said said = OnHost(R"sh(
        export TMPDIR=$folder
        $device --tmp -- bash -c 'mkdir -p /volume1/docs/a; chmod 0 /volume1/docs/a'
        $device --tmp -- bash -c 'kill -KILL $$'; echo $?
        $device --tmp -- bash -c "touch $folder/started; exec sleep 60" & view=$!
        await test -e $folder/started
        kill $view; wait $view; echo $?; ls -A $folder)sh");
    EXPECT_THAT(said, Says(0, "137\n143\nstarted\n"));
}

TEST_F(DeviceView, EndsWithAllThatRunsInIt) {
    for (const std::string options : {"--root $folder/root", "--tmp"}) {
        for (const std::string signal : {"TERM", "KILL"}) {
            std::string script = "export TMPDIR=$folder; options=\"";
            script.append(options).append("\" signal=").append(signal).append(R"sh(
                mark=9999.$RANDOM$RANDOM
                $device $options -- bash -c "setsid sleep $mark & sleep $mark" & view=$!
                number() { [ $(pgrep -fc "^sleep $mark") = $1 ]; }
                await number 2; kill -$signal $view; wait $view 2>/dev/null; await number 0)sh");
            const Said said = OnHost(script);
            EXPECT_EQ(said.status, 0) << options << " and SIG" << signal << ": " << said.text;
        }
    }
}

TEST_F(DeviceView, LeavesAnInterruptToItsCommand) {
    for (const std::string options : {"--root $folder/root", "--tmp"}) {
        const Said said = OnHost("options=\"" + options + "\"" + R"sh(
            rm -f $folder/ready
            setsid env --default-signal=INT $device $options -- bash -c "
                trap 'echo put in order; exit 3' INT
                touch $folder/ready; while :; do sleep 0.05; done" & view=$!
            await test -e $folder/ready
            kill -INT -- -$view; wait $view; echo $?)sh");
        EXPECT_THAT(said, Says(0, "put in order\n3\n")) << options;
    }
}

TEST_F(DeviceView, ExplainsWrongUsage) {
    const std::pair<const char*, const char*> cases[] = {
        {"", "which folder"},
        {"-- true", "which folder"},
        {"--root", "--root needs a value"},
        {"--root x --tmp -- true", "exclude each other"},
        {"--tmp", "which COMMAND"},
        {"--tmp --log some -- true", "--log is host or none"},
        {"--tmp --rot x -- true", "unknown option --rot"},
    };
    for (const auto& [arguments, message] : cases) {
        EXPECT_THAT(OnHost(std::string("$device ") + arguments),
                    AllOf(Field(&Said::status, 64), Field(&Said::text, HasSubstr(message))))
            << arguments;
    }
    EXPECT_THAT(OnHost("$device --tmp --engine /no/such -- true"),
                Says(66, "vellumo-device: --engine: /no/such is not a program\n"));
}

TEST_F(DeviceView, TeachesItsUse) {
    EXPECT_THAT(OnHost("$device --help"),
                AllOf(Field(&Said::status, 0), Field(&Said::text, HasSubstr("--root DIR"))));
}

TEST_F(DeviceView, SaysWhatToInstallWithoutBubblewrap) {
    EXPECT_THAT(
        OnHost("mkdir $folder/bin; ln -s $(type -P bash) $folder/bin; "
               "PATH=$folder/bin $device --tmp -- true"),
        Says(69, "vellumo-device: bubblewrap is missing; install the package bubblewrap\n"));
}

// `machine SCRIPT` runs a script as root of another machine, one with another root directory, which
// goes when the script ends: what is made there is not made here. On it, a path that begins with
// $refusing has a bubblewrap that is not permitted to do anything.
constexpr const char* kMachine = R"sh(
refusing=$folder/refusing; mkdir -p $refusing
cat >$refusing/bwrap <<'END'
#!/bin/sh
echo bwrap: No permissions to create new namespace >&2
exit 1
END
chmod +x $refusing/bwrap
machine() {
    local user=(); [ $EUID = 0 ] || user=(--unshare-user --uid 0 --gid 0 --cap-add ALL)
    bwrap "${user[@]}" --unshare-pid --ro-bind /usr/bin /usr/bin --ro-bind /usr/lib /usr/lib \
        --ro-bind-try /usr/lib64 /usr/lib64 --symlink usr/bin /bin --symlink usr/lib /lib \
        --symlink usr/lib64 /lib64 --proc /proc --dev /dev --bind $folder $folder \
        --ro-bind ${device%/*} /opt/device --dir /usr/local/bin --dir /etc \
        --setenv refusing $refusing --setenv PATH /opt/device:/usr/bin bash -c "$1"
}
)sh";

TEST_F(DeviceView, KeepsAHostsOwnEntriesBesideWhatItNeedsItself) {
    EXPECT_THAT(OnHost(std::string(kMachine) + R"sh(machine '
                    for i in {1..50}; do echo $i >/etc/f$i; done
                    mkdir /.host-etc; echo own >/.host-etc/x
                    vellumo-device --tmp -- cat /etc/f7 /.host-etc/x')sh"),
                Says(0, "7\nown\n"));
}

TEST_F(DeviceView, TellsAnOrdinaryUserThatViewsAreNotPermitted) {
    const std::string nobody = IsRoot() ? "$nobody " : "";
    if (OnHost(nobody + "test -x $device").status != 0) {
        GTEST_SKIP() << "an ordinary user cannot reach the source tree";
    }
    EXPECT_THAT(
        OnHost(std::string(kMachine) + "PATH=$refusing:$PATH " + nobody + "$device --tmp -- true"),
        Says(77,
             "vellumo-device: views are not permitted here (bwrap: No permissions to "
             "create new namespace).\nHave an administrator allow unprivileged user "
             "namespaces, or run this as root.\n"));
}

TEST_F(DeviceView, UsesTheRealLocationsForRootWhereViewsAreNotPermitted) {
    const Said said = OnHost(std::string(kMachine) + R"sh(machine '
        PATH=$refusing:$PATH
        vellumo-device --tmp --engine /usr/bin/true -- bash -c "
            echo \$VELLUMO_DEVICE; cat /var/packages/Vellumo/target/conf/config; exit 5"
        echo $?; grep docs /etc/samba/smb.conf; readlink -f /usr/local/bin/docker
        ls -d /volume1/docs; echo more >>/etc/samba/smb.conf
        vellumo-device --tmp -- echo again' 2>$folder/err
        cat $folder/err)sh");
    EXPECT_THAT(said.text,
                StartsWith("/device\n{\"runningQueue\":{},\"waitingQueue\":[{},{},{}]}\n5\n[docs]\n"
                           "    path = /volume1/docs\n/usr/bin/true\n/volume1/docs\nagain\n"));
    EXPECT_THAT(said.text, HasSubstr("using the real /volume1"));
}

TEST_F(DeviceView, ReplacesNothingAtTheRealLocations) {
    for (const char* file : {"/etc/samba/smb.conf", "/usr/local/bin/docker"}) {
        const Said said = OnHost(std::string(kMachine) + "file=" + file + R"sh(
            machine "mkdir -p ${file%/*}; echo theirs >$file
                     PATH=$refusing:\$PATH vellumo-device --tmp -- true
                     echo \$?; cat $file; ls -d /volume1")sh");
        EXPECT_THAT(said.text, HasSubstr(std::string(file) + " is there already")) << file;
        EXPECT_THAT(said.text, HasSubstr("\n77\ntheirs\n")) << file;
        EXPECT_THAT(said.text, HasSubstr("cannot access '/volume1'")) << "something was made";
    }
}

}  // namespace
}  // namespace vellumo::test
