// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <filesystem>

#include "Accounts.h"
#include "Device.h"
#include "Process.h"
#include "StateFile.h"
#include "loader/Problem.h"
#include "loader/cache/ServedProduct.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Converter.h"

// What another account with a shell tries in a folder to which it may write.
namespace vellumo::loader {
namespace {

using namespace vellumo::test;
namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

constexpr const char* kPdf = "NAVODOC_THUMB.pdf";
constexpr const char* kMine = "/volume1/docs/mine.docx";
constexpr const char* kSecret = "/volume1/docs/secret.docx";
const std::string kProduct(100, 'p');  // what the scripted tool makes

class ShellAttack : public DeviceTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        chmod("/volume1/docs", 0777);
        WriteFile(kMine, "a document");
        WriteFile(kSecret, "a secret");
        chmod(kSecret, 0600);
    }

    // Lets the other account run a script for the shell in the documents' folder.
    static void Attack(const std::string& script) {
        EXPECT_EQ(AsOther([&] {
                      return chdir("/volume1/docs") == 0
                                 ? BecomeProgram({"sh", "-ec", "umask 0; " + script})
                                 : 255;
                  }),
                  0)
            << script;
    }

    static int Convert(const std::string& document) {
        core::path::Path source;
        source.SetData("realPath", document, true);
        return core::converter::ToPDFCache(source);
    }

    // What somebody who may read `sharePath` is given; "" when that is nothing.
    static std::string Served(const std::string& sharePath) {
        core::CacheManager cache(false, 0);
        const auto served = OpenServed(Resolve(sharePath, "ann"), kPdf, cache);
        std::array<char, 200> text{};
        return served && read(served->file.Get(), text.data(), text.size() - 1) > 0 ? text.data()
                                                                                    : "";
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

TEST_F(ShellAttack, AnotherFileWithTheNameAndTheTimeOfTheSecretGetsNothingOfIt) {
    ASSERT_EQ(Convert(kSecret), 1000);
    Attack("mv secret.docx s; cp mine.docx secret.docx; touch -r s secret.docx");
    EXPECT_EQ(Served("/docs/secret.docx"), "");
    Attack("mv secret.docx mine.docx; mv s secret.docx");
    EXPECT_EQ(Served("/docs/mine.docx"), "");
}

// The places in which products lay before, and those whose names the products have now.
TEST_F(ShellAttack, ForgeriesBesideTheDocumentAreNeitherServedNorWrittenThrough) {
    const std::string name = fs::path(EADirectoryOf(kMine)).filename();
    for (const std::string& folder :
         {std::string(".navoea/mine.docx"), "@navoea/docs/" + name, name}) {
        for (const char* make :
             {"echo forged >", "mkfifo", "ln -s /etc/shadow", "mkdir", "ln -s /device/made"}) {
            Attack("mkdir -p " + folder + "; " + make + " " + folder + "/" + kPdf + "; " + make +
                   " " + folder + "/NAVODOC_THUMB.png");
            EXPECT_EQ(Served("/docs/mine.docx"), "") << make;
            EXPECT_EQ(Convert(kMine), 1000) << make;
            EXPECT_EQ(Served("/docs/mine.docx"), kProduct) << make;
            core::CacheManager(false, 0).CleanCache(kMine);
            EXPECT_TRUE(Exists("/volume1/docs/" + folder + "/" + kPdf)) << make;
            Attack("rm -r " + folder);
        }
    }
    EXPECT_FALSE(Exists("/device/made"));
}

TEST_F(ShellAttack, NothingOfADocumentInAClosedFolderIsReadWhileItConverts) {
    MakeDirectory("/volume1/docs/closed");
    chmod("/volume1/docs/closed", 0700);
    const std::string document = "/volume1/docs/closed/a.docx";
    WriteFile(document, "closed away");
    chmod(document.c_str(), 0644);
    PlayTool({.isHeld = true});
    ChildProcess conversion([&] { return Convert(document) == 1000 ? 0 : 1; });
    ASSERT_TRUE(ToolsAreCalled());
    const auto read = [] {
        return AsOther([] {
            return BecomeProgram({"sh", "-c", "cat /volume1/docker/@tmp/Vellumo/@tmp/source/*"});
        });
    };
    EXPECT_NE(read(), 0);
    for (const char* folder :
         {"/volume1/docker/@tmp/Vellumo", "/volume1/docker/@tmp/Vellumo/@tmp"}) {
        chmod(folder, 0755);
    }
    EXPECT_EQ(read(), 0) << "the attack does not work at all";
    LetToolEnd();
    EXPECT_EQ(conversion.Wait(), 0);
}

// A document of another volume is copied, which would wait for a writer; one of the same volume is
// linked, and the pipe would be there for the tool.
TEST_F(ShellAttack, APipeNamedLikeADocumentHoldsNothingUp) {
    chmod("/volume2/archive", 0777);
    for (const std::string pipe : {"/volume2/archive/pipe.docx", "/volume1/docs/pipe.docx"}) {
        Attack("mkfifo " + pipe);
        EXPECT_EQ(Convert(pipe), 1003) << pipe;
    }
    EXPECT_TRUE(DockerCalls().empty());
    EXPECT_EQ(State()["runningFiles"], Parsed("{}"));
    EXPECT_THAT(ScratchFiles(), testing::IsEmpty());
}

TEST_F(ShellAttack, LinksToAnothersFilesShowNothing) {
    MakeDirectory("/volume1/homes/bob");
    WriteFile("/volume1/homes/bob/a.docx", "of bob");
    Attack("ln -s /etc/shadow shadow.docx; ln -s /volume1/homes/bob bob; ln -s bob/a.docx a.docx");
    for (const char* path : {"/docs/shadow.docx", "/docs/bob/a.docx", "/docs/a.docx"}) {
        EXPECT_THROW(Served(path), Failure) << path;
    }
}

}  // namespace
}  // namespace vellumo::loader
