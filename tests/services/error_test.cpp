// The error service as callers meet it: sentences, cut messages, errno
// numbers, and tables of a module's own added and removed, also while other
// threads report.
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "vesk.h"

namespace {

struct Report {
    char buf[256];
    VeskErr err{};
    Report() {
        std::memset(buf, 'x', sizeof buf);
        err.msg = buf;
        err.msgsize = sizeof buf;
    }
};

TEST(ErrorService, IsUpAtLoadAndFormatsTheChosenVariant) {
    ASSERT_NE(_G_error_service_default, nullptr);
    const struct {
        int32_t facility, code;
        uint32_t variant;
        const char *arg1, *arg2;
        const char *text;
    } cases[] = {
        {104, 33281, 1, "/tmp/x", nullptr, "/tmp/x: no such file or directory."},
        {104, 33281, 0, nullptr, nullptr, "No such file or directory."},
        {104, 33281, 3, "/tmp/x", "/a;/b",
         "/tmp/x: the named file or directory not found in the search paths:\n/a;/b\n"},
        {1000, 49218, 3, "_VeskModUnplug", "modules/x",
         "_VeskModUnplug{modules/x}: object is presently too busy to perform a requested "
         "operation."},
        {0, 517, 2, "NuSMutexTrylock", "@mutex",
         "NuSMutexTrylock:@mutex: resource is used [by another process] in a conflicting "
         "manner."},
    };
    for (const auto &c : cases) {
        Report r;
        EXPECT_EQ(VeskMkerr(nullptr, &r.err, 1, 2, 3, c.facility, c.code, 5, c.variant, c.arg1,
                            c.arg2),
                  0);
        EXPECT_STREQ(r.buf, c.text);
        EXPECT_EQ(r.err.variant, c.variant);
        EXPECT_EQ(r.err.info2, 3u);
    }
}

TEST(ErrorService, UnknownCodesAndVariantsLeaveTheMessageEmpty) {
    Report r;
    // 33281 has four rows: variant 4 is one too many.
    EXPECT_EQ(VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 4, "/x"), 0);
    EXPECT_EQ(r.buf[0], '\0');
    EXPECT_EQ(r.err.status, 0x00688201);
    Report unknown;
    EXPECT_EQ(VeskMkerr(nullptr, &unknown.err, 0, 0, 0, 9, 0x7777, 1, 0), -1);
    EXPECT_EQ(unknown.buf[0], '\0');
    EXPECT_EQ(unknown.err.status, (9 << 16) | 0x7777);
    EXPECT_EQ(unknown.err.syserr, 1);
}

TEST(ErrorService, LongMessagesAreCutAndEndedAtEverySize) {
    const std::string full = "/some/path: no such file or directory.";
    for (uint32_t size = 1; size <= full.size() + 2; ++size) {
        Report r;
        r.err.msgsize = size;
        VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/some/path");
        const size_t kept = std::min<size_t>(size - 1, full.size());
        EXPECT_EQ(std::string(r.buf), full.substr(0, kept)) << size;
        EXPECT_EQ(r.buf[size], 'x') << "nothing written past the buffer";
    }
}

