// SPDX-License-Identifier: MIT
// Calendar functions over the library's time value, microseconds since 1970.
// The whole seconds go through the C library; the microseconds ride along in
// the text and in the records.
#include <cerrno>
#include <cstring>

#include "time.hpp"
#include "time_platform.hpp"

using namespace vesk::os;

namespace {

constexpr int64_t kMicrosPerSecond = 1'000'000;

// Valid until the same thread's next call without a buffer of its own.
thread_local char ctime_text[NU_CTIME_BUFSIZE];
thread_local NuTm gmtime_record;
thread_local NuTm localtime_record;

// Whole seconds and the microseconds after them, so that a time before 1970
// still has microseconds from 0 to 999999.
struct Split {
    time_t seconds;
    int32_t micros;
};

Split split(NuTimevalue value) {
    time_t seconds = value / kMicrosPerSecond;
    int64_t micros = value % kMicrosPerSecond;
    if (micros < 0) {
        micros += kMicrosPerSecond;
        --seconds;
    }
    return {seconds, static_cast<int32_t>(micros)};
}

// The caller's time, or now. A failing clock has been reported.
bool time_or_now(const NuTimevalue *time, NuTimevalue &value, VeskErr *err) {
    if (time != nullptr) {
        value = *time;
        return true;
    }
    value = NuTime(nullptr, err);
    return value != -1;
}

// The C library refused: its errno goes into the message, as with the
// calendar functions of no particular family.
void report_calendar_failure(VeskErr *err) {
    const int errnum = errno;
    report(err, VESK_FAC_NONE, VESK_E_SYSTEM, 0, 1, errnum);
}

// "Www Mmm dd hh:mm:ss" has a fixed width; the year behind it may be
// shorter than four digits, so the microseconds go in at this index and the
// rest of the text follows them.
constexpr size_t kSecondsEnd = 19;

void insert_micros(const char *text, int32_t micros, char *out) {
    std::memcpy(out, text, kSecondsEnd);
    out[kSecondsEnd] = ':';
    for (size_t i = kSecondsEnd + 6; i > kSecondsEnd; --i, micros /= 10)
        out[i] = static_cast<char>('0' + micros % 10);
    std::strcpy(out + kSecondsEnd + 7, text + kSecondsEnd);
}

template <bool (*Fields)(time_t, tm &)>
NuTm *broken_down(const NuTimevalue *time, NuTm *record, NuTm &own, VeskErr *err) {
    NuTimevalue value;
    if (!time_or_now(time, value, err))
        return nullptr;
    if (record == nullptr)
        record = &own;
    const Split s = split(value);
    if (!Fields(s.seconds, record->tm)) {
        report_calendar_failure(err);
        return nullptr;
    }
    record->tm_usec = s.micros;
    return record;
}

template <bool (*Seconds)(tm &, time_t &)>
NuTimevalue compose(NuTm *record, const char *function, VeskErr *err) {
    if (record == nullptr) {
        report(err, VESK_FAC_NONE, VESK_E_FAULT, 0, 2, function, "@time");
        return -1;
    }
    time_t seconds;
    if (!Seconds(record->tm, seconds)) {
        report_calendar_failure(err);
        return -1;
    }
    NuTimevalue value;
    if (__builtin_mul_overflow(seconds, kMicrosPerSecond, &value) ||
        __builtin_add_overflow(value, record->tm_usec, &value)) {
        errno = EOVERFLOW;
        report_calendar_failure(err);
        return -1;
    }
    return value;
}

}  // namespace

extern "C" {

VESK_API char *NuCtime(const NuTimevalue *time, char *buffer, VeskErr *err) {
    NuTimevalue value;
    if (!time_or_now(time, value, err))
        return nullptr;
    const Split s = split(value);
    char text[platform::kCtimeTextSize];
    if (!platform::local_text(s.seconds, text)) {
        report_calendar_failure(err);
        return nullptr;
    }
    if (buffer == nullptr)
        buffer = ctime_text;
    insert_micros(text, s.micros, buffer);
    return buffer;
}

VESK_API NuTm *NuGmtime(const NuTimevalue *time, NuTm *record, VeskErr *err) {
    return broken_down<platform::utc_fields>(time, record, gmtime_record, err);
}

VESK_API NuTm *NuLocaltime(const NuTimevalue *time, NuTm *record, VeskErr *err) {
    return broken_down<platform::local_fields>(time, record, localtime_record, err);
}

VESK_API NuTimevalue NuMkgmtime(NuTm *record, VeskErr *err) {
    return compose<platform::utc_seconds>(record, "NuMkgmtime", err);
}

VESK_API NuTimevalue NuMklocaltime(NuTm *record, VeskErr *err) {
    return compose<platform::local_seconds>(record, "NuMklocaltime", err);
}

}  // extern "C"
