// SPDX-License-Identifier: Apache-2.0
#include "message/Message.h"

#include <algorithm>
#include <climits>

#include "loader/links/LinkToken.h"

namespace vellumo::web::message {
namespace {

constexpr uint8_t kQuestionMark = 0x51;
constexpr uint8_t kAnswerMark = 0x41;
constexpr uint16_t kLeastStatus = 100;
constexpr uint16_t kMostStatus = 599;
constexpr uint16_t kMostLimit = 500;

class Writer {
public:
    explicit Writer(uint8_t mark) { Number(mark); }

    template <typename Value>
    void Number(Value value) {
        for (size_t byte = 0; byte < sizeof(Value); ++byte) {
            const auto shift = static_cast<unsigned>(byte * CHAR_BIT);
            _bytes += static_cast<char>((static_cast<uint32_t>(value) >> shift) & UCHAR_MAX);
        }
    }
    void Text(const std::string& text) {
        _isGood = _isGood && text.size() <= kMostBytes && text.find('\0') == std::string::npos;
        Number(static_cast<uint16_t>(text.size()));
        _bytes += text;
    }
    // `write` writes one of them.
    template <typename Elements, typename Write>
    void List(const Elements& elements, Write write) {
        _isGood = _isGood && elements.size() <= kMostPaths;
        Number(static_cast<uint8_t>(elements.size()));
        std::for_each(elements.begin(), elements.end(), write);
    }
    std::optional<std::string> Take() {
        return _isGood && _bytes.size() <= kMostBytes ? std::optional(_bytes) : std::nullopt;
    }

private:
    std::string _bytes;
    bool _isGood = true;
};

class Reader {
public:
    Reader(std::string_view bytes, uint8_t mark)
        : _bytes(bytes), _isGood(bytes.size() <= kMostBytes) {
        uint8_t found = 0;
        Number(found);
        _isGood = _isGood && found == mark;
    }

    template <typename Value>
    void Number(Value& value) {
        const std::string_view bytes = Take(sizeof(Value));
        uint32_t read = 0;
        for (size_t byte = 0; byte < bytes.size(); ++byte) {
            const auto shift = static_cast<unsigned>(byte * CHAR_BIT);
            read |= static_cast<uint32_t>(static_cast<uint8_t>(bytes[byte])) << shift;
        }
        value = static_cast<Value>(read);
    }
    void Text(std::string& text) {
        uint16_t length = 0;
        Number(length);
        text = Take(length);
        _isGood = _isGood && text.find('\0') == std::string::npos;
    }
    // `read` reads one of them.
    template <typename Elements, typename Read>
    void List(Elements& elements, Read read) {
        uint8_t count = 0;
        Number(count);
        _isGood = _isGood && count <= kMostPaths;
        for (uint8_t i = 0; _isGood && i < count; ++i) {
            read(elements.emplace_back());
        }
    }
    bool IsGoodToTheEnd() const { return _isGood && _bytes.empty(); }

private:
    // The next `count` bytes; "" when there are not so many.
    std::string_view Take(size_t count) {
        _isGood = _isGood && count <= _bytes.size();
        if (!_isGood) {
            return {};
        }
        const std::string_view taken = _bytes.substr(0, count);
        _bytes.remove_prefix(count);
        return taken;
    }

