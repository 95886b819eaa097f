// SPDX-License-Identifier: Apache-2.0
// The line that a run over a folder shows on a terminal.
#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstring>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

namespace {

constexpr const char* kEraseLine = "\r\x1b[K";
constexpr const char* kStdout = "/device/stdout";

// A call of the program whose standard error is a terminal of `columns` columns.
class OnTerminal {
public:
    OnTerminal(const std::vector<std::string>& arguments, unsigned short columns)
        : _process([&] { return Become(arguments); }) {
        const winsize size{25, columns, 0, 0};
        EXPECT_EQ(ioctl(_screen, TIOCSWINSZ, &size), 0);
        _terminal.Send(1);
        close(_cable);
        fcntl(_screen, F_SETFL, O_NONBLOCK);
    }
    ~OnTerminal() { close(_screen); }
    OnTerminal(const OnTerminal&) = delete;
    OnTerminal& operator=(const OnTerminal&) = delete;

    // Everything that was written to the terminal.
    const std::string& Written() {
        std::string part(4096, '\0');
        ssize_t length = 0;
        while ((length = read(_screen, part.data(), part.size())) > 0) {
            _written.append(part, 0, static_cast<size_t>(length));
        }
        return _written;
    }
    // What the line shows now.
    std::string Line() {
        const std::string& all = Written();
        const size_t begin = all.rfind(kEraseLine);
        return begin == std::string::npos ? all : all.substr(begin + std::strlen(kEraseLine));
    }
    bool Shows(const std::string& text) {
        return ComesTrue([&] { return Line().find(text) != std::string::npos; });
    }
    // Reads until the program has ended.
    int Wait() {
        EXPECT_TRUE(ComesTrue([this] {
            Written();
            return ReadFile(kStdout).find("documents converted") != std::string::npos;
        }));
        const int status = _process.Wait();
        Written();
        return status;
    }

private:
    int Become(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command{VELLUMO_TOOL};
        command.insert(command.end(), arguments.begin(), arguments.end());
        _terminal.Receive();
        dup2(open(kStdout, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666), STDOUT_FILENO);
        dup2(_cable, STDERR_FILENO);
        close(_screen);
        close(_cable);
        return BecomeProgram(command);
    }
    int OpenTerminal() {
        EXPECT_EQ(openpty(&_screen, &_cable, nullptr, nullptr, nullptr), 0);
        return _screen;
    }

    int _cable = -1;
    int _screen = -1;
    int _opened = OpenTerminal();
    Channel _terminal;
    std::string _written;
    ChildProcess _process;
};

class ProgressLineTest : public ToolTest {
protected:
    ProgressLineTest() {
        for (const char* name : {"a.docx", "b.docx", "c.docx", "d.docx", "e.docx"}) {
            MakeDocument(name);
        }
        PlayTool({.isHeld = true});
    }
    ~ProgressLineTest() override {
        EXPECT_TRUE(ComesTrue([] {
            LetToolEnd();
            return ProcessesOf("vellumo").empty();
        }));
    }

    static void LetOneToolEnd() {
        LetToolEnd();
        EXPECT_TRUE(ComesTrue([] { return !Exists("/device/tool-may-end"); }));
    }
};

constexpr unsigned short kWide = 200;

}  // namespace

TEST_F(ProgressLineTest, TellsOfAllDocumentsThatAreConvertedAtOnce) {
    OnTerminal tool({"pdf", "-r", "--jobs", "2", "/docs"}, kWide);
    ASSERT_TRUE(ToolsAreCalled(2));
    ASSERT_TRUE(tool.Shows("2 at once, the first: /docs/a.docx: tool running")) << tool.Written();
    EXPECT_THAT(tool.Line(),
                MatchesRegex("\\.{20} \\[2/5\\] 0 done, 0 failed; 2 at once, the first: "
                             "/docs/a\\.docx: tool running, [0-9]+ s \\(120 s at most\\)"));
    EXPECT_THAT(tool.Written(), Not(HasSubstr("\n"))) << "it is one line for all";
}

TEST_F(ProgressLineTest, ShowsAtTheLastDocumentWhatHasBecomeOfTheOthers) {
    WriteFile("/volume1/docs/c.docx", "");  // fails at once
    OnTerminal tool({"pdf", "-r", "--jobs", "2", "/docs"}, kWide);
    for (int ended = 0; ended < 3; ++ended) {
        LetOneToolEnd();
    }
    ASSERT_TRUE(tool.Shows("[5/5] 3 done, 1 failed")) << tool.Written();
    ASSERT_TRUE(tool.Shows(": tool running"));
    EXPECT_THAT(tool.Line(), MatchesRegex("#{16}\\.{4} \\[5/5\\] 3 done, 1 failed, .* left; "
                                          "/docs/[abde]\\.docx: tool running, .*"));
}

TEST_F(ProgressLineTest, IsErasedAtTheEnd) {
    OnTerminal tool({"pdf", "-r", "--jobs", "2", "/docs"}, kWide);
    ASSERT_TRUE(tool.Shows("2 at once"));
    PlayTool({});
    LetOneToolEnd();
    LetOneToolEnd();
    EXPECT_EQ(tool.Wait(), 0);
    EXPECT_THAT(tool.Written(), EndsWith(kEraseLine)) << "the summary stands alone";
    EXPECT_THAT(ReadFile(kStdout), EndsWith("5 of 5 documents converted\n"));
}

TEST_F(ProgressLineTest, NeverWrapsOnANarrowTerminal) {
    OnTerminal tool({"pdf", "-r", "--jobs", "2", "/docs"}, 50);
    ASSERT_TRUE(tool.Shows("; 2 at")) << tool.Written();
    EXPECT_EQ(tool.Line().size(), 49U) << tool.Line();
}
