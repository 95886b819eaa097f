// SPDX-License-Identifier: Apache-2.0
// vellumo-tool alone, as a container has it, with scripts for tools: what it does where no warm
// office answers. In a container it is another build; this one is what the sanitizers look at.
#include <unistd.h>

#include "Shell.h"
#include "jail/users.h"

namespace vellumo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;

class VellumoTool : public ShellTest {
protected:
    // `tool NAME` puts one in place, whose script is on standard input; `by NAME` has it run.
    Said Do(const std::string& script) const { return OnHost(kCommon + script); }

private:
    static constexpr const char* kCommon = R"sh(
        cd $folder; mkdir -p opt/bin opt/tools source target rooms
        cp -n )sh" VELLUMO_FRONT R"sh( opt/tools/vellumo-tool
        S=$folder/source T=$folder/target
        export VELLUMO_SOURCE=$S VELLUMO_TARGET=$T VELLUMO_ROOMS=$folder/rooms
        export VELLUMO_OFFICE_SOCKET=$folder/none
        # The words that it makes for a tool live as long as itself.
        export ASAN_OPTIONS=$ASAN_OPTIONS:detect_leaks=0
        tool() {
            { echo '#!/bin/bash'; cat; } >opt/bin/$1; chmod 755 opt/bin/$1
            ln -s vellumo-tool opt/tools/$1
        }
        by() { opt/tools/"$@"; }
        document() { printf '%%PDF-%s' "$2" >$S/$1; chmod 600 $S/$1; }
        )sh";
};

TEST_F(VellumoTool, GivesAToolACopyOfItsDocumentAndPublishesWhatItMakes) {
    const Said said = Do(R"sh(
        document a.pdf hello; document other.pdf secret
        tool pdftk <<<'in=${1#A=} out=${5%/*}; cat "$in" >"$5"; ls "${in%/*}"; id -u
            touch "$out/.hidden" "$out/lu1.tmp"'
        by pdftk A=$S/a.pdf cat A1-1 output $T/x.pdf; echo $?
        ls -A $T; cat $T/x.pdf; stat -c ' %a %u' $T/x.pdf; ls -A rooms)sh");
    const uid_t first = users_block(USERS_FIRST_CONTAINER);
    const std::string user = std::to_string(IsRoot() ? first + USERS_OF_OFFICE : geteuid()) + "\n";
    EXPECT_THAT(said, Says(0, "a.pdf\n" + user + "0\nx.pdf\n%PDF-hello 644 " +
                                  std::to_string(geteuid()) + "\n"));
}

TEST_F(VellumoTool, EndsAsItsToolDoes) {
    const Said said = Do(R"sh(
        document a.pdf x
        tool convert <<<'echo said >&2; exit 7'; tool pdftk <<<'kill -KILL $$'
        by convert $S/a.pdf $T/x.png; echo $?
        by pdftk A=$S/a.pdf cat A1-1 output $T/x.pdf; echo $?; ls -A $T rooms)sh");
    EXPECT_THAT(said.text,
                testing::StartsWith("said\n7\nvellumo-tool: signal 9 ended the tool\n137\n"));
    EXPECT_THAT(said.text, EndsWith(Folder() + "/target:\n\nrooms:\n"));
}

TEST_F(VellumoTool, EndsItsToolWhenItIsEnded) {
    const Said said = Do(R"sh(
        document a.pdf x; long="sleep 600.$$"
        tool pdftk <<<"$long & "'touch "${5%/*}/.begun"; wait'
        opt/tools/pdftk A=$S/a.pdf cat A1-1 output $T/x.pdf &
        await eval 'ls rooms/*/out/.begun 2>/dev/null'
        kill -TERM $!; wait $!; echo $?
        await eval '! pgrep -f "^$long"'; ls -A $T rooms)sh");
    EXPECT_THAT(said.text, testing::StartsWith("143\n"));
    EXPECT_THAT(said.text, EndsWith(Folder() + "/target:\n\nrooms:\n"));
}

TEST_F(VellumoTool, RefusesWhatIsNoDocument) {
    const Said said = Do(R"sh(
        tool soffice <<<'echo called'
        : >$S/empty.docx; echo text >$S/text.pdf; ln -s /etc/passwd $S/link.docx
        mkfifo $S/pipe.docx; mkdir $S/room.docx
        for name in empty.docx text.pdf link.docx pipe.docx room.docx none.docx; do
            by soffice --headless --convert-to pdf --outdir $T $S/$name 2>&1; echo $?
        done | grep -c '^1$'
        document a.pdf x; document b.pdf x; by soffice $S/a.pdf $S/b.pdf; echo $?)sh");
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.text, testing::StartsWith("6\n"));
    EXPECT_THAT(said.text, HasSubstr("a second document"));
    EXPECT_THAT(said.text, testing::Not(HasSubstr("called")));
}

TEST_F(VellumoTool, TellsWhenThereIsNoSuchTool) {
    const Said said =
        Do("ln -s vellumo-tool opt/tools/no-tool; document a.pdf x; "
           "by no-tool $S/a.pdf; echo $?; ls -A rooms");
    EXPECT_THAT(said, Says(0, "/usr/bin/no-tool: No such file or directory\n127\n"));
}

TEST_F(VellumoTool, LeavesToItsCallerWhatNoWarmOfficeDoes) {
    const Said said = Do(R"sh(
        tool unoconv <<<'echo called'; document a.odt x
        VELLUMO_COLD_STATUS=90 by unoconv -o $T/x.pdf --format=pdf $S/a.odt; echo $?; ls -A rooms)sh");
    EXPECT_THAT(said, Says(0, "90\n"));
}

}  // namespace
}  // namespace vellumo::test
