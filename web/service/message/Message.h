// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WEB_MESSAGE_MESSAGE_H
#define VELLUMO_WEB_MESSAGE_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What the front asks the processes with the rights of root, and what they answer. The front reads
// what strangers send, so it may be taken over one day. A question names no user: it has the token
// of a session, or of a sharing link and of the visit with it, and who asked is looked up on the
// other side. The only one that does, kProxyLogin, counts on a queue that the front does not have.
namespace vellumo::web::message {

inline constexpr size_t kMostBytes = size_t{16} * 1024;

// So many documents may be in one question.
inline constexpr size_t kMostPaths = 50;

// What the front sends on the connection of a conversion that nobody waits for any more.
inline constexpr std::string_view kStop = "stop";

enum class Kind : uint8_t {
    kMe = 1,     // who is logged in
    kShares,     // the shares that the user may use
    kList,       // one folder
    kThumbnail,  // a kept thumbnail
    kPdf,        // a kept PDF
    kOriginal,   // the document itself
    kOpen,       // whether a product is ready, or why there will be none
    kConvert,    // make the product
    kLogin,      // a name and a password
    kLogout,     // end this session
    kLogoutAll,  // end all sessions of the user
    kView,       // somebody opens the document: kOpen, and the opening is counted and logged
    kUnlock,     // the password of a sharing link
    kVisible,    // how the thumbnails of some documents are
    kPlace,      // the page of a document that the user has seen last
    kSetPlace,
    kLinks,    // the user's sharing links
    kAddLink,  // a new one
    kChangeLink,
    kRemoveLink,
    kLinkVisits,  // who opened what through one of them
    kProxyLogin,  // a name without a password, which only the proxy's own process may give
    kCancel       // for the front alone: whoever waits for a conversion waits no more
};

enum class Product : uint8_t { kPdf = 0, kThumbnail = 1 };

// What a user wants of a sharing link. `given` has the bits of the members that count, those of the
// texts of the question included.
struct LinkTerms {
    enum Member : uint8_t {
        kLabel = 1,
        kPassword = 2,
        kExpires = 4,
        kMostViews = 8,
        kDownload = 16,
        kRevoked = 32,
        kAll = 63
    };
    uint8_t given = 0;
    uint8_t mayDownload = 1;  // 0 or 1
    uint8_t isRevoked = 0;    // 0 or 1
    uint32_t expires = 0;     // seconds since 1970; 0: never
    uint32_t mostViews = 0;   // 0: any number

    bool operator==(const LinkTerms&) const = default;
};

struct Question {
    Kind kind = Kind::kMe;
    Product product = Product::kPdf;   // for kOpen, kView and kConvert
    uint16_t limit = 0;                // for kList: at most so many entries
    uint32_t id = 0;                   // of a sharing link of the user
    uint32_t page = 0;                 // for kSetPlace
    LinkTerms terms{};                 // for kAddLink and kChangeLink
    std::string token{};               // of the session
    std::string link{};                // of the sharing link, if a visitor asks
    std::string visit{};               // of the visitor's visit with it; "" for none
    std::string path{};                // share path: "/docs/a.docx"; of a visitor, below the link
    std::string address{};             // of the client
    std::string sort{};                // for kList: "name", "-time", …
    std::string cursor{};              // for kList: where the last page ended
    std::string user{};                // for kLogin and kProxyLogin
    std::string password{};            // for kLogin and kUnlock, and of a sharing link
    std::string label{};               // of a sharing link
    std::vector<std::string> paths{};  // for kVisible: each as `path`

    bool operator==(const Question&) const = default;
};

// How the thumbnail of one document is.
struct PictureState {
    uint16_t status = 0;  // 200: ready; 202: not made yet; 404: nothing for the asker; else failed
    std::string code{};   // why it has failed
    std::string version{};  // of the document, as lists have it; "" with 404

    bool operator==(const PictureState&) const = default;
};

// An answer. With a file descriptor attached, the file is the content of the answer.
struct Answer {
    uint16_t status = 0;      // an HTTP status; 102 for news of a conversion that goes on
    uint32_t retryAfter = 0;  // seconds; 0: not said
    std::string code{};       // of an error, "not-found"; of news, the phase
    std::string type{};       // of the file
    std::string tag{};        // its strong entity tag, without quotes
    std::string name{};       // under which a browser saves it
    std::string token{};      // of a new session, or of a visitor's new visit
    std::vector<PictureState> pictures{};  // of the documents of the question, in their order

    bool operator==(const Answer&) const = default;
};

// The bytes of a message; nothing when they are more than kMostBytes.
std::optional<std::string> Encode(const Question& question);
std::optional<std::string> Encode(const Answer& answer);

// The message in `bytes`; nothing unless they are exactly one whose values are all possible. Texts
// have no NUL.
std::optional<Question> DecodeQuestion(std::string_view bytes);
std::optional<Answer> DecodeAnswer(std::string_view bytes);

}  // namespace vellumo::web::message

#endif