// Every code of the library with the errno name it stands for; names this C
// library lacks keep the numbers of the systems that have them.
constexpr struct {
    int32_t code;
    int errnum;
} kErrnoOfCode[] = {
    {257, E2BIG}, {258, EFAULT}, {259, EINVAL}, {260, EINVAL}, {261, EOVERFLOW}, {513, EPERM},
    {514, EACCES}, {515, EDEADLK}, {516, EWOULDBLOCK}, {517, EBUSY}, {518, ENXIO}, {519, EAGAIN},
    {769, EINVAL}, {770, ENXIO}, {771, EINVAL}, {772, EALREADY}, {773, EINVAL}, {1025, ENODEV},
    {1026, ENOSYS}, {1027, ENODEV}, {1028, EOPNOTSUPP}, {1029, ENOTSUP}, {1030, EINPROGRESS},
    {1031, EALREADY}, {1032, ECANCELED}, {1033, EINTR}, {1034, ETIMEDOUT}, {1035, EINVAL},
    {1036, ENODEV}, {1037, EOPNOTSUPP}, {1281, EILSEQ}, {1282, EILSEQ}, {1283, EILSEQ},
    {1284, EOVERFLOW}, {1285, EINVAL}, {1286, EINVAL}, {1287, EINVAL}, {1288, EINVAL},
    {1289, EINVAL}, {1290, EINVAL}, {1291, EINVAL}, {1292, EINVAL}, {1537, 80}, {1538, 81},
    {1793, EDOM}, {1794, ERANGE}, {32769, EINVAL}, {32770, ESRCH}, {32771, ENOEXEC},
    {32772, ECHILD}, {32773, ENOMEM}, {32774, 67}, {32775, EUSERS}, {32776, EDQUOT}, {33025, EIO},
    {33026, ENXIO}, {33027, ENOTBLK}, {33028, ESPIPE}, {33029, ENOTBLK}, {33030, ENOSPC},
    {33281, ENOENT}, {33282, EBADF}, {33283, EBUSY}, {33284, EEXIST}, {33285, EXDEV},
    {33286, ENODEV}, {33287, ENOTDIR}, {33288, EISDIR}, {33289, ENFILE}, {33290, EMFILE},
    {33291, ENOTTY}, {33292, ETXTBSY}, {33293, EFBIG}, {33294, ENOSPC}, {33295, ESPIPE},
    {33296, EROFS}, {33297, EMLINK}, {33298, ELOOP}, {33299, ENAMETOOLONG}, {33300, ENOTEMPTY},
    {33301, ENOLCK}, {33537, ENOTSOCK}, {33538, EDESTADDRREQ}, {33539, EMSGSIZE},
    {33540, EPROTOTYPE}, {33541, ENOPROTOOPT}, {33542, EPROTONOSUPPORT}, {33543, ESOCKTNOSUPPORT},
    {33544, EOPNOTSUPP}, {33545, EPFNOSUPPORT}, {33546, EAFNOSUPPORT}, {33547, EADDRINUSE},
    {33548, EADDRNOTAVAIL}, {33549, ENETDOWN}, {33550, ENETUNREACH}, {33551, ENETRESET},
    {33552, ECONNABORTED}, {33553, ECONNRESET}, {33554, ENOBUFS}, {33555, EISCONN},
    {33556, ENOTCONN}, {33557, ESHUTDOWN}, {33558, ECONNREFUSED}, {33559, EHOSTDOWN},
    {33560, EHOSTUNREACH}, {33561, EPIPE}, {33562, EBADMSG}, {49169, EINVAL}, {49170, ENOENT},
    {49171, ENAMETOOLONG}, {49185, EINVAL}, {49186, ENOENT}, {49187, EEXIST}, {49201, EEXIST},
    {49202, ENOENT}, {49203, ENODEV}, {49204, EISDIR}, {49205, ENOTDIR}, {49206, EINVAL},
    {49207, ENOTEMPTY}, {49208, EINVAL}, {49209, EINVAL}, {49210, EINVAL}, {49211, EINVAL},
    {49212, EINVAL}, {49213, ENOTSUP}, {49214, ENODEV}, {49215, ENODEV}, {49217, EINVAL},
    {49218, EBUSY}, {49219, ENAMETOOLONG}
};

TEST(ErrorService, StatusToUnixGivesEveryCodesErrnoWhateverTheFacility) {
    ASSERT_EQ(std::size(kErrnoOfCode), 131u);
    for (const auto &c : kErrnoOfCode)
        for (int32_t facility : {0, 104, 0x7FFF}) {
            const int64_t status = static_cast<int32_t>((uint32_t(facility) << 16) | c.code);
            EXPECT_EQ(VeskStatus2unix(nullptr, status), c.errnum) << c.code;
        }
    EXPECT_EQ(VeskStatus2unix(nullptr, 0), -1);
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7777), -1);
}

// A module's table: code 0x7701 with two rows, a row that isn't a head (count
// 0) of code 0x7702, then the end row and a row behind it.
struct ModuleTable {
    VeskErrEntry rows[5] = {
        {0x7701, EDOM, "Module failure.", 2, {}},
        {0x7701, EDOM, "%s: module failure.", 0, {}},
        {0x7702, ERANGE, "Never a head.", 0, {}},
        {VESK_ERR_TABLE_END, 0, nullptr, 0, {}},
        {0x7703, EIO, "Behind the end.", 1, {}},
    };
};

std::string sentence(int32_t code, uint32_t variant, const char *arg = "m") {
    Report r;
    VeskMkerr(nullptr, &r.err, 0, 0, 0, 0, code, 0, variant, arg);
    return r.buf;
}

