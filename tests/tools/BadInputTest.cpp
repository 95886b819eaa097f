// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::HasSubstr;

namespace {

struct BadInput {
    const char* name;
    std::vector<std::string> arguments;  // after "pdf"
    ExitCode code;
    std::string why;   // a part of the message
    std::string next;  // a part of the advice
};

void PrintTo(const BadInput& input, std::ostream* out) {
    *out << input.name;
}

// Everything that can be wrong with the arguments on a server that is in order.
const BadInput kBadInputs[] = {
    {"MissingFile",
     {"/docs/none.docx"},
     ExitCode::kBadInput,
     "there is no file /volume1/docs/none.docx",
     "Check the name"},
    {"MissingFolder",
     {"/docs/none/a.docx"},
     ExitCode::kBadInput,
     "there is no file /volume1/docs/none/a.docx",
     "Check the name"},
    {"FileInsteadOfFolder",
     {"/docs/a.docx/b.docx"},
     ExitCode::kBadInput,
     "Not a directory",
     "Check the path"},
    {"NameTooLong",
     {"/docs/" + std::string(300, 'x') + ".docx"},
     ExitCode::kBadInput,
     "File name too long",
     "Check the path"},
    {"Directory",
     {"/docs/folder.docx"},
     ExitCode::kBadInput,
     "folder.docx is a directory",
     "with -r"},
    {"NamedPipe",
     {"/docs/pipe.docx"},
     ExitCode::kBadInput,
     "is not a regular file",
     "regular files"},
    {"SymbolicLink",
     {"/docs/link.docx"},
     ExitCode::kBadInput,
     "is a symbolic link",
     "readlink -f /volume1/docs/link.docx"},
    {"LinkOutOfTheShare",
     {"/docs/elsewhere/secret.docx"},
     ExitCode::kBadInput,
     "a symbolic link in it leads out of /volume1/docs",
     "wide links"},
    {"LinkToWhatIsNotThere",
     {"/docs/elsewhere/none.docx"},
     ExitCode::kBadInput,
     "a symbolic link in it leads out of /volume1/docs",
     "wide links"},
    {"EmptyFile", {"/docs/empty.docx"}, ExitCode::kBadInput, "is empty", "nothing to convert"},
    {"UnknownShare", {"/nope/a.docx"}, ExitCode::kBadInput, "there is no share 'nope'", "smb.conf"},
    {"RelativePath",
     {"docs/a.docx"},
     ExitCode::kBadInput,
     "it is not a share path",
     "begins with '/'"},
    {"EmptyPath", {""}, ExitCode::kBadInput, "it is not a share path", "begins with '/'"},
    {"SlashOnly", {"/"}, ExitCode::kBadInput, "it is not a share path", "begins with '/'"},
    {"EmptyShareName",
     {"//a.docx"},
     ExitCode::kBadInput,
     "it is not a share path",
     "begins with '/'"},
    {"PathOutOfTheShare",
     {"/docs/../archive/a.docx"},
     ExitCode::kBadInput,
     "must not contain '..'",
     "without '..'"},
    {"BareShare", {"/docs"}, ExitCode::kBadInput, "it is a share", "Name a document"},
    {"BareHomeAlias", {"/home"}, ExitCode::kBadInput, "alias of a home folder", "Name a document"},
    {"HomeFolder", {"/home/"}, ExitCode::kBadInput, "is a directory", "with -r"},
    {"UnknownUser",
     {"/home/a.docx", "--user", "nobody-of-that-name"},
     ExitCode::kBadInput,
     "no user 'nobody-of-that-name'",
     "--user NAME"},
    {"NoExtension",
     {"/docs/README"},
     ExitCode::kUnsupportedType,
     "has no extension",
     "Give the file the extension"},
    {"UnsupportedType",
     {"/docs/a.txt"},
     ExitCode::kUnsupportedType,
     "type 'txt'",
     "vellumo pdf --help"},
    {"DotAtTheEnd",
     {"/docs/a."},
     ExitCode::kUnsupportedType,
     "has no extension",
     "Give the file the extension"},
    {"OutputExists", {"/docs/taken.docx"}, ExitCode::kOutput, "it exists already", "--force"},
    {"OutputDirectoryMissing",
     {"/docs/a.docx", "-o", "no/such/"},
     ExitCode::kOutput,
     "there is no directory /device/out/no/such",
     "mkdir -p /device/out/no/such"},
    {"OutputFileInMissingDirectory",
     {"/docs/a.docx", "-o", "no/a.pdf"},
     ExitCode::kOutput,
     "there is no directory /device/out/no",
     "mkdir -p /device/out/no"},
    {"OutputIsTheDocument",
     {"/docs/a.pdf", "--force", "-o", "/volume1/docs/a.pdf"},
     ExitCode::kOutput,
     "it is the document /docs/a.pdf, which is never changed",
     "-o"},
    {"OutputIsADirectory",
     {"/docs/b.docx", "--force"},
     ExitCode::kOutput,
     "it is a directory",
     "-o FILE"},
    {"StandardOutput",
     {"/docs/a.docx", "-o", "-"},
     ExitCode::kUsage,
     "-o takes a file or a directory",
     "-o report.pdf"},
    {"SeveralDocumentsToAFile",
     {"/docs/a.docx", "/docs/a.pdf", "-o", "all.pdf"},
     ExitCode::kUsage,
     "it is not a directory",
     "mkdir -p all.pdf"},
    {"NoDocument", {}, ExitCode::kUsage, "SHARE_PATH is required", "vellumo pdf --help"},
    {"UnknownOption", {"/docs/a.docx", "--fast"}, ExitCode::kUsage, "--fast", "vellumo pdf --help"},
    {"UnknownProgressMode",
     {"/docs/a.docx", "--progress", "loud"},
     ExitCode::kUsage,
     "loud",
     "vellumo pdf --help"},
    {"PageRangeOfWords",
     {"/docs/a.docx", "--pages", "all"},
     ExitCode::kUsage,
     "'all' is not a page range",
     "vellumo pdf --help"},
    {"PageRangeEmpty",
     {"/docs/a.docx", "--pages", ""},
     ExitCode::kUsage,
     "is not a page range",
     "vellumo pdf --help"},
    {"PageRangeBackwards",
     {"/docs/a.docx", "--pages", "3-1"},
     ExitCode::kUsage,
     "'3-1' is not a page range",
     "vellumo pdf --help"},
    {"PageRangeFromZero",
     {"/docs/a.docx", "--pages", "0-1"},
     ExitCode::kUsage,
     "'0-1' is not a page range",
     "vellumo pdf --help"},
    {"PageRangeOpen",
     {"/docs/a.docx", "--pages", "2-"},
     ExitCode::kUsage,
     "'2-' is not a page range",
     "vellumo pdf --help"},
    {"PageRangeInParts",
     {"/docs/a.docx", "--pages", "1,3"},
     ExitCode::kUsage,
     "'1,3' is not a page range",
     "vellumo pdf --help"},
    {"PageRangeTooLarge",
     {"/docs/a.docx", "--pages", "99999999999999999999"},
     ExitCode::kUsage,
     "is not a page range",
     "vellumo pdf --help"},
};

// Locks are waited for longer than this.
constexpr Milliseconds kAtOnce(4000);

class BadInputTest : public ToolTest, public testing::WithParamInterface<BadInput> {
protected:
    BadInputTest() {
        for (const char* name :
             {"a.docx", "b.docx", "taken.docx", "a.pdf", "a.txt", "a.", "README"}) {
            MakeDocument(name);
        }
        MakeDocument("empty.docx", "");
        MakeDirectory("/volume1/docs/folder.docx");
        MakeDirectory("/volume1/homes/root");
        WriteFile("/volume1/homes/root/secret.docx", "secret");
        std::filesystem::create_symlink("/volume1/homes/root", "/volume1/docs/elsewhere");
        mkfifo("/volume1/docs/pipe.docx", 0666);
        std::filesystem::create_symlink("a.docx", "/volume1/docs/link.docx");
        WriteFile("/device/out/taken.pdf", "taken");
        MakeDirectory("/device/out/b.pdf");
    }

