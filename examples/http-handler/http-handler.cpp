// SPDX-License-Identifier: Apache-2.0
// http-handler PORT USER: on 127.0.0.1, answers GET /SHARE/PATH with the document's kept PDF, or
// converts it first. Everybody who connects has USER's permissions on the volume. Run it as root.
//
// It leaves out: logins, Samba's own lists of users, links that lead out of a share, documents that
// are exchanged after their permissions were checked, %20 in a path, request heads that come in
// pieces, HEAD, ranges, caching, and everybody else while it converts. Each conversion removes kept
// PDFs beyond 1 GiB, whatever limit Vellumo's own programs have.
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vellumo/CacheManager.h>
#include <vellumo/Constants.h>
#include <vellumo/Converter.h>

#include <sstream>

using namespace NAVO::VELLUMO;

static std::string Answer(const std::string& status, const std::string& type,
                          const std::string& body) {
    return "HTTP/1.1 " + status + "\r\nConnection: close\r\nContent-Type: " + type +
           "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

static std::string AnswerTo(const std::string& sharePath, const std::string& user) {
    path::Path document;
    document.SetData("sharePath", sharePath, true);
    // The library maps ".." as it stands, and needs a path below the share.
    if (sharePath[0] != '/' || sharePath.find("/..") != std::string::npos ||
        sharePath.find('/', 1) == std::string::npos || !document.CheckPermission(user)) {
        return Answer("404 Not Found", "text/plain", "no such document\n");
    }
    CacheManager cache(false, 1L << 30);
    std::ifstream pdf;
    const std::string file = document.GetRealPath();
    if (!cache.Get(file, SZK_THUMB_PDF_TYPE, pdf) &&
        (converter::ToPDFCache(document) != 1000 || !cache.Get(file, SZK_THUMB_PDF_TYPE, pdf))) {
        return Answer("502 Bad Gateway", "text/plain", "cannot convert\n");
    }
    return Answer("200 OK", "application/pdf",
                  std::string(std::istreambuf_iterator<char>(pdf), {}));
}

int main(int count, char** words) {
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), on = 1;
    sockaddr_in place{};
    place.sin_family = AF_INET;
    place.sin_port = htons(count == 3 ? std::stoi(words[1]) : 0);
    place.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    setsockopt(server, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (count != 3 || bind(server, reinterpret_cast<sockaddr*>(&place), sizeof place) != 0 ||
        listen(server, 16) != 0) {
        return 1;
    }
    for (;;) {
        const int client = accept4(server, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) {
            continue;
        }
        const timeval limit{10, 0};
        setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
        char head[8192];
        const ssize_t size = recv(client, head, sizeof head, 0);
        std::istringstream line(std::string(head, size > 0 ? size : 0));
        std::string method, target;
        line >> method >> target;
        const std::string answer = method == "GET" ? AnswerTo(target, words[2])
                                                   : Answer("405 Not Allowed", "text/plain", "");
        for (size_t sent = 0; sent < answer.size();) {
            const ssize_t part = send(client, &answer[sent], answer.size() - sent, MSG_NOSIGNAL);
            if (part <= 0) {
                break;
            }
            sent += part;
        }
        close(client);
    }
}
