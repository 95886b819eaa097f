// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/ServedProduct.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "Accounts.h"
#include "Device.h"
#include "Process.h"
#include "loader/Problem.h"
#include "loader/conversion/Assignment.h"
#include "vellumo/CacheManager.h"
#include "vellumo/Converter.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;
namespace core = NAVO::VELLUMO;
namespace fs = std::filesystem;

constexpr const char* kPdf = "NAVODOC_THUMB.pdf";
constexpr const char* kTree = "/volume1/@navoea";
constexpr const char* kMine = "/volume1/docs/mine.docx";
constexpr const char* kSecret = "/volume1/docs/secret.docx";

// Two documents with their PDFs. Ann may read and write the folder and mine.docx, not secret.docx.
class Served : public DeviceTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        if (!_accounts) {
            GTEST_SKIP() << "skipped: no accounts of its own: the test may not mount them here";
        }
        chmod("/volume1/docs", 0777);
        Keep(kMine, "made of mine", 0644);
        Keep(kSecret, "made of the secret", 0600);
    }

    static void Keep(const std::string& document, const std::string& content, mode_t mode) {
        WriteFile(document, "a document");
        chmod(document.c_str(), mode);
        WriteFile("/volume1/docs/product", content);
        core::CacheManager cache(false, 0);
        ASSERT_TRUE(cache.Set("/volume1/docs/product", document, kPdf, true));
    }
    static void Exchange() { renameat2(AT_FDCWD, kMine, AT_FDCWD, kSecret, RENAME_EXCHANGE); }

    // What ann gets; "(none)" or the name of the reason why she does not.
    static std::string ForAnn(core::CacheManager& cache, const std::string& sharePath) {
        try {
            const auto served = OpenServed(Resolve(sharePath, "ann"), kPdf, cache);
            std::array<char, 100> text{};
            return !served || read(served->file.Get(), text.data(), text.size() - 1) < 0
                       ? "(none)"
                       : text.data();
        } catch (const Failure& failure) {
            return NameOf(failure.Details().reason);
        }
    }
    static std::string ForAnn(const std::string& sharePath) {
        core::CacheManager cache(false, 0);
        return ForAnn(cache, sharePath);
    }

private:
    const Accounts _accounts{SomeAccounts(), SomeGroups()};
};

TEST_F(Served, IsWhatIsKeptOfTheDocument) {
    EXPECT_EQ(ForAnn("/docs/mine.docx"), "made of mine");
    EXPECT_EQ(ForAnn("/docs/none.docx"), "missing");
}

TEST_F(Served, IsNothingToWhoMayNotReadTheDocument) {
    EXPECT_EQ(ForAnn("/docs/secret.docx"), "denied");
    WriteFile("/etc/samba/smb.conf", "[docs]\npath = /volume1/docs\ninvalid users = ann\n");
    EXPECT_EQ(ForAnn("/docs/mine.docx"), "user-invalid");
}

TEST_F(Served, IsNothingOfAnOlderVersion) {
    WriteFile(kMine, "changed");
    const std::array<timespec, 2> times{timespec{1000, 0}, timespec{1000, 0}};
    utimensat(AT_FDCWD, kMine, times.data(), 0);
    EXPECT_EQ(ForAnn("/docs/mine.docx"), "(none)");
}

TEST_F(Served, IsNotTheSecretWhenItsNameGoesToAnotherFileOfTheSameTime) {
    struct stat secret {};
    ASSERT_EQ(stat(kSecret, &secret), 0);
    const std::array<timespec, 2> times{secret.st_atim, secret.st_mtim};
    utimensat(AT_FDCWD, kMine, times.data(), 0);
    Exchange();
    EXPECT_EQ(ForAnn("/docs/secret.docx"), "(none)");
    EXPECT_EQ(ForAnn("/docs/mine.docx"), "denied");
}

TEST_F(Served, IsNeverTheSecretWhileSomebodyExchangesTheFiles) {
    // The secret has the name for which its product is kept, and ann puts her file there at times.
    Exchange();
    Keep(kMine, "made of the secret", 0600);
    const Attacker attacker(Exchange);
    ASSERT_TRUE(attacker);
    core::CacheManager cache(false, 0);
    std::array<int, 2> seen{};
    for (int i = 0; i < 10000; ++i) {
        const std::string got = ForAnn(cache, "/docs/mine.docx");
        ASSERT_NE(got, "made of the secret") << "in round " << i;
        ++seen[got == "denied" ? 0 : 1];
    }
    EXPECT_GT(seen[0], 0) << "the secret never had the name";
    EXPECT_GT(seen[1], 0) << "ann's file never had the name";
}

// On a volume whose root users may write to, ann exchanges the tree of the products for one of her
// own, in which the directory of her document is a link to that of the secret.
TEST_F(Served, AttackATreeThatIsExchangedForAForgeryIsNeverServed) {
    const std::string mine = EADirectoryOf(kMine);
    const std::string secret = EADirectoryOf(kSecret);
    const std::string link = "/volume1/forged" + mine.substr(std::strlen(kTree));
    MakeDirectory(fs::path(link).parent_path());
    fs::create_directory_symlink("/volume1/forged" + secret.substr(std::strlen(kTree)), link);
    ASSERT_EQ(RunProgram({"chown", "-Rh", "65534", "/volume1/forged"}).status, 0);
    chmod("/volume1", 0777);
    const Attacker ann(
        [] { renameat2(AT_FDCWD, kTree, AT_FDCWD, "/volume1/forged", RENAME_EXCHANGE); });
    ASSERT_TRUE(ann);
    core::CacheManager cache(false, 0);
    for (int i = 0; i < 10000; ++i) {
        ASSERT_NE(ForAnn(cache, "/docs/mine.docx"), "made of the secret") << "in round " << i;
    }
}

TEST_F(Served, IsNotMadeOfTheSecretByAConversionForTheCheckedFile) {
    Document document = Resolve("/docs/mine.docx", "ann");
    document.checkedDirectory = document.eaDirectory;
    Exchange();
    core::path::Path source;
    source.SetData("realPath", document.realPath, true);
    source.SetData("EADirectory", document.checkedDirectory, true);
    EXPECT_EQ(core::converter::ToPDFCache(source), 1003);
    EXPECT_TRUE(DockerCalls().empty());
}

}  // namespace
}  // namespace vellumo::loader