    // It is told at once, and nothing has been started.
    static void ExpectRefusedAtOnce(const Outcome& outcome) {
        EXPECT_LT(outcome.took, kAtOnce);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(DockerCalls(), testing::IsEmpty());
        EXPECT_FALSE(Exists(kSourceDir)) << "no conversion has been prepared";
    }
};

class BadServerTest : public ToolTest {
protected:
    BadServerTest() { MakeDocument("a.docx"); }

    static void ExpectRefused(const std::vector<std::string>& arguments, ExitCode code,
                              const std::string& why, const std::string& next) {
        const Outcome outcome = RunTool(arguments);
        ExpectStatus(outcome, code);
        EXPECT_LT(outcome.took, kAtOnce);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("cannot convert /docs/a.docx: "), HasSubstr(why),
                                       HasSubstr(next)));
        EXPECT_THAT(DockerCalls(), testing::IsEmpty());
        EXPECT_FALSE(Exists(kSourceDir)) << "no conversion has been prepared";
    }
};

class OrdinaryUserTest : public BadServerTest {
protected:
    static constexpr uid_t kNobody = 65534;

    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root, to become another user";
        }
    }
};

}  // namespace

TEST_P(BadInputTest, IsExplainedWithinASecondBeforeAnythingStarts) {
    std::vector<std::string> arguments{"pdf"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());

    const Outcome outcome = RunTool(arguments);

    ExpectStatus(outcome, GetParam().code);
    ExpectRefusedAtOnce(outcome);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("vellumo: "), HasSubstr(GetParam().why),
                                   HasSubstr(GetParam().next)));
    EXPECT_EQ(ReadFile("/device/out/taken.pdf"), "taken");
}

