// SPDX-License-Identifier: Apache-2.0
// What the engine and the tools have in common: a document on its way in, products on their way
// out.
#include "exchange/exchange.h"
#include "exchange/products.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Directory.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;
using support::Descriptor;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

class Exchange : public testing::Test {
protected:
    Exchange() : _place(testing::TempDir() + "vellumo-exchange.XXXXXX") {
        if (mkdtemp(_place.data()) == nullptr) {
            throw std::runtime_error("cannot make " + _place);
        }
        fs::create_directory(In("made"));
        fs::create_directory(In("target"));
    }
    ~Exchange() override { fs::remove_all(_place); }

    std::string In(const std::string& name) const { return _place + '/' + name; }

    void Write(const std::string& name, const std::string& content) const {
        std::ofstream(In(name)) << content;
    }
    std::string Read(const std::string& name) const {
        std::ostringstream content;
        content << std::ifstream(In(name)).rdbuf();
        return content.str();
    }

    // The blocks of 512 bytes that a file takes.
    blkcnt_t BlocksOf(const std::string& name) const {
        struct stat status {};
        return stat(In(name).c_str(), &status) == 0 ? status.st_blocks : -1;
    }

    // Opens the document "a", has `meanwhile` done, and copies it to "copy".
    template <typename Meanwhile>
    void Copy(Meanwhile meanwhile) const {
        exchange_document document{};
        const char* reason = nullptr;
        ASSERT_EQ(exchange_open(In("a").c_str(), &document, &reason), 0) << reason;
        const Descriptor file(document.file);
        meanwhile();
        ASSERT_EQ(exchange_copy(&document, In("copy").c_str()), 0) << errno;
    }

    // Publishes what is in "made" into `target`. Gives the product that could not be, and why.
    std::string Publish(const Descriptor& target) const {
        std::array<char, EXCHANGE_NAME> failed{};
        const Descriptor made = support::OpenDirectory(In("made"));
        const products all{.stems = {}, .count = 0, .any = true};
        const int result = exchange_publish(made.Get(), target.Get(), &all, failed.data());
        const int error = errno;
        return result == 0 ? "" : std::string(failed.data()) + ": " + std::strerror(error);
    }
    std::string Publish() const { return Publish(support::OpenDirectory(In("target"))); }

    std::vector<std::string> Target() const {
        return support::NamesIn(support::OpenDirectory(In("target")));
    }

private:
    std::string _place;
};

// The names that products of a command may have, of those in `names`.
std::vector<std::string> Permitted(std::vector<std::string> words,
                                   const std::vector<std::string>& names) {
    std::vector<char*> argv;
    for (std::string& word : words) {
        argv.push_back(word.data());
    }
    products found{};
    products_find(static_cast<int>(argv.size()), argv.data(), "/s/", "/t/", &found);
    std::vector<std::string> permitted;
    std::copy_if(names.begin(), names.end(), std::back_inserter(permitted),
                 [&](const std::string& name) { return products_has(&found, name.c_str()); });
    return permitted;
}

TEST(Products, HaveTheNameThatTheCommandGives) {
    EXPECT_THAT(Permitted({"convert", "-resize", "35%", "/s/a.pdf", "/t/x.png"},
                          {"x.png", "x-0.png", "x-12.png", "x", "x.jpg", "x-.png", "x-0", "x1.png",
                           "xy.png", "a.png", "other.pdf", "", ".x.png"}),
                testing::ElementsAre("x.png", "x-0.png", "x-12.png", "x", "x.jpg"));
}

TEST(Products, HaveTheDocumentsNameInADirectory) {
    for (const std::string directory : {"/t/", "/t"}) {
        EXPECT_THAT(Permitted({"soffice", "--outdir", directory, "/s/a.b.docx"},
                              {"a.b.pdf", "a.pdf", "b.pdf", "other.pdf"}),
                    testing::ElementsAre("a.b.pdf"));
    }
}

TEST(Products, AreFoundBehindAnEqualsSign) {
    EXPECT_THAT(Permitted({"ebook-meta", "--get-cover=/t/x.jpg", "/s/a.epub"}, {"x.jpg", "a.jpg"}),
                testing::ElementsAre("x.jpg"));
}

TEST(Products, HaveAnyNameWithoutADocument) {
    EXPECT_THAT(Permitted({"sh", "-c", "true", "/t"}, {"a", "b.pdf"}),
                testing::ElementsAre("a", "b.pdf"));
}

TEST(Products, AreNoneOfACommandThatNamesNone) {
    EXPECT_THAT(Permitted({"pdftk", "A=/s/a.pdf", "/t/../x.pdf"}, {"a.pdf", "x.pdf"}),
                testing::IsEmpty());
}

