// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <filesystem>

#include "Corpus.h"
#include "Process.h"
#include "RealTools.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::AnyOf;
using testing::HasSubstr;
using testing::Not;

// Documents that no tool can convert, as the command line meets them.
namespace {

constexpr int kBadInput = 3;
constexpr int kTimeLimit = 5;
constexpr int kToolFailed = 6;
constexpr const char* kFailures = "/var/packages/Vellumo/etc/failures.db";

class CorpusBrokenDocuments : public RealToolsTest {
protected:
    CorpusBrokenDocuments() {
        std::filesystem::remove(kFailures);
        std::filesystem::remove("/device/product");
    }

    static std::string Answer(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), VELLUMO_TOOL);
        return RunProgram(arguments).output;
    }
    static int Status(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), VELLUMO_TOOL);
        return RunProgram(arguments).status;
    }
    // Conversions that were started.
    static size_t Conversions() {
        const auto calls = DockerCalls();
        return static_cast<size_t>(std::count_if(calls.begin(), calls.end(), [](const auto& call) {
            return call.size() > 1 && call[1] == "exec";
        }));
    }

    // Documents that fail at once; one that hangs takes the whole time limit of its tool.
    static std::vector<CorpusFile> Broken() {
        std::vector<CorpusFile> files = CorpusFiles();
        std::erase_if(files,
                      [](const CorpusFile& file) { return file.converts || file.type == "odc"; });
        return files;
    }

    static void ExpectExplained(const CorpusFile& file) {
        SCOPED_TRACE(file.file);
        const std::string name = std::filesystem::path(file.file).filename();
        const std::string document = PutIntoShare(CorpusFolder() + "/" + file.file, name);
        const bool isEmpty = std::filesystem::file_size(document) == 0;
        isEmpty ? ExpectRefused("/docs/" + name) : ExpectRemembered("/docs/" + name);
    }
    static void ExpectRefused(const std::string& sharePath) {
        EXPECT_EQ(Status({"pdf", "-q", "-o", "/device/product", sharePath}), kBadInput);
        EXPECT_THAT(Answer({"why", sharePath}),
                    AllOf(HasSubstr("is empty"), HasSubstr("what to do:")));
        EXPECT_THAT(Answer({"failures"}), Not(HasSubstr(sharePath)));
    }
    static void ExpectRemembered(const std::string& sharePath) {
        EXPECT_THAT(Status({"pdf", "-q", "-o", "/device/product", sharePath}),
                    AnyOf(kToolFailed, kTimeLimit));
        const size_t before = Conversions();
        EXPECT_EQ(Status({"pdf", "-q", "-o", "/device/product", sharePath}), kToolFailed);
        EXPECT_EQ(Status({"pdf", "-q", "-r", sharePath}), kToolFailed);
        EXPECT_EQ(Conversions(), before) << "it was tried again";
        EXPECT_THAT(Answer({"why", sharePath}),
                    AllOf(HasSubstr("failed 1 time"), HasSubstr("what to do:")));
        EXPECT_THAT(Answer({"failures"}), HasSubstr(sharePath));
    }
};

}  // namespace

TEST_F(CorpusBrokenDocuments, AreTriedOnceAndExplained) {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "skipped: VELLUMO_CORPUS does not name the folder with the corpus";
    }
    const std::vector<CorpusFile> broken = Broken();
    ASSERT_GE(broken.size(), 5U);
    for (const CorpusFile& file : broken) {
        ExpectExplained(file);
    }
}

TEST_F(CorpusBrokenDocuments, AreTriedWhenTheyAreReplacedBySoundOnes) {
    if (CorpusFolder().empty()) {
        GTEST_SKIP() << "skipped: VELLUMO_CORPUS does not name the folder with the corpus";
    }
    PutIntoShare(CorpusFolder() + "/docx/bug53475-password-is-pass.docx", "a.docx");
    EXPECT_EQ(Status({"pdf", "-q", "-o", "/device/product", "/docs/a.docx"}), kToolFailed);
    EXPECT_EQ(Status({"pdf", "-q", "-o", "/device/product", "/docs/a.docx"}), kToolFailed);
    PutIntoShare(VELLUMO_SAMPLES "/letter.docx", "a.docx");
    EXPECT_EQ(Status({"pdf", "-q", "-o", "/device/product", "/docs/a.docx"}), 0);
    EXPECT_THAT(Answer({"failures"}), HasSubstr("No failure is remembered"));
    EXPECT_THAT(Answer({"why", "/docs/a.docx"}), HasSubstr("kept and fresh"));
}
