// SPDX-License-Identifier: Apache-2.0
#include "worker/Converting.h"

#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "loader/cache/Collection.h"
#include "loader/cache/KeptProducts.h"
#include "loader/cache/ServedProduct.h"
#include "loader/conversion/Conversion.h"
#include "loader/failures/FailureMemory.h"
#include "loader/settings/Settings.h"
#include "message/Mail.h"

namespace vellumo::web::worker {
namespace {

using message::Answer;

const char* NameOf(loader::Phase phase) {
    switch (phase) {
        case loader::Phase::kPreparing:
            return "preparing";
        case loader::Phase::kWaiting:
            return "waiting";
        case loader::Phase::kTool:
            return "converting";
        default:
            return "finishing";
    }
}

// Sends each new phase to the front.
class News : public loader::Listener {
public:
    explicit News(const support::Descriptor& connection) : _connection(connection) {}

    bool WantsObstacles() const override { return false; }

    // A front that has gone, or does not read, misses the news; the conversion goes on.
    void Report(loader::Phase phase, const std::string&) override {
        if (_last == phase) {
            return;
        }
        _last = phase;
        if (const auto bytes = message::Encode(Answer{.status = 102, .code = NameOf(phase)})) {
            message::Send(_connection, *bytes, -1, message::Wait::kReturnsAtOnce);
        }
    }

private:
    const support::Descriptor& _connection;
    std::optional<loader::Phase> _last;
};

// The front asks to stop when nobody waits any more. When it has gone, the conversion goes on.
class StopsWhenAsked : public loader::StopRequests {
public:
    explicit StopsWhenAsked(const support::Descriptor& connection) : _connection(connection) {}

    int WaitOn() const override { return _hasGone ? -1 : _connection.Get(); }
    bool Take() override {
        if (_hasGone) {
            return false;
        }
        const auto mail = message::Receive(_connection, message::Wait::kReturnsAtOnce);
        _hasGone = !mail && errno != EAGAIN;
        return mail && mail->bytes == message::kStop;
    }

private:
    const support::Descriptor& _connection;
    bool _hasGone = false;
};

// The document's fault, which stays until the document changes, or the server's, which may pass.
Answer AnswerFor(const loader::Problem& problem) {
    using loader::Reason;
    switch (problem.reason) {
        case Reason::kNoType:
        case Reason::kUnsupportedType:
        case Reason::kEmpty:
        case Reason::kTimeLimit:
        case Reason::kToolFailed:
        case Reason::kWorkerDied:
        case Reason::kFailedBefore:
            return {.status = 422, .code = loader::NameOf(problem.reason)};
        default:
            return {.status = 503, .retryAfter = 5, .code = loader::NameOf(problem.reason)};
    }
}

// The library collects after each PDF that it makes for a program which asks it to; one that
// serves people collects with the limit of the settings.
void KeepCacheSmall(const std::string& product) {
    struct stat status {};
    if (stat(product.c_str(), &status) == 0) {
        static loader::BulkCollection collection;
        // An administrator who raises the limit need not restart the service.
        collection.SetLimit(loader::LimitOf(loader::Settings::Read()));
        collection.NoteStored(status.st_size);
    }
}

}  // namespace

loader::Assignment AssignmentFor(message::Product product) {
    using Service = loader::Assignment::Service;
    return {product == message::Product::kPdf ? Service::kCachedPdf : Service::kThumbnail};
}

Answer StateOf(const Authority::Granted& granted, message::Product product,
               const std::string& address) {
    const loader::Assignment assignment = AssignmentFor(product);
    try {
        loader::CheckConvertible(granted.document);
        const auto cache = loader::OpenCache("cannot look for products");
        if (loader::OpenServed(granted.document, assignment.Stream(), *cache, address)) {
            return {.status = 200, .code = "ready"};
        }
        // The library's mark of a failed thumbnail is there while one is being made, too.
        const auto obstacle =
            loader::FailureMemory().Obstacle(granted.document, loader::ProductOf(assignment),
                                             std::time(nullptr), loader::Marks::kIgnored);
        return obstacle ? AnswerFor(*obstacle) : Answer{.status = 202, .code = "none"};
    } catch (const loader::Failure& failure) {
        return AnswerFor(failure.Details());
    }
}

Answer Convert(Authority::Granted granted, message::Product product, const std::string& address,
               const support::Descriptor& connection) {
    Answer state = StateOf(granted, product, address);
    if (state.status != 202) {
        return state;
    }
    // The conversion refuses any other file that gets this path meanwhile.
    granted.document.checkedDirectory = loader::DirectoryOfChecked(granted.document, granted.file);
    const loader::Assignment assignment = AssignmentFor(product);
    News news(connection);
    StopsWhenAsked stops(connection);
    try {
        const std::string made = loader::Conversion(granted.document, assignment).Run(stops, news);
        if (product == message::Product::kPdf) {
            KeepCacheSmall(made);
        }
        return {.status = 200, .code = "ready"};
    } catch (const loader::Failure& failure) {
        return AnswerFor(failure.Details());
    }
}

}  // namespace vellumo::web::worker
