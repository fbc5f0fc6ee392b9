// SPDX-License-Identifier: MIT
// Names of log messages: the eight syslog levels and the ten standard
// attributes, each known by its place and by its mask.
#include <array>
#include <cstring>

#include "services/logmsg.hpp"

namespace vesk::svc::logmsg {

const char *const kStdKeys[VESK_LOGMSG_NSTD] = {
    "Ident", "Facility", "Time", "Host", "Sender", "PID", "UID", "GID", "Level", "Message",
};

namespace {

constexpr uint16_t kStdMasks[VESK_LOGMSG_NSTD] = {
    VESK_LOGATTR_IDENT, VESK_LOGATTR_FACILITY, VESK_LOGATTR_TIME,  VESK_LOGATTR_HOST,
    VESK_LOGATTR_SENDER, VESK_LOGATTR_PID,     VESK_LOGATTR_UID,   VESK_LOGATTR_GID,
    VESK_LOGATTR_LEVEL, VESK_LOGATTR_MESSAGE,
};

const char *const kLevels[] = {"Emergency", "Alert",  "Critical", "Error",
                               "Warning",   "Notice", "Info",     "Debug"};

// The ten keys begin with ten different bytes, so the first byte names the
// only place worth comparing: a lookup costs one table read and one strcmp,
// wherever the key stands in the order. Entries hold place + 1; 0 is none.
constexpr std::array<uint8_t, 256> kByFirstByte = [] {
    std::array<uint8_t, 256> table{};
    const char first[VESK_LOGMSG_NSTD] = {'I', 'F', 'T', 'H', 'S', 'P', 'U', 'G', 'L', 'M'};
    for (int i = 0; i < VESK_LOGMSG_NSTD; ++i)
        table[static_cast<unsigned char>(first[i])] = static_cast<uint8_t>(i + 1);
    return table;
}();

}  // namespace

int std_place(const char *key) {
    const int place = kByFirstByte[static_cast<unsigned char>(key[0])] - 1;
    if (place < 0 || std::strcmp(key + 1, kStdKeys[place] + 1) != 0)
        return -1;
    return place;
}

}  // namespace vesk::svc::logmsg

using namespace vesk::svc::logmsg;

extern "C" {

VESK_API const char *VeskLogLevelname(int32_t level) {
    if (level < 0 || level >= static_cast<int32_t>(std::size(kLevels)))
        return "";
    return kLevels[level];
}

VESK_API const char *VeskLogStdattrname(uint16_t mask) {
    for (int i = 0; i < VESK_LOGMSG_NSTD; ++i)
        if (kStdMasks[i] == mask)
            return kStdKeys[i];
    return "";
}

}  // extern "C"
