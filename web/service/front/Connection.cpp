// SPDX-License-Identifier: Apache-2.0
#include "front/Connection.h"

#include <sys/sendfile.h>

#include <algorithm>
#include <array>
#include <boost/asio/ip/address.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <cerrno>

namespace vellumo::web::front {
namespace {

using boost::system::error_code;
using State = http::Parsed::State;

constexpr std::chrono::seconds kIdle{60};
constexpr std::chrono::seconds kHead{5};
constexpr std::chrono::seconds kBody{30};
constexpr std::chrono::seconds kWork{60};
constexpr std::chrono::seconds kSend{30};
constexpr size_t kPiece = size_t{256} * 1024;  // between two others get their turn
constexpr size_t kReadAtOnce = size_t{16} * 1024;

auto Into(error_code& error) {
    return asio::redirect_error(asio::use_awaitable, error);
}

}  // namespace

Connection::Connection(Socket socket, const Service& service, Client client)
    : _socket(std::move(socket)),
      _service(service),
      _client(std::move(client)),
      _limit(_socket.get_executor()) {}

void Connection::EndsAfter(Seconds limit) {
    _limit.expires_after(limit);
    _limit.async_wait([weak = weak_from_this()](const error_code& error) {
        const auto self = weak.lock();
        // A limit that was set anew may have its old end in the queue already.
        if (!error && self && self->_limit.expiry() <= std::chrono::steady_clock::now()) {
            error_code ignored;
            self->_socket.close(ignored);
        }
    });
}

asio::awaitable<http::Parsed> Connection::Read() {
    http::Parsed parsed = http::Parse(_bytes);
    EndsAfter(_bytes.empty() ? kIdle : kHead);
    bool hasHead = false;
    while (parsed.state == State::kIncomplete) {
        std::array<char, kReadAtOnce> room{};
        error_code error;
        const size_t count = co_await _socket.async_read_some(asio::buffer(room), Into(error));
        if (error) {
            _bytes.clear();
            parsed = http::Parse(_bytes);
            break;
        }
        if (_bytes.empty()) {
            EndsAfter(kHead);
        }
        _bytes.append(room.data(), count);
        parsed = http::Parse(_bytes);
        if (!hasHead && _bytes.find("\r\n\r\n") != std::string::npos) {
            hasHead = true;
            EndsAfter(kBody);
        }
    }
    _bytes.erase(0, parsed.consumed);
    co_return parsed;
}

asio::awaitable<bool> Connection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        EndsAfter(kSend);
        error_code error;
        const size_t count = co_await _socket.async_write_some(
            asio::buffer(bytes.data(), bytes.size()), Into(error));
        if (error) {
            co_return false;
        }
        bytes.remove_prefix(count);
    }
    co_return true;
}

asio::awaitable<bool> Connection::SendFile(int file, uint64_t first, uint64_t length) {
    auto offset = static_cast<off_t>(first);
    _socket.native_non_blocking(true);
    EndsAfter(kSend);
    while (length != 0) {
        const ssize_t count =
            sendfile(_socket.native_handle(), file, &offset, std::min<uint64_t>(length, kPiece));
        error_code error;
        if (count > 0) {
            length -= static_cast<uint64_t>(count);
            _sent += static_cast<uint64_t>(count);
            EndsAfter(kSend);
            co_await asio::post(_socket.get_executor(), asio::use_awaitable);
        } else if (count < 0 && errno == EAGAIN) {
            co_await _socket.async_wait(Socket::wait_write, Into(error));
        } else if (count == 0 || errno != EINTR) {
            co_return false;  // the client has gone, or the file has become shorter
        }
        if (error || !_socket.is_open()) {
            co_return false;
        }
    }
    co_return true;
}

asio::awaitable<bool> Connection::SendResponse(Response response, bool hasContent) {
    std::string head = http::BytesOf(response.head);
    const int file = response.file ? response.file.Get() : response.borrowedFile;
    const bool hasBody = hasContent && file < 0;
    if (hasBody) {
        head += response.body;
    }
    const bool isSent = co_await Send(head);
    if (!isSent) {
        co_return false;
    }
    _sent = hasBody ? response.body.size() : 0;
    if (hasContent && file >= 0) {
        co_return co_await SendFile(file, response.first, response.head.length);
    }
    co_return true;
}

// The last address in the list is the one that the proxy itself has seen; clients can send the
// others.
std::string Connection::AddressOf(const http::Request& request) const {
    if (!_client.isForwarded) {
        return _client.address;
    }
    std::string list = request.Field("x-forwarded-for").value_or("");
    const size_t comma = list.rfind(',');
    list = comma == std::string::npos ? list : list.substr(comma + 1);
    list.erase(std::remove(list.begin(), list.end(), ' '), list.end());
    error_code error;
    const auto address = asio::ip::make_address(list, error);
    return error ? "" : address.to_string();
}

// Whether the connection may be used again.
asio::awaitable<bool> Connection::AnswerTo(const http::Parsed& parsed) {
    const auto begin = std::chrono::steady_clock::now();
    const bool isGood = parsed.state == State::kComplete;
    const std::string address = isGood ? AddressOf(parsed.request) : _client.address;
    // GCC 12 miscompiles co_await in a part of a larger expression.
    Response response = ErrorResponse(parsed.status, "bad-request");
    if (isGood) {
        asio::awaitable<Response> answer = _service.answer(parsed.request, address);
        response = co_await std::move(answer);
    }
    const bool keeps = isGood && parsed.request.keepsConnection && response.head.keepsConnection;
    const int status = response.head.status;
    response.head.keepsConnection = keeps;
    _sent = 0;
    const bool hasContent = parsed.request.method != http::Method::kHead;
    const bool isSent = co_await SendResponse(std::move(response), hasContent);
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
    _service.note({parsed.request, address, status, _sent, time.count()});
    co_return isSent&& keeps;
}

asio::awaitable<void> Connection::Serve() {
    const auto self = shared_from_this();
    for (bool goesOn = true; goesOn;) {
        const http::Parsed parsed = co_await Read();
        if (parsed.state == State::kIncomplete) {
            break;
        }
        EndsAfter(kWork);
        goesOn = co_await AnswerTo(parsed);
    }
    _limit.cancel();
    error_code ignored;
    _socket.shutdown(Socket::shutdown_both, ignored);
    _socket.close(ignored);
}

}  // namespace vellumo::web::front
