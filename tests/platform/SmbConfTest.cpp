// SPDX-License-Identifier: Apache-2.0
#include "smbconf.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "TestDirectory.h"

namespace navo::test {
namespace {

using NAVO::platform::SmbConf;

class SmbConfTest : public DirectoryTest {
protected:
    std::optional<SmbConf> Load(const std::string& text) const {
        WriteFile(path, text);
        return SmbConf::Load(path);
    }

    // The value of `parameter` in [docs] of a configuration.
    std::string Value(const std::string& text, const std::string& parameter = "path") const {
        const auto configuration = Load(text);
        if (!configuration) {
            return "(no configuration)";
        }
        const SmbConf::Section* docs = configuration->Find("docs");
        return docs == nullptr ? "(no section)" : docs->Text(parameter);
    }

    // The errno with which a configuration is refused, 0 when it is not.
    int Refusal(const std::string& text) const {
        errno = 0;
        return Load(text) ? 0 : errno;
    }

    const std::string path = At("smb.conf");
};

TEST_F(SmbConfTest, ReadsSectionsAndParameters) {
    const std::string text =
        "[global]\n   workgroup = HOME\n\n[docs]\n   path = /volume1/docs\n[music]\npath=/m";
    EXPECT_EQ(Value(text), "/volume1/docs");
    EXPECT_EQ(Load(text)->Find("music")->Text("path"), "/m");
    EXPECT_EQ(Load(text)->Find("global")->Text("workgroup"), "HOME");
    EXPECT_EQ(Load(text)->Find("none"), nullptr);
}

TEST_F(SmbConfTest, KnowsNoParameterThatIsNotThere) {
    EXPECT_EQ(Value("[docs]\npath = /d"), "/d");
    EXPECT_EQ(Value("[docs]\npath = /d", "comment"), "");
}

TEST_F(SmbConfTest, TakesAnEmptyFile) {
    EXPECT_EQ(Refusal(""), 0);
    EXPECT_EQ(Refusal("\n\n  \n# nothing\n"), 0);
}

TEST_F(SmbConfTest, IgnoresCaseInNames) {
    EXPECT_EQ(Value("[DOCS]\nPATH = /Volume1/Docs"), "/Volume1/Docs");
}

TEST_F(SmbConfTest, IgnoresCaseOfOtherLetters) {
    const auto configuration = Load(
        "[\xC3\x9C"
        "bung \xD0\x96]\npath = /u\n");  // Übung Ж
    EXPECT_NE(configuration->Find("\xC3\xBC"
                                  "bung \xD0\xB6"),
              nullptr);
    EXPECT_EQ(configuration->Find("ubung \xD0\xB6"), nullptr);
}

TEST_F(SmbConfTest, FindsNamesThatAreNoText) {
    const auto configuration = Load("[A\xff\xC3]\npath = /u\n");
    EXPECT_NE(configuration->Find("a\xff\xC3"), nullptr);
    EXPECT_EQ(configuration->Find("a\xff"), nullptr);
}

TEST_F(SmbConfTest, IgnoresWhitespaceInNames) {
    EXPECT_EQ(Value("  [ d o\tcs ]\n \t p a th\t=/d"), "/d");
    EXPECT_EQ(Value("[docs]\nnavo : scale  volume = yes", "navo:scale volume"), "yes");
}

TEST_F(SmbConfTest, KeepsTheNameAsWritten) {
    EXPECT_EQ(Load("[ My Docs ]\npath = /d\n[MYDOCS]\n")->Find("mydocs")->Name(), "My Docs");
}

TEST_F(SmbConfTest, TakesAColonForAPartOfTheName) {
    EXPECT_EQ(Value("[docs]\nnavo:scale volume = yes", "navo:scale volume"), "yes");
    EXPECT_EQ(Value("[docs]\nnavo:scale volume = yes", "navo"), "");
}

TEST_F(SmbConfTest, KeepsOddCharactersOfAValue) {
    for (const std::string value :
         {"/a ; b # c", "/a;b#c", "/a=b=c", "/a  b\tc", "/[a]", "/\xC3\xBC\xE2\x82\xAC", "/\xff",
          "/a:b", "/it's", "/a\"b", "/a\\b", "/%S"}) {
        EXPECT_EQ(Value("[docs]\npath = " + value + "\n"), value);
    }
}

TEST_F(SmbConfTest, KeepsLongNamesAndValues) {
    const std::string name(500, 'n');
    const std::string value(5000, 'v');
    EXPECT_EQ(Value("[docs]\n" + name + " = " + value + "\n", name), value);
    EXPECT_NE(Load("[" + name + "]\n")->Find(name), nullptr);
}

TEST_F(SmbConfTest, TrimsBlanksAroundAValue) {
    EXPECT_EQ(Value("[docs]\npath =\t /a b \t \r\n"), "/a b");
    EXPECT_EQ(Value("[docs]\npath =\n"), "");
}

TEST_F(SmbConfTest, TakesOnePairOfQuotesOff) {
    EXPECT_EQ(Value("[docs]\npath = \"/a b \"\n"), "/a b ");
    EXPECT_EQ(Value("[docs]\npath = \"\n"), "\"");
    EXPECT_EQ(Value("[docs]\npath = \"a\" \"b\"\n"), "\"a\" \"b\"");
}

TEST_F(SmbConfTest, LeavesOutCommentLines) {
    EXPECT_EQ(Value("[docs]\npath = /d\n# path = /x\n  ; path = /y\n\t#[other]\n"), "/d");
    for (const std::string mark : {"#", ";"}) {
        EXPECT_EQ(Value("[docs]\n" + mark + "goes not on \\\npath = /d\n"), "/d");
    }
}

TEST_F(SmbConfTest, JoinsContinuedLines) {
    EXPECT_EQ(Value("[docs]\npath = /volume1/\\\ndocs\\\n/a\n"), "/volume1/docs/a");
    EXPECT_EQ(Value("[docs]\r\npath = /volume1/\\\r\ndocs\r\n"), "/volume1/docs");
    EXPECT_EQ(Value("[docs]\npath = /a \\ \n  # b\n"), "/a   # b");
    EXPECT_EQ(Value("[do\\\ncs]\npa\\\nth = /d\n"), "/d");
}

TEST_F(SmbConfTest, EndsAContinuedLineAtTheEnd) {
    EXPECT_EQ(Value("[docs]\npath = /d\\"), "/d");
    EXPECT_EQ(Value("[docs]\npath = /d\\\n\\\n\\"), "/d");
}

TEST_F(SmbConfTest, LetsLaterValuesOverride) {
    EXPECT_EQ(Value("[docs]\npath = /a\nPath = /b\n"), "/b");
    EXPECT_EQ(Value("[docs]\npath = /a\n[x]\n[Docs]\npath = /b\n"), "/b");
    EXPECT_EQ(Value("[docs]\npath = /a\n[x]\n[docs]\ncomment = c\n"), "/a");
}

TEST_F(SmbConfTest, TakesDirectoryForPath) {
    EXPECT_EQ(Value("[docs]\ndirectory = /a\n"), "/a");
    EXPECT_EQ(Value("[docs]\npath = /a\ndirectory = /b\n"), "/b");
    EXPECT_EQ(Value("[docs]\ndirectory = /a\npath = /b\n"), "/b");
}

TEST_F(SmbConfTest, PutsWhatComesBeforeTheFirstSectionIntoGlobal) {
    EXPECT_EQ(Load("workgroup = W\n[docs]\n")->Find("global")->Text("workgroup"), "W");
}

TEST_F(SmbConfTest, PassesOverLinesThatAreNothing) {
    EXPECT_EQ(Value("nonsense\n[docs]\nmore: nonsense\npath = /d\n]\n"), "/d");
}

TEST_F(SmbConfTest, ReadsTruthValues) {
    for (const std::string value : {"yes", "Yes", "YES", "true", "True", "1", "on", "\"yes\""}) {
        EXPECT_TRUE(Load("[docs]\nflag = " + value)->Find("docs")->IsTrue("flag")) << value;
    }
    for (const std::string value : {"no", "false", "0", "off", "", "2", "yess", "y"}) {
        EXPECT_FALSE(Load("[docs]\nflag = " + value)->Find("docs")->IsTrue("flag")) << value;
    }
    EXPECT_FALSE(Load("[docs]\n")->Find("docs")->IsTrue("flag"));
}

TEST_F(SmbConfTest, RefusesWhatHasNoSyntax) {
    EXPECT_EQ(Refusal("[docs\npath = /d\n"), EINVAL);
    EXPECT_EQ(Refusal("[]\n"), EINVAL);
    EXPECT_EQ(Refusal("[ \t]\n"), EINVAL);
    EXPECT_EQ(Refusal("[docs]\n= /d\n"), EINVAL);
    EXPECT_EQ(Refusal(std::string("[docs]\npath = /d\0x\n", 19)), EINVAL);
}

TEST_F(SmbConfTest, TellsWhyAFileCannotBeRead) {
    const auto refusal = [](const std::string& file) {
        errno = 0;
        return SmbConf::Load(file) ? 0 : errno;
    };
    EXPECT_EQ(refusal(At("none")), ENOENT);
    EXPECT_EQ(refusal(directory.Path()), EINVAL);
    EXPECT_EQ(refusal("/dev/zero"), EINVAL) << "has no end";
    ASSERT_EQ(mkfifo(At("pipe").c_str(), 0600), 0);
    EXPECT_EQ(refusal(At("pipe")), EINVAL) << "would block";
    WriteFile(path, "", 0);
    const OrdinaryUser user;
    if (!user || geteuid() == StatusOf(path).st_uid) {
        GTEST_SKIP() << "no other user to be";
    }
    EXPECT_EQ(refusal(path), EACCES);
}

TEST_F(SmbConfTest, RefusesAFileOfUnreasonableSize) {
    WriteFile(path, "");
    ASSERT_EQ(truncate(path.c_str(), off_t{100} << 20), 0);
    errno = 0;
    EXPECT_FALSE(SmbConf::Load(path));
    EXPECT_EQ(errno, EFBIG);
}

class IncludeTest : public SmbConfTest {
protected:
    std::string Include(const std::string& name) const { return "include = " + At(name) + "\n"; }
};

TEST_F(IncludeTest, StandsForTheTextOfTheFile) {
    WriteFile(At("more"), "comment = c\n[music]\npath = /m\n");
    const auto configuration = Load("[docs]\npath = /d\n" + Include("more") + "comment = m\n");
    EXPECT_EQ(configuration->Find("docs")->Text("path"), "/d");
    EXPECT_EQ(configuration->Find("docs")->Text("comment"), "c");
    EXPECT_EQ(configuration->Find("music")->Text("path"), "/m");
    EXPECT_EQ(configuration->Find("music")->Text("comment"), "m");
}

TEST_F(IncludeTest, TakesQuotesAndCase) {
    WriteFile(At("more"), "[docs]\npath = /d\n");
    EXPECT_EQ(Value("INCLUDE = \"" + At("more") + "\"\n"), "/d");
}

TEST_F(IncludeTest, GoesThroughSeveralFiles) {
    WriteFile(At("one"), Include("two"));
    WriteFile(At("two"), "[docs]\npath = /d\n");
    EXPECT_EQ(Value(Include("one") + Include("one")), "/d");
}

TEST_F(IncludeTest, LeavesOutWhatIsMissingOrNotOneFile) {
    for (const std::string file : {"/no/such/file", "/etc/passwd/x", "registry", "relative.conf",
                                   "/etc/samba/%m.conf", ""}) {
        EXPECT_EQ(Value("include = " + file + "\n[docs]\npath = /d\n"), "/d") << file;
    }
}

TEST_F(IncludeTest, RefusesAFileThatCannotBeRead) {
    EXPECT_EQ(Refusal("include = " + directory.Path() + "\n"), EINVAL);
    EXPECT_EQ(Refusal("include = /dev/zero\n"), EINVAL);
}

TEST_F(IncludeTest, RefusesAFileWithoutSyntax) {
    WriteFile(At("more"), "[docs\n");
    EXPECT_EQ(Refusal(Include("more")), EINVAL);
}

TEST_F(IncludeTest, EndsWhenAFileIncludesItself) {
    EXPECT_EQ(Refusal(Include("smb.conf")), ELOOP);
}

TEST_F(IncludeTest, EndsWhenIncludesMultiply) {
    for (int level = 0; level < 20; ++level) {
        const std::string next = Include(std::to_string(level + 1));
        WriteFile(At(std::to_string(level)), next + next);
    }
    EXPECT_EQ(Refusal(Include("0")), ELOOP);
}

TEST_F(SmbConfTest, FindsAParameterByEachOfItsNames) {
    EXPECT_EQ(Value("[docs]\nallow hosts = a", "hosts allow"), "a");
    EXPECT_EQ(Value("[docs]\ndeny hosts = a", "hosts deny"), "a");
    EXPECT_EQ(Value("[docs]\ncasesignames = yes", "case sensitive"), "yes");
    EXPECT_EQ(Value("[docs]\nunix extensions = no", "smb1 unix extensions"), "no");
    EXPECT_EQ(Value("[docs]\nhosts allow = a\nallow hosts = b", "hosts allow"), "b");
}

TEST_F(SmbConfTest, KeepsQuotesForLists) {
    EXPECT_EQ(Load("[docs]\nvalid users = \"domain users\"")->Find("docs")->Raw("valid users"),
              "\"domain users\"");
}

TEST_F(SmbConfTest, CopiesWhatAnotherSectionHasSoFar) {
    const std::string text =
        "[base]\npath = /b\nvalid users = ann\n"
        "[docs]\npath = /d\ncopy = BASE\n"
        "[base]\ncomment = later\n";
    EXPECT_EQ(Value(text), "/d");
    EXPECT_EQ(Value(text, "valid users"), "ann");
    EXPECT_EQ(Value(text, "comment"), "");
    EXPECT_EQ(Value("[docs]\ncopy = docs\npath = /d\ncopy = none\n"), "/d");
}

TEST_F(SmbConfTest, TakesFromGlobalWhatASectionDoesNotSet) {
    const auto configuration =
        Load("valid users = ann\nveto files = /a/\n[docs]\nvalid users =\n[other]\n");
    const auto value = [&](const char* section, const char* parameter) {
        return configuration->Effective(configuration->Find(section), parameter);
    };
    EXPECT_EQ(value("docs", "valid users"), "");
    EXPECT_EQ(value("docs", "veto files"), "/a/");
    EXPECT_EQ(value("other", "valid users"), "ann");
    EXPECT_EQ(value("none", "valid users"), "ann");
}

TEST_F(SmbConfTest, TakesTheDefaultForAFlagThatIsNone) {
    const auto configuration = Load("a = no\nb = Yes\n[docs]\nc = 0\nd = on\ne = maybe\nb = off\n");
    const auto* docs = configuration->Find("docs");
    for (const bool defaultValue : {false, true}) {
        EXPECT_FALSE(configuration->Flag(docs, "a", defaultValue));
        EXPECT_FALSE(configuration->Flag(docs, "b", defaultValue));
        EXPECT_TRUE(configuration->Flag(nullptr, "b", defaultValue));
        EXPECT_FALSE(configuration->Flag(docs, "c", defaultValue));
        EXPECT_TRUE(configuration->Flag(docs, "d", defaultValue));
        EXPECT_EQ(configuration->Flag(docs, "e", defaultValue), defaultValue);
        EXPECT_EQ(configuration->Flag(docs, "f", defaultValue), defaultValue);
    }
}

TEST_F(SmbConfTest, ListsParametricOptionsAsTheyAreSpelled) {
    using Options = std::vector<std::pair<std::string, std::string>>;
    const auto configuration =
        Load("[docs]\nveto files = /all/\nVeto Files : @Domain Users = /b/\nvetofiles:ann=/a/\n");
    EXPECT_EQ(configuration->Find("docs")->Parametric("veto files"),
              (Options{{"@Domain Users", "/b/"}, {"ann", "/a/"}}));
}

// Any bytes are either a configuration or refused with a reason.
TEST_F(SmbConfTest, SurvivesAnyBytes) {
    constexpr int kRounds = 10000;
    const TestDirectory memory("/dev/shm");  // a disk would make it take its time
    const std::string file = memory / "smb.conf";
    constexpr std::string_view kCharacters = "[]=;#\\\n\r \t%\"a/\xff\xC3:pathdocsinclude";
    const std::string alphabet = std::string(kCharacters) + '\0';
    std::mt19937 random(1);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same texts in each run
    int refused = 0;
    for (int round = 0; round < kRounds; ++round) {
        std::string text(random() % 80, '\0');
        for (char& c : text) {
            c = alphabet[random() % alphabet.size()];
        }
        WriteFile(file, text);
        errno = 0;
        if (!SmbConf::Load(file)) {
            ++refused;
            ASSERT_NE(errno, 0) << testing::PrintToString(text);
        }
    }
    EXPECT_GT(refused, 0) << "the texts are too tame";
    EXPECT_LT(refused, kRounds) << "the texts are too wild";
}

}  // namespace
}  // namespace navo::test
