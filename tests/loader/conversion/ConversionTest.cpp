// SPDX-License-Identifier: Apache-2.0
#include "loader/conversion/Conversion.h"

#include <fcntl.h>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <optional>

#include "Device.h"
#include "StateFile.h"
#include "loader/Problem.h"
#include "loader/cache/KeptProducts.h"
#include "support/Descriptor.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;
using Service = Assignment::Service;
using testing::Contains;
using testing::IsEmpty;

// Requests a stop when it is pressed.
class Button final : public StopRequests {
public:
    void Press() const {
        const uint64_t one = 1;
        EXPECT_EQ(write(_event.Get(), &one, sizeof one), ssize_t{sizeof one});
    }
    int WaitOn() const override { return _event.Get(); }
    bool Take() override {
        uint64_t count = 0;
        return read(_event.Get(), &count, sizeof count) > 0;
    }

private:
    support::Descriptor _event{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

// Records the phases, and calls `onPhase` when one begins.
class Notes final : public Listener {
public:
    explicit Notes(std::function<void(Phase)> onPhase = [](Phase) {})
        : _onPhase(std::move(onPhase)) {}

    bool WantsObstacles() const override { return true; }
    void Report(Phase phase, const std::string& obstacle) override {
        if (phases.empty() || phases.back() != phase) {
            phases.push_back(phase);
            _onPhase(phase);
        }
        if (!obstacle.empty()) {
            lastObstacle = obstacle;
        }
    }

    std::vector<Phase> phases;
    std::string lastObstacle;

private:
    std::function<void(Phase)> _onPhase;
};

class Conversions : public DeviceTest {
protected:
    Conversions() { WriteFile("/volume1/docs/a.odt", "the document"); }

    // The reason why the conversion failed; nothing if it succeeded, with the product's path in
    // _product.
    std::optional<Reason> Convert(const Assignment& assignment, Listener& listener) {
        const Document document = Resolve("/docs/a.odt", "root");
        Conversion conversion(document, assignment);
        try {
            _product = conversion.Run(_button, listener);
            _wasThere = Exists(_product);
        } catch (const Failure& failure) {
            _problem = failure.Details();
            return _problem->reason;
        }
        return std::nullopt;
    }
    std::optional<Reason> Convert(const Assignment& assignment) {
        Notes notes;
        return Convert(assignment, notes);
    }
    static void ExpectNothingLeft() {
        EXPECT_THAT(ScratchFiles(), IsEmpty());
        EXPECT_EQ(State()["navo1"]["using"], 0);
        EXPECT_EQ(State()["navo2"]["using"], 0);
    }

    Button _button;
    std::string _product;
    bool _wasThere = false;
    std::optional<Problem> _problem;
};

TEST_F(Conversions, KeepTheirProductInTheScratchDirectoryWhileTheyLive) {
    EXPECT_EQ(Convert({Service::kPdf}), std::nullopt);
    EXPECT_TRUE(_wasThere) << _product;
    EXPECT_THAT(_product, testing::StartsWith(kTargetDir));
    ExpectNothingLeft();
}

TEST_F(Conversions, KeepTheirProductForTheDocument) {
    for (const Service service : {Service::kCachedPdf, Service::kThumbnail}) {
        EXPECT_EQ(Convert({service}), std::nullopt);
        const Document document = Resolve("/docs/a.odt", "root");
        EXPECT_EQ(_product, KeptProducts(document).PathOf(Assignment{service}.Stream()));
        EXPECT_TRUE(Exists(_product));
        ExpectNothingLeft();
    }
}

TEST_F(Conversions, FailWithTheReasonAndTheNameOfTheTool) {
    PlayTool({.productSize = -1});
    EXPECT_EQ(Convert({Service::kPdf}), Reason::kToolFailed);
    EXPECT_THAT(_problem->why, testing::HasSubstr("soffice"));
    PlayTool({.exitStatus = 124});
    EXPECT_EQ(Convert({Service::kPdf}), Reason::kTimeLimit);
    EXPECT_EQ(Convert({Service::kThumbnail}), Reason::kTimeLimit);
    EXPECT_THAT(_problem->why, testing::HasSubstr("unoconv or convert"));
    ExpectNothingLeft();
}

TEST_F(Conversions, ReportWhatTheyWaitForAndEndAtTheirTurnOnceStopped) {
    WriteState(R"({"navo1": {"using": 1, "used": 1}, "navo2": {"using": 1, "used": 1}})");
    Notes notes([this](Phase phase) {
        if (phase == Phase::kWaiting) {
            _button.Press();
        } else if (phase == Phase::kGivingUp) {
            WriteState(R"({"navo1": {"using": 0, "used": 1}, "navo2": {"using": 0, "used": 1}})");
        }
    });
    EXPECT_EQ(Convert({Service::kPdf}, notes), Reason::kInterrupted);
    EXPECT_EQ(notes.phases.front(), Phase::kWaiting);
    EXPECT_EQ(notes.lastObstacle, "2 of 2 containers busy");
    ExpectNothingLeft();
}

TEST_F(Conversions, EndTheirToolWhenTheyAreStopped) {
    PlayTool({.sleepMs = 600'000});
    Notes notes([this](Phase phase) {
        if (phase == Phase::kTool) {
            _button.Press();
        }
    });
    EXPECT_EQ(Convert({Service::kPdf}, notes), Reason::kInterrupted);
    EXPECT_THAT(notes.phases, Contains(Phase::kGivingUp));
    ExpectNothingLeft();
}

TEST_F(Conversions, LeaveNoMarkOfAFailureWhenTheyAreStopped) {
    PlayTool({.sleepMs = 600'000});
    Notes notes([this](Phase phase) {
        if (phase == Phase::kTool) {
            _button.Press();
        }
    });
    EXPECT_EQ(Convert({Service::kThumbnail}, notes), Reason::kInterrupted);
    const Document document = Resolve("/docs/a.odt", "root");
    EXPECT_FALSE(KeptProducts(document).ThumbnailHasFailed());
    ExpectNothingLeft();
}

TEST_F(Conversions, RemoveTheProductsOfAnEarlierVersionOfTheDocument) {
    EXPECT_EQ(Convert({Service::kCachedPdf}), std::nullopt);
    const timespec longAgo[2] = {{1'000'000'000, 0}, {1'000'000'000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, "/volume1/docs/a.odt", longAgo, 0), 0);
    PlayTool({.productSize = -1});
    EXPECT_EQ(Convert({Service::kCachedPdf}), Reason::kToolFailed);
    EXPECT_FALSE(Exists(_product));
}

}  // namespace
}  // namespace vellumo::loader
