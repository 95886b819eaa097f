// SPDX-License-Identifier: Apache-2.0
#include "status/Health.h"

#include "loader/cache/KeptProducts.h"
#include "loader/pool/Readiness.h"

namespace vellumo::daemon {
namespace {

constexpr auto kServesFor = std::chrono::minutes(1);
constexpr const char* kSample = "report.odt";
constexpr WorkerLimits kLimits{0, std::chrono::minutes(3)};

// With its wait for a container: whoever asks for the health does not wait for ever.
constexpr double kPatienceSeconds = 120;

}  // namespace

std::optional<Json::Value> Health::Ask() {
    if (IsRunning()) {
        return std::nullopt;
    }
    if (_ended && Clock::now() - *_ended < kServesFor) {
        return _last;
    }
    Begin();
    return IsRunning() ? std::nullopt : std::optional(_last);
}

void Health::Begin() {
    try {
        loader::CheckServer("");
        loader::CheckPool("", NAVO::VELLUMO::ContainerPoolManager::PRIORITY_HIGH);
        _folder = std::make_unique<loader::CanaryFolder>(VELLUMO_CANARIES,
                                                         std::vector<std::string>{kSample});
        Item item{_folder->RealPath() + "/" + kSample, loader::Products::kPdf, Lane::kNow};
        _job = std::make_unique<DocumentJob>(std::move(item), _folder->SharePath() + "/" + kSample,
                                             kLimits);
        _job->Start();
    } catch (const loader::Failure& failure) {
        End(false, failure.Details().why, 0);
    } catch (const std::exception& error) {
        End(false, error.what(), 0);
    }
}

void Health::Step() {
    if (!IsRunning()) {
        return;
    }
    if (_job->Seconds() > kPatienceSeconds) {
        _job->Stop();
    }
    if (const auto outcome = _job->Look()) {
        const bool isHealthy = *outcome == Outcome::kDone;
        const std::string why = _job->Why() ? _job->Why()->why : "no PDF was made";
        End(isHealthy, isHealthy ? "" : why, _job->Seconds());
    }
}

void Health::Stop() {
    if (IsRunning()) {
        _job->Stop();
    }
}

void Health::End(bool isHealthy, const std::string& why, double seconds) {
    RemoveProduct();
    _job.reset();
    _folder.reset();
    _ended = Clock::now();
    _last = Json::Value(Json::objectValue);
    _last["healthy"] = isHealthy;
    _last["why"] = why;
    _last["seconds"] = seconds;
    _last["time"] =
        Json::Int64{std::chrono::system_clock::to_time_t(std::chrono::system_clock::now())};
}

void Health::RemoveProduct() const {
    if (!_job) {
        return;
    }
    loader::Document document{};
    document.realPath = _job->What().realPath;
    try {
        loader::KeptProducts(document).RemoveAll(*loader::OpenCache(""));
    } catch (const loader::Failure&) {
        // The nightly sweep removes it.
    }
}

}  // namespace vellumo::daemon
