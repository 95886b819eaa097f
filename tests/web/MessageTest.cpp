// SPDX-License-Identifier: Apache-2.0
#include "message/Message.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <unistd.h>

#include "message/Mail.h"

namespace vellumo::web::message {
namespace {

Question Example() {
    return {.kind = Kind::kList,
            .product = Product::kThumbnail,
            .limit = 500,
            .id = 70000,
            .page = 80000,
            .terms = {.given = LinkTerms::kAll,
                      .mayDownload = 0,
                      .isRevoked = 1,
                      .expires = 4'000'000'000,
                      .mostViews = 80000},
            .token = "t",
            .path = "/docs/a",
            .address = "::1",
            .sort = "-time",
            .cursor = "c",
            .user = "u",
            .password = "p",
            .label = "l",
            .paths = {"/docs/a", "/docs/b"}};
}

Question OfVisitor() {
    return {.kind = Kind::kUnlock, .link = "0123456789-abcdefg_HIJ", .visit = "v", .password = "p"};
}

const Answer kAnswer{.status = 200,
                     .retryAfter = 70000,
                     .code = "c",
                     .type = "t",
                     .tag = "g",
                     .name = "n",
                     .token = "k",
                     .pictures = {{.status = 200, .version = "1"}, {.status = 422, .code = "c"}}};

TEST(Message, ComesOutAsItWentIn) {
    EXPECT_EQ(DecodeQuestion(*Encode(Example())), Example());
    EXPECT_EQ(DecodeQuestion(*Encode(OfVisitor())), OfVisitor());
    EXPECT_EQ(DecodeAnswer(*Encode(kAnswer)), kAnswer);
}

TEST(Message, HasAFewPathsThatAreAllPossible) {
    Question question = Example();
    question.paths.assign(kMostPaths, "/a");
    EXPECT_EQ(DecodeQuestion(*Encode(question)), question);
    question.paths.back() = "a";
    EXPECT_EQ(DecodeQuestion(*Encode(question)), std::nullopt);
    question.paths.back() = "";
    EXPECT_EQ(DecodeQuestion(*Encode(question)), std::nullopt);
    question.paths.assign(kMostPaths + 1, "/a");
    EXPECT_EQ(Encode(question), std::nullopt);
    Answer answer = kAnswer;
    answer.pictures.front().status = 0;
    EXPECT_EQ(DecodeAnswer(*Encode(answer)), std::nullopt);
}

TEST(Message, IsOfAUserOrOfAVisitorAndAVisitorAsksNothingElse) {
    const auto refuses = [](const auto& change) {
        Question question = OfVisitor();
        change(question);
        return DecodeQuestion(*Encode(question)) == std::nullopt;
    };
    EXPECT_TRUE(refuses([](Question& question) { question.token = "t"; }));
    EXPECT_TRUE(refuses([](Question& question) { question.link = "short"; }));
    EXPECT_TRUE(refuses([](Question& question) { question.kind = Kind::kSetPlace; }));
    EXPECT_TRUE(refuses([](Question& question) { question.link[3] = '/'; }));
    EXPECT_TRUE(refuses([](Question& question) { question.link.clear(); }));
    for (const Kind kind :
         {Kind::kShares, Kind::kLogin, Kind::kLogout, Kind::kLinks, Kind::kAddLink,
          Kind::kChangeLink, Kind::kRemoveLink, Kind::kLinkVisits}) {
        EXPECT_TRUE(refuses([&](Question& question) { question.kind = kind; }))
            << static_cast<int>(kind);
    }
}

TEST(Message, IsRefusedWithTermsOfALinkThatMeanNothing) {
    const auto refuses = [](const auto& change) {
        Question question = Example();
        change(question.terms);
        return DecodeQuestion(*Encode(question)) == std::nullopt;
    };
    EXPECT_TRUE(refuses([](LinkTerms& terms) { terms.given = LinkTerms::kAll + 1; }));
    EXPECT_TRUE(refuses([](LinkTerms& terms) { terms.mayDownload = 2; }));
    EXPECT_TRUE(refuses([](LinkTerms& terms) { terms.isRevoked = 2; }));
}

TEST(Message, IsRefusedWhenItIsCutOrLonger) {
    const std::string question = *Encode(Example());
    for (size_t length = 0; length < question.size(); ++length) {
        EXPECT_EQ(DecodeQuestion(question.substr(0, length)), std::nullopt) << length;
    }
    EXPECT_EQ(DecodeQuestion(question + "x"), std::nullopt);
    EXPECT_EQ(DecodeAnswer(*Encode(kAnswer) + "x"), std::nullopt);
    EXPECT_EQ(DecodeAnswer(question), std::nullopt);
}

TEST(Message, IsRefusedWithValuesThatMeanNothing) {
    const auto with = [](size_t place, char byte) {
        std::string question = *Encode(Example());
        question[place] = byte;
        return DecodeQuestion(question);
    };
    EXPECT_EQ(with(1, 0), std::nullopt);
    EXPECT_EQ(with(1, 99), std::nullopt);
    EXPECT_EQ(with(2, 2), std::nullopt);
    EXPECT_EQ(with(4, 99), std::nullopt) << "a limit beyond the greatest one";
    Question relative = Example();
    relative.path = "docs";
    EXPECT_EQ(DecodeQuestion(*Encode(relative)), std::nullopt);
}

TEST(Message, CannotBeLongerThanItsLimitOrHaveANul) {
    Question question = Example();
    question.path = "/" + std::string(kMostBytes, 'a');
    EXPECT_EQ(Encode(question), std::nullopt);
    question.path = std::string("/a\0b", 4);
    EXPECT_EQ(Encode(question), std::nullopt);
}

TEST(Message, SurvivesEveryChangedByte) {
    for (const std::string& question : {*Encode(Example()), *Encode(OfVisitor())}) {
        for (size_t i = 0; i < question.size(); ++i) {
            for (const char byte : {'\0', '\x7f', '\xff'}) {
                std::string changed = question;
                changed[i] = byte;
                const auto decoded = DecodeQuestion(changed);
                EXPECT_TRUE(!decoded || Encode(*decoded) == changed) << i;
            }
        }
    }
}

TEST(Mail, BringsAFile) {
    const Ends ends = MakeEnds();
    std::array<int, 2> pipe{};
    ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
    const support::Descriptor reading(pipe[0]);
    support::Descriptor writing(pipe[1]);
    ASSERT_TRUE(Send(ends.one, "hello", reading.Get()));
    ASSERT_EQ(write(writing.Get(), "x", 1), 1);
    const auto mail = Receive(ends.other);
    ASSERT_TRUE(mail && mail->file);
    EXPECT_EQ(mail->bytes, "hello");
    char byte = 0;
    EXPECT_EQ(read(mail->file.Get(), &byte, 1), 1);
}

TEST(Mail, TellsWhenNobodyIsLeftOrNothingHasCome) {
    Ends ends = MakeEnds();
    EXPECT_EQ(Receive(ends.one, Wait::kReturnsAtOnce), std::nullopt);
    EXPECT_EQ(errno, EAGAIN);
    ends.other.Close();
    EXPECT_EQ(Receive(ends.one), std::nullopt);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_FALSE(Send(ends.one, "x"));
    EXPECT_EQ(errno, EPIPE);
}

TEST(Mail, IsRefusedWhenItIsTooLong) {
    const Ends ends = MakeEnds();
    ASSERT_TRUE(Send(ends.one, std::string(kMostBytes + 1, 'x')));
    EXPECT_EQ(Receive(ends.other), std::nullopt);
    EXPECT_EQ(errno, EBADMSG);
}

TEST(Mail, KnowsWhoMadeTheConnection) {
    const Ends ends = MakeEnds();
    EXPECT_TRUE(IsFrom(ends.other, geteuid()));
    EXPECT_FALSE(IsFrom(ends.other, geteuid() + 1));
}

}  // namespace
}  // namespace vellumo::web::message