TEST(ErrorService, ModuleTablesComeAndGoWithoutDisturbingTheStockOnes) {
    ModuleTable t;
    EXPECT_EQ(_VeskAddetab(nullptr, 0, t.rows), 0);
    EXPECT_EQ(_VeskAddetab(nullptr, 5, nullptr), 0);
    EXPECT_EQ(sentence(0x7701, 1), "");

    EXPECT_EQ(_VeskAddetab(nullptr, 5, t.rows), 0);  // stops at the end row
    EXPECT_EQ(sentence(0x7701, 1), "m: module failure.");
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7701), EDOM);
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7702), -1) << "a row with count 0 never enters";
    EXPECT_EQ(VeskStatus2unix(nullptr, 0x7703), -1) << "nothing behind the end row";

    // A second table with a code that is there already: both stay in, and
    // removing either one leaves the other answering.
    VeskErrEntry twin[1] = {{0x7701, EIO, "Twin.", 1, {}}};
    EXPECT_EQ(_VeskAddetab(nullptr, 1, twin), 0);
    EXPECT_EQ(_VeskRmetab(nullptr, 5, t.rows), 0);
    EXPECT_EQ(sentence(0x7701, 0), "Twin.");
    EXPECT_EQ(_VeskRmetab_nlk(nullptr, 1, twin), 0);
    EXPECT_EQ(sentence(0x7701, 0), "");
    EXPECT_EQ(_VeskRmetab(nullptr, 1, twin), 0) << "removing what isn't there is harmless";

    EXPECT_EQ(sentence(33281, 1, "/p"), "/p: no such file or directory.");
}

// Depth of `target` in the subtree under `n` (the root is 0), or -1.
int depth_of(const NuRTBTNode *n, const NuRTBTNode *target, int depth = 0) {
    if (n == nullptr)
        return -1;
    if (n == target)
        return depth;
    const int left = depth_of(n->left, target, depth + 1);
    if (left >= 0)
        return left;
    return (n->flags & NU_RTBT_RTHREAD) ? -1 : depth_of(n->right, target, depth + 1);
}

// Tables of one code each, added and removed one by one: whatever rotations
// move them about, a report reads the twin that lies nearest the root.
TEST(ErrorService, ATwinCodeIsReadFromTheRowNearestTheRoot) {
    const VeskOid set = VESK_OID3(3, VESK_ERR_FAMILY, 15);
    auto *svc =
        static_cast<VeskErrService *>(VeskLookupPOD(_G_error_service_default, &set, nullptr));
    ASSERT_NE(svc, nullptr);
    constexpr int kTwins = 6;
    const char *texts[kTwins] = {"Twin 0.", "Twin 1.", "Twin 2.", "Twin 3.", "Twin 4.", "Twin 5."};
    VeskErrEntry twins[kTwins][1];
    for (int i = 0; i < kTwins; ++i)
        twins[i][0] = {0x7701, EIO, texts[i], 1, {}};

    // The sentence of the shallowest twin still in the tree.
    auto nearest = [&](int from, int to) {
        int best = from, best_depth = 1 << 30, at_best = 0;
        for (int i = from; i < to; ++i) {
            const int d = depth_of(svc->tree.root, &twins[i][0].node);
            EXPECT_GE(d, 0) << "twin " << i << " is in the tree";
            if (d >= 0 && d < best_depth) {
                best = i;
                best_depth = d;
                at_best = 0;
            }
            at_best += d == best_depth;
        }
        // Rows of one code lie side by side in order, so their common
        // ancestor is one of them: the shallowest is unique.
        EXPECT_EQ(at_best, 1);
        return std::string(texts[best]);
    };
    for (int i = 0; i < kTwins; ++i) {
        ASSERT_EQ(_VeskAddetab(nullptr, 1, twins[i]), 0);
        EXPECT_EQ(sentence(0x7701, 0), nearest(0, i + 1)) << "after adding " << i;
    }
    for (int i = 0; i + 1 < kTwins; ++i) {
        ASSERT_EQ(_VeskRmetab(nullptr, 1, twins[i]), 0);
        EXPECT_EQ(depth_of(svc->tree.root, &twins[i][0].node), -1);
        EXPECT_EQ(sentence(0x7701, 0), nearest(i + 1, kTwins)) << "after removing " << i;
    }
    ASSERT_EQ(_VeskRmetab(nullptr, 1, twins[kTwins - 1]), 0);
    EXPECT_EQ(sentence(0x7701, 0), "");
}

TEST(ErrorService, TablesChangeWhileOtherThreadsReport) {
    std::atomic<bool> done{false};
    std::vector<std::thread> reporters;
    for (int i = 0; i < 2; ++i)
        reporters.emplace_back([&] {
            while (!done.load(std::memory_order_relaxed)) {
                Report r;
                VeskMkerr(nullptr, &r.err, 0, 0, 0, 104, 33281, 2, 1, "/p");
                ASSERT_STREQ(r.buf, "/p: no such file or directory.");
            }
        });
    ModuleTable t;
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(_VeskAddetab(nullptr, 4, t.rows), 0);
        ASSERT_EQ(_VeskRmetab(nullptr, 4, t.rows), 0);
    }
    done = true;
    for (auto &r : reporters)
        r.join();
}

}  // namespace