TEST_P(BadInputTest, IsOneJsonDocumentForPrograms) {
    std::vector<std::string> arguments{"pdf"};
    arguments.insert(arguments.end(), GetParam().arguments.begin(), GetParam().arguments.end());

    const Json::Value json = RunForJson(arguments);

    EXPECT_EQ(json["command"], "pdf");
    EXPECT_EQ(json["exitCode"], static_cast<int>(GetParam().code));
    EXPECT_EQ(json["error"]["kind"], vellumo::cli::EntryOf(GetParam().code).kind);
    EXPECT_THAT(json["error"]["why"].asString(), HasSubstr(GetParam().why));
    EXPECT_THAT(json["error"]["next"].asString(), HasSubstr(GetParam().next));
}

class OddFileTest : public ToolTest, public testing::WithParamInterface<const char*> {
protected:
    OddFileTest() {
        MakeDocument("a.docx");
        MakeDirectory("/volume1/homes/root");
        WriteFile("/volume1/homes/root/a.docx", "secret");
        std::filesystem::create_symlink("/volume1/homes/root", "/volume1/docs/elsewhere");
        MakeDirectory("/volume1/docs/folder.docx");
        EXPECT_EQ(mkfifo("/volume1/docs/pipe.docx", 0666), 0);
    }
};

// Each command that opens a document refuses the same paths with the same reason.
TEST_P(OddFileTest, AttackALinkOutOfTheShareIsRefused) {
    const Json::Value json = RunForJson({GetParam(), "/docs/elsewhere/a.docx"});
    EXPECT_EQ(json["exitCode"], static_cast<int>(ExitCode::kBadInput));
    EXPECT_EQ(json["error"]["why"], "a symbolic link in it leads out of /volume1/docs");
}