TEST_F(Exchange, CopiesNoMoreOfADocumentThanWasThereWhenItWasOpened) {
    Write("a", "document");
    Copy([this] { std::ofstream(In("a"), std::ios::app) << " and more"; });
    EXPECT_EQ(Read("copy"), "document");
}

TEST_F(Exchange, CopiesWhatIsLeftOfADocumentThatBecomesShorter) {
    Write("a", "document");
    Copy([this] { fs::resize_file(In("a"), 3); });
    EXPECT_EQ(Read("copy"), "doc");
}

TEST_F(Exchange, CopiesTheDocumentThatItOpenedWhateverTakesItsName) {
    Write("a", "document");
    Copy([this] {
        Write("b", "another");
        fs::rename(In("b"), In("a"));
    });
    EXPECT_EQ(Read("copy"), "document");
}

TEST_F(Exchange, KeepsTheHolesOfADocument) {
    constexpr int kMiddle = 8 << 20;
    constexpr int kSize = 64 << 20;
    Write("a", "begin");
    fs::resize_file(In("a"), kMiddle);
    std::ofstream(In("a"), std::ios::app) << "middle";
    fs::resize_file(In("a"), kSize);
    Copy([] {});
    EXPECT_EQ(fs::file_size(In("copy")), kSize);
    EXPECT_TRUE(Read("copy") == Read("a"));
    EXPECT_LE(BlocksOf("copy"), BlocksOf("a") + 256);
}

TEST_F(Exchange, MakesACopyThatAllMayRead) {
    Write("a", "document");
    const mode_t before = umask(S_IRWXG | S_IRWXO);
    Copy([] {});
    umask(before);
    EXPECT_EQ(fs::status(In("copy")).permissions(), fs::perms{0444});
}

TEST_F(Exchange, PublishesOnlyWhatBelongsToWhoMadeTheRest) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "the tests do not run as root";
    }
    Write("made/own", "own");
    Write("made/foreign", "foreign");
    ASSERT_EQ(chown(In("made").c_str(), 1234, 1234), 0);
    ASSERT_EQ(chown(In("made/own").c_str(), 1234, 1234), 0);
    EXPECT_THAT(Publish(), IsEmpty());
    EXPECT_THAT(Target(), ElementsAre("own"));
}

TEST_F(Exchange, PublishesToTheDirectoryThatWasOpened) {
    Write("made/x", "product");
    const Descriptor target = support::OpenDirectory(In("target"));
    fs::rename(In("target"), In("opened"));
    fs::create_directory(In("other"));
    fs::create_directory_symlink("other", In("target"));
    EXPECT_THAT(Publish(target), IsEmpty());
    EXPECT_EQ(Read("opened/x"), "product");
    EXPECT_TRUE(fs::is_empty(In("other")));
}

TEST_F(Exchange, WritesThroughNoLinkInTheTarget) {
    Write("made/x", "product");
    Write("victim", "unharmed");
    fs::create_symlink(In("victim"), In("target/x"));
    fs::create_symlink(In("victim"), In("target/.x.part"));
    EXPECT_THAT(Publish(), IsEmpty());
    EXPECT_EQ(Read("victim"), "unharmed");
    EXPECT_TRUE(fs::is_regular_file(fs::symlink_status(In("target/x"))));
    EXPECT_EQ(Read("target/x"), "product");
    EXPECT_THAT(Target(), ElementsAre("x"));
}

TEST_F(Exchange, PublishesAFileOfItsOwnThatWhoMadeItCannotReach) {
    Write("made/x", "product");
    std::ofstream held(In("made/x"), std::ios::app);
    EXPECT_THAT(Publish(), IsEmpty());
    held << " that changes" << std::flush;
    EXPECT_EQ(Read("target/x"), "product");
    EXPECT_EQ(fs::status(In("target/x")).permissions(), fs::perms{0644});
}

TEST_F(Exchange, PublishesAProductHoweverLongItsNameIs) {
    const std::string name(255, 'x');
    Write("made/" + name, "product");
    EXPECT_THAT(Publish(), IsEmpty());
    EXPECT_THAT(Target(), ElementsAre(name));
}

TEST_F(Exchange, TellsTheProductThatItCannotPublishAndLeavesNothingOfIt) {
    Write("made/x", "product");
    fs::create_directory(In("target/x"));
    EXPECT_THAT(Publish(), StrEq("x: Is a directory"));
    EXPECT_THAT(Target(), ElementsAre("x"));
}

}  // namespace
}  // namespace vellumo::test
