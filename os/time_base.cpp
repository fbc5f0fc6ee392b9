// SPDX-License-Identifier: MIT
// The library's time base: the calibration and the anchored wall clock over
// the platform's counter and clock, and the entry points that read them.
#include <cerrno>

#include "time.hpp"
#include "time_base.hpp"
#include "time_platform.hpp"

namespace vesk::os {

namespace {

struct PlatformSource {
    static bool frequency(uint64_t &hz) { return platform::counter_frequency(hz); }
    static bool counter(uint64_t &ticks) { return platform::counter_read(ticks); }
    static int wall(timeval &tv) { return platform::wall_clock(tv); }
    // All of it: a signal must not shorten the calibration's measurement.
    static void sleep_ms(uint64_t ms) {
        timespec request{static_cast<time_t>(ms / 1000), static_cast<long>(ms % 1000) * 1'000'000};
        timespec left{};
        while (platform::sleep_for(request, left) == EINTR)
            request = left;
    }
};

PlatformSource source;
TimeBase base;
CalibrationOnce calibration;
AnchoredClock<PlatformSource> anchored_clock;

[[gnu::cold, gnu::noinline]] int32_t calibrate_once() {
    return calibration.run([] { return calibrate(source, base); });
}

inline const TimeBase &time_base() {
    if (!calibration.done()) [[unlikely]]
        calibrate_once();
    return base;
}

// The start-up record of order 1. A clock used before the start chain runs
// calibrates itself on first use; the record then finds the work done and
// gives the same result.
int32_t start_calibration(uintptr_t) { return calibrate_once(); }

VeskStartRec calibration_record = {
    VESK_START_MAGIC, 1, start_calibration, 0, nullptr, 0, {}, nullptr, nullptr,
};

// The wall clock behind NuGettimeofday: 0, or the errno value of the
// platform's clock.
int wall_time(timeval &tv) { return anchored_clock.read(source, time_base(), tv); }

}  // namespace

VESK_START_AT_LOAD(register_calibration, &calibration_record)

}  // namespace vesk::os

using namespace vesk::os;

extern "C" {

VESK_API int64_t NuGettimeofday(struct timeval *tv, VeskErr *err) {
    if (tv == nullptr)
        return refuse(err, VESK_FAC_TIME, VESK_E_FAULT, EFAULT, "NuGettimeofday", "@buffer");
    if (const int e = wall_time(*tv)) {
        errno = e;
        report(err, VESK_FAC_TIME, VESK_E_SYSTEM, e, 0);
        return -1;
    }
    return 0;
}

VESK_API NuTimevalue NuTime(NuTimevalue *out, VeskErr *err) {
    timeval tv;
    if (NuGettimeofday(&tv, err) != 0)
        return -1;
    const NuTimevalue value = NuTimevalue{tv.tv_sec} * 1'000'000 + tv.tv_usec;
    if (out != nullptr)
        *out = value;
    return value;
}

VESK_API uint64_t NuTick(void) {
    const TimeBase &b = time_base();
    return AnchoredClock<PlatformSource>::counter(source, b) - b.tick_base;
}

VESK_API uint64_t NuTickpersec(void) { return time_base().per_sec; }
VESK_API uint64_t NuTickpermsec(void) { return time_base().per_msec; }
VESK_API uint64_t NuTickperusec(void) { return time_base().per_usec; }

}  // extern "C"