TEST_P(OddFileTest, AttackAPipeIsRefusedAtOnce) {
    const Outcome outcome = RunTool({GetParam(), "/docs/pipe.docx"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("/volume1/docs/pipe.docx is not a regular file"));
    EXPECT_LT(outcome.took, kAtOnce);
}

TEST_P(OddFileTest, AttackAFolderNamedLikeADocumentIsRefused) {
    const Outcome outcome = RunTool({GetParam(), "/docs/folder.docx"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("/volume1/docs/folder.docx is a directory"));
}

TEST_P(OddFileTest, AttackOddNamesStayOnOneLine) {
    const std::string longest = std::string(250, 'x') + ".docx";
    for (const std::string& name :
         {std::string("line\nbreak.docx"), std::string("quo'te\".docx"), std::string("-r.docx"),
          longest, std::string("\xff\xfe.docx")}) {
        MakeDocument(name, "");
        const Outcome outcome = RunTool({GetParam(), "/docs/" + name});
        ExpectStatus(outcome, ExitCode::kBadInput);
        EXPECT_THAT(outcome.err, HasSubstr(" is empty\n  There is nothing to convert")) << name;
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 2) << outcome.err;
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, OddFileTest, testing::Values("pdf", "thumbnail"),
                         [](const auto& command) { return std::string(command.param); });

INSTANTIATE_TEST_SUITE_P(Pdf, BadInputTest, testing::ValuesIn(kBadInputs),
                         [](const auto& input) { return input.param.name; });

TEST_F(BadServerTest, WithoutAContainerSaysHowToRegisterSome) {
    WriteState("{}");
    ExpectRefused({"pdf", "/docs/a.docx"}, ExitCode::kPool, "no container is registered",
                  "vellumo pool up");
}

TEST_F(BadServerTest, WithAnEmptyStateFileHasNoContainer) {
    WriteState("");
    ExpectRefused({"pdf", "/docs/a.docx"}, ExitCode::kPool, "no container is registered",
                  "vellumo pool up");
}

TEST_F(BadServerTest, WithOneContainerExplainsWhyPagesNeedASecond) {
    WriteState(R"({"navo1":{"using":0,"used":0}})");
    ExpectRefused({"pdf", "/docs/a.docx", "--pages", "1"}, ExitCode::kPool,
                  "the first container by name (navo1, the only one) never takes",
                  "vellumo pool up");
}

TEST_F(BadServerTest, WithATornStateFileSaysHowToRestoreIt) {
    WriteState(R"({"navo1":{"using":0,)");
    ExpectRefused({"pdf", "/docs/a.docx"}, ExitCode::kStateFile, "is not a JSON object",
                  "vellumo pool reset");
}

TEST_F(BadServerTest, WithoutADockerShareSaysWhereToAddIt) {
    WriteFile("/etc/samba/smb.conf", "[docs]\npath = /volume1/docs\n");
    ExpectRefused({"pdf", "/docs/a.docx"}, ExitCode::kNotPrepared, "there is no share 'docker'",
                  "smb.conf");
}

TEST_F(BadServerTest, WithoutAnEngineSaysWhereItBelongs) {
    std::filesystem::remove("/device/bin/docker");
    ExpectRefused({"pdf", "/docs/a.docx"}, ExitCode::kNotPrepared,
                  "there is no container engine at /usr/local/bin/docker", "Install");
}

TEST_F(BadServerTest, WithoutSharesSaysThatTheirConfigurationCannotBeRead) {
    std::filesystem::remove("/etc/samba/smb.conf");
    const Outcome outcome = RunTool({"pdf", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("cannot be read from /etc/samba/smb.conf"));
}

TEST_F(OrdinaryUserTest, MayNotReadTheDocumentAndIsToldSo) {
    chmod("/volume1/docs/a.docx", 0600);
    const Outcome outcome = RunningTool({"pdf", "/docs/a.docx"}, kNobody).Wait();
    ExpectStatus(outcome, ExitCode::kBadInput);
    EXPECT_THAT(outcome.err, HasSubstr("you may not read /volume1/docs/a.docx"));
}

TEST_F(OrdinaryUserTest, IsToldThatConversionsNeedRoot) {
    const Outcome outcome = RunningTool({"pdf", "/docs/a.docx"}, kNobody).Wait();
    ExpectStatus(outcome, ExitCode::kNotPrepared);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("needs the rights of root"), HasSubstr("sudo")));
}

TEST_F(OrdinaryUserTest, MayNotWriteTheOutputAndIsToldSo) {
    std::filesystem::permissions(kOutputDir, std::filesystem::perms(0755));
    const Outcome outcome = RunningTool({"pdf", "/docs/a.docx"}, kNobody).Wait();
    ExpectStatus(outcome, ExitCode::kOutput);
    EXPECT_THAT(outcome.err, HasSubstr("you may not write in /device/out"));
}
