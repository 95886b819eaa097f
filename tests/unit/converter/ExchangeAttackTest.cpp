// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "../cache/Cache.h"
#include "PlatformDouble.h"
#include "Process.h"
#include "StateFile.h"
#include "vellumo/Converter.h"

// Another account changes the documents' folder while root converts what is in it.
namespace NAVO::VELLUMO {
namespace {

using namespace vellumo::test;
namespace fs = std::filesystem;

constexpr const char* kMine = "/volume1/docs/mine.docx";
constexpr const char* kSecret = "/volume1/docs/secret.docx";
constexpr const char* kSecretContent = "the content of the secret";

class ExchangeAttack : public CacheTest {
protected:
    void SetUp() override {
        if (!HasOtherUsers()) {
            GTEST_SKIP() << "skipped: needs real root: other users cannot be taken here";
        }
        chmod("/volume1/docs", 0777);
        WriteFile(kMine, "the content of the user");
        WriteFile(kSecret, kSecretContent);
        chmod(kSecret, 0600);
        source.SetData("realPath", kMine, true);
        source.SetData("EADirectory", EADirectoryOf(kMine), true);
    }

    // Plays `ln -f`, without the time that a process takes, and the tool: whatever is in the place
    // of the document becomes the product.
    static std::optional<int> LinkAndConvert(const PlatformCall& call) {
        if (call.operation == "NLIBCExecl") {
            unlink(call.arguments[4].c_str());
            return link(call.arguments[3].c_str(), call.arguments[4].c_str());
        }
        if (call.operation != "NLIBCExecv") {
            return std::nullopt;
        }
        for (const std::string& name : Names(kSourceDir)) {
            const std::string stem = fs::path(name).stem();
            WriteFile(kTargetDir + stem + ".pdf", ReadFile(kSourceDir + name));
        }
        return 0;
    }

    static void Exchange() { renameat2(AT_FDCWD, kMine, AT_FDCWD, kSecret, RENAME_EXCHANGE); }

    // The user's document, as it was when the user was found to be allowed to read it.
    path::Path source;
};

TEST_F(ExchangeAttack, NeverConvertsTheSecretForTheFileThatTheUserMayRead) {
    constexpr int kRounds = 1500;
    const Attacker user(Exchange);
    ASSERT_TRUE(user);
    std::array<int, 2> seen{};
    for (int round = 0; round < kRounds; ++round) {
        PlatformDouble::Get().Reset();
        PlatformDouble::Get().SetAnswer(LinkAndConvert);
        path::Path product;
        const bool isDone = converter::ToPDF(source, product, nullptr) == 1000;
        ASSERT_NE(ReadFile(product.GetRealPath("")), kSecretContent) << "in round " << round;
        unlink(product.GetRealPath("").c_str());
        ++seen[isDone ? 0 : 1];
    }
    EXPECT_GT(seen[0], 0) << "nothing was ever converted";
    EXPECT_GT(seen[1], 0) << "nothing was ever exchanged";
}

TEST_F(ExchangeAttack, NeverKeepsAProductOfTheSecretForTheFileThatTheUserMayRead) {
    constexpr int kRounds = 300;
    const std::string kept = StreamOf(kMine, "NAVODOC_THUMB.pdf");
    const Attacker user(Exchange);
    ASSERT_TRUE(user);
    std::array<int, 2> seen{};
    for (int round = 0; round < kRounds; ++round) {
        PlatformDouble::Get().Reset();
        PlatformDouble::Get().SetAnswer(LinkAndConvert);
        ++seen[converter::ToPDFCache(source) == 1000 ? 0 : 1];
        ASSERT_NE(ReadFile(kept), kSecretContent) << "in round " << round;
    }
    EXPECT_GT(seen[0], 0) << "nothing was ever converted";
    EXPECT_GT(seen[1], 0) << "nothing was ever exchanged";
}

}  // namespace
}  // namespace NAVO::VELLUMO
