// SPDX-License-Identifier: Apache-2.0
// Preloaded into the daemon: its time of day is the machine's, plus as many seconds as the number
// in /device/clock-shift says, which may change at any time.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <ctime>

namespace {

const volatile int64_t* Shift() {
    const int file = open("/device/clock-shift", O_RDONLY | O_CLOEXEC);
    void* const place = mmap(nullptr, sizeof(int64_t), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    return place == MAP_FAILED ? nullptr : static_cast<const volatile int64_t*>(place);
}

const volatile int64_t* const shift = Shift();

bool IsTimeOfDay(clockid_t clock) {
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

}  // namespace

// These stand before the C library's own.
extern "C" {

// NOLINTBEGIN(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
__attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const auto result = static_cast<int>(syscall(SYS_clock_gettime, clock, time));
    if (result == 0 && shift != nullptr && IsTimeOfDay(clock)) {
        time->tv_sec += *shift;
    }
    return result;
}

__attribute__((visibility("default"))) int gettimeofday(timeval* time, void* /*zone*/) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, now.tv_nsec / 1000};
    return 0;
}

__attribute__((visibility("default"))) time_t time(time_t* result) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (result != nullptr) {
        *result = now.tv_sec;
    }
    return now.tv_sec;
}
// NOLINTEND(readability-identifier-naming,readability-inconsistent-declaration-parameter-name)
}