    std::string_view _bytes;
    bool _isGood;
};

// The texts of a message, in the order in which they are sent.
template <typename Message, typename Visit>
void ForEachText(Message& message, Visit visit) requires requires {
    message.password;
}
{
    for (auto* text :
         {&message.token, &message.link, &message.visit, &message.path, &message.address,
          &message.sort, &message.cursor, &message.user, &message.password, &message.label}) {
        visit(*text);
    }
}

template <typename Message, typename Visit>
void ForEachText(Message& message, Visit visit) requires requires {
    message.status;
}
{
    for (auto* text : {&message.code, &message.type, &message.tag, &message.name, &message.token}) {
        visit(*text);
    }
}

template <typename Message, typename Visit>
void ForEachNumber(Message& message, Visit visit) {
    visit(message.limit);
    visit(message.id);
    visit(message.page);
    visit(message.terms.given);
    visit(message.terms.mayDownload);
    visit(message.terms.isRevoked);
    visit(message.terms.expires);
    visit(message.terms.mostViews);
}

// Visitors can ask only for what is below their link.
bool IsOfVisitors(Kind kind) {
    switch (kind) {
        case Kind::kMe:
        case Kind::kList:
        case Kind::kThumbnail:
        case Kind::kPdf:
        case Kind::kOriginal:
        case Kind::kOpen:
        case Kind::kConvert:
        case Kind::kView:
        case Kind::kUnlock:
        case Kind::kVisible:
            return true;
        default:
            return false;
    }
}

bool HasOneAsker(const Question& question) {
    if (question.link.empty()) {
        return question.visit.empty() && question.kind != Kind::kUnlock;
    }
    return question.token.empty() && loader::IsLinkToken(question.link) &&
           IsOfVisitors(question.kind);
}

bool IsPossible(const LinkTerms& terms) {
    return terms.given <= LinkTerms::kAll && terms.mayDownload <= 1 && terms.isRevoked <= 1;
}

bool IsPath(const std::string& path) {
    return path.starts_with('/');
}

bool IsStatus(uint16_t status) {
    return status >= kLeastStatus && status <= kMostStatus;
}

bool IsPossible(const Question& question) {
    return question.kind >= Kind::kMe && question.kind <= Kind::kProxyLogin &&
           question.product <= Product::kThumbnail && question.limit <= kMostLimit &&
           (question.path.empty() || IsPath(question.path)) && IsPossible(question.terms) &&
           std::all_of(question.paths.begin(), question.paths.end(), IsPath) &&
           HasOneAsker(question);
}

}  // namespace

std::optional<std::string> Encode(const Question& question) {
    Writer writer(kQuestionMark);
    writer.Number(static_cast<uint8_t>(question.kind));
    writer.Number(static_cast<uint8_t>(question.product));
    ForEachNumber(question, [&](auto number) { writer.Number(number); });
    ForEachText(question, [&](const std::string& text) { writer.Text(text); });
    writer.List(question.paths, [&](const std::string& path) { writer.Text(path); });
    return writer.Take();
}

std::optional<std::string> Encode(const Answer& answer) {
    Writer writer(kAnswerMark);
    writer.Number(answer.status);
    writer.Number(answer.retryAfter);
    ForEachText(answer, [&](const std::string& text) { writer.Text(text); });
    writer.List(answer.pictures, [&](const PictureState& picture) {
        writer.Number(picture.status);
        writer.Text(picture.code);
        writer.Text(picture.version);
    });
    return writer.Take();
}

std::optional<Question> DecodeQuestion(std::string_view bytes) {
    Reader reader(bytes, kQuestionMark);
    Question question;
    uint8_t kind = 0;
    uint8_t product = 0;
    reader.Number(kind);
    reader.Number(product);
    ForEachNumber(question, [&](auto& number) { reader.Number(number); });
    question.kind = static_cast<Kind>(kind);
    question.product = static_cast<Product>(product);
    ForEachText(question, [&](std::string& text) { reader.Text(text); });
    reader.List(question.paths, [&](std::string& path) { reader.Text(path); });
    return reader.IsGoodToTheEnd() && IsPossible(question) ? std::optional(question) : std::nullopt;
}

std::optional<Answer> DecodeAnswer(std::string_view bytes) {
    Reader reader(bytes, kAnswerMark);
    Answer answer;
    reader.Number(answer.status);
    reader.Number(answer.retryAfter);
    ForEachText(answer, [&](std::string& text) { reader.Text(text); });
    reader.List(answer.pictures, [&](PictureState& picture) {
        reader.Number(picture.status);
        reader.Text(picture.code);
        reader.Text(picture.version);
    });
    const bool isPossible = IsStatus(answer.status) &&
                            std::all_of(answer.pictures.begin(), answer.pictures.end(),
                                        [](const auto& one) { return IsStatus(one.status); });
    return reader.IsGoodToTheEnd() && isPossible ? std::optional(answer) : std::nullopt;
}

}  // namespace vellumo::web::message
