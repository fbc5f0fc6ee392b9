// SPDX-License-Identifier: MIT
// Loading modules from real shared objects (built by the test build into
// VESK_TEST_PLUGIN_DIR): the search, the key check, dependencies, repeated
// and refused requests, unloading, and the environment read once.
#include <gtest/gtest.h>

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "support/status.hpp"
#include "vesk.h"

namespace fs = std::filesystem;
using vesk_test::expect_in_fresh_process;
using vesk_test::expect_report;
using vesk_test::Status;

namespace {

const char *const kDir = VESK_TEST_PLUGIN_DIR;
const char *const kDirs[] = {kDir};

std::string plugin(const std::string &file) { return std::string(kDir) + "/" + file + ".so"; }

int64_t load(const char *name, VeskErr *e = nullptr) { return VeskMldLoad(name, kDirs, 1, 1, e); }

VeskModule *module_of(uint16_t id) { return _VeskVgetmodule(id, -1); }
bool requested(const VeskModule *m) { return (m->rec.state & VESK_ST_LOADHELD) != 0; }

void expect_rt(const Status &s, int32_t code, int32_t syserr, uint32_t variant, const std::string &text) {
    expect_report(s.err, VESK_FAC_RUNTIME, code, syserr, variant, text.c_str());
}

// Each test leaves no module of its own loaded.
class Loader : public ::testing::Test {
protected:
    void TearDown() override {
        for (const char *key : {"lddeps", "ldopt", "ldplain", "SO", "zekldz"})
            if (VeskMldIsloaded(key, nullptr) == 1)
                EXPECT_GE(VeskMldUnload(key, nullptr), 0) << key;
    }
};

TEST_F(Loader, BuiltInModuleIsFoundByKeyWithoutAFile) {
    // Not a file anywhere, and an absolute one at that: the key comes first.
    for (const char *request : {"ccsi", "ab.ccsi", "/no/such/dir/x.ccsi.so"}) {
        Status s;
        EXPECT_EQ(VeskMldLoad(request, nullptr, 0, 1, &s.err), 0) << request;
    }
    const VeskOid key = VESK_OID2(5, 9);
    auto *ccsi = static_cast<VeskModule *>(_VeskGetcobject(&key, nullptr));
    ASSERT_NE(ccsi, nullptr);
    EXPECT_TRUE(requested(ccsi));
    EXPECT_EQ(ccsi->loads, 1u) << "a repeated request takes its count back";
}

TEST_F(Loader, LoadsCallsAndUnloadsAPlainModule) {
    Status s;
    ASSERT_EQ(load("ldplain", &s.err), 1) << s.buf;
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 1);
    VeskModule *m = module_of(961);
    ASSERT_NE(m, nullptr);
    EXPECT_TRUE(requested(m));
    EXPECT_NE(m->handle, nullptr);
    EXPECT_EQ(m->rec.state & 0x7u, 0x7u);

    const VeskOid cls_key = VESK_OID2(4, 961), op = {2, 4, {3, 961, 0, 0, 0, 0}};
    void *cls = VeskGetcobject(&cls_key, nullptr);
    ASSERT_NE(cls, nullptr);
    VeskClosure cl;
    VeskOprow *row = VeskLookupop(cls, &op, &cl, nullptr);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(reinterpret_cast<int64_t (*)(VeskClosure *, VeskErr *)>(row->fn)(&cl, nullptr), 961);
    EXPECT_EQ(VeskEndcobject(cls, nullptr), 0);

    EXPECT_EQ(load("ldplain.so"), 0) << "found by key";
    EXPECT_EQ(m->loads, 1u);
    EXPECT_EQ(VeskMldUnload("ldplain", &s.err), 0) << s.buf;
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 0);
    EXPECT_EQ(module_of(961), nullptr);
}

TEST_F(Loader, AbsoluteRequestIsOpenedAsItStandsAndNotReopened) {
    const fs::path dir = fs::temp_directory_path() / ("vesk-ld-" + std::to_string(getpid()));
    fs::create_directories(dir);
    const fs::path copy = dir / "a.ldplain.so";
    fs::copy_file(plugin("ldplain"), copy, fs::copy_options::overwrite_existing);
    const std::string request = (dir / "a.ldplain").string();
    EXPECT_EQ(VeskMldLoad(request.c_str(), nullptr, 0, 0, nullptr), 1);
    fs::remove_all(dir);  // the second request must not need the file
    EXPECT_EQ(VeskMldLoad(request.c_str(), nullptr, 0, 0, nullptr), 0);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 1);

    // An absolute request is not looked for in dirs, where the file is.
    ASSERT_EQ(VeskMldUnload("ldplain", nullptr), 0);
    Status s;
    EXPECT_EQ(VeskMldLoad("/no/such/dir/ldplain", kDirs, 1, 0, &s.err), -1);
    expect_rt(s, VESK_E_NOENT, ENOENT, 1, "/no/such/dir/ldplain.so: no such file or directory.");
}

TEST_F(Loader, FileNamesAndKeys) {
    // An upper-case tail is no module tail: "x.SO" is the file "x.SO.so" of key "SO".
    EXPECT_EQ(load("x.SO"), 1);
    EXPECT_EQ(VeskMldIsloaded("SO", nullptr), 1);
    EXPECT_EQ(load("zekab.ldz"), 1);
    EXPECT_EQ(VeskMldIsloaded("zekab.ldz", nullptr), 1) << "zek carries over to the key";
    EXPECT_EQ(VeskMldIsloaded("zekldz", nullptr), 1);
    // Directories of the request go with the file; the key ignores them.
    const std::string up = std::string("../") + fs::path(kDir).filename().string() + "/ldplain";
    EXPECT_EQ(load(up.c_str()), 1);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 1);
    EXPECT_EQ(VeskMldIsloaded("sub/dir/ldplain", nullptr), 0) << "asking takes names, not requests";
}

TEST_F(Loader, SearchFailures) {
    struct Case {
        std::string request;
        const char *const *dirs;
        uint32_t ndirs;
        int32_t code, syserr;
        uint32_t variant;
        std::string text;
    } cases[] = {
        // nodefault with no directories: nothing is searched.
        {"ldplain", nullptr, 0, VESK_E_NOENT, ENOENT, 2,
         "ldplain: the named file or directory not found."},
        // A record whose key isn't the file's, a file without a record: a
        // search passes them over, an absolute request names them.
        {"ldwrong", kDirs, 1, VESK_E_NOENT, ENOENT, 2,
         "ldwrong: the named file or directory not found."},
        {plugin("ldwrong"), nullptr, 0, VESK_E_NOEXEC, ENOEXEC, 1,
         plugin("ldwrong") +
             ": the file is not in the format required by the implementation for executable files."},
        {plugin("ldnosym"), nullptr, 0, VESK_E_NOEXEC, ENOEXEC, 1,
         plugin("ldnosym") +
             ": the file is not in the format required by the implementation for executable files."},
    };
    for (const Case &c : cases) {
        Status s;
        EXPECT_EQ(VeskMldLoad(c.request.c_str(), c.dirs, c.ndirs, 1, &s.err), -1) << c.request;
        expect_rt(s, c.code, c.syserr, c.variant, c.text);
    }
    EXPECT_EQ(VeskMldIsloaded("ldright", nullptr), 0);
    EXPECT_EQ(VeskMldIsloaded("ldnosym", nullptr), 0);
}

TEST_F(Loader, DependenciesWithAlternativesGoWithTheirUser) {
    ASSERT_EQ(load("lddeps"), 1);
    VeskModule *plain = module_of(961), *deps = module_of(962);
    ASSERT_NE(plain, nullptr) << "the alternative was loaded";
    EXPECT_FALSE(requested(plain)) << "only the request is held";
    EXPECT_TRUE(requested(deps));
    ASSERT_EQ(deps->uses.count, 1u);
    EXPECT_EQ(deps->uses.storage[0], plain);

    Status s;
    EXPECT_EQ(VeskMldUnload("ldplain", &s.err), -1) << "in use";
    expect_rt(s, VESK_E_TOOBUSY, 0, 3,
              "_VeskModUnplug{modules/probe}: object is presently too busy to perform a requested "
              "operation.");
    EXPECT_EQ(VeskMldUnload("lddeps", nullptr), 0);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 0) << "gone with its last user";
}

TEST_F(Loader, OptionalDependencyMayBeMissingARequiredOneMayNot) {
    Status s;
    EXPECT_EQ(load("ldopt", &s.err), 1);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 1);
    EXPECT_EQ(VeskMldUnload("ldopt", nullptr), 0);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 0);

    EXPECT_EQ(load("ldneed", &s.err), -1);
    expect_rt(s, VESK_E_NOENT, ENOENT, 2, "ldmissing: the named file or directory not found.");
    EXPECT_EQ(VeskMldIsloaded("ldneed", nullptr), 0) << "dropped again";
}

TEST_F(Loader, RequestingADependencyKeepsItAfterItsUser) {
    ASSERT_EQ(load("lddeps"), 1);
    EXPECT_EQ(load("ldplain"), 0);
    EXPECT_TRUE(requested(module_of(961)));
    EXPECT_EQ(VeskMldUnload("lddeps", nullptr), 0);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 1);
}

TEST_F(Loader, ADependencyCycleLoadsOnce) {
    expect_in_fresh_process([] {
        CHILD_CHECK(load("ldcyca") == 1);
        CHILD_CHECK(VeskMldIsloaded("ldcycb", nullptr) == 1);
        VeskModule *a = module_of(965), *b = module_of(966);
        CHILD_CHECK(a->loads == 1 && b->loads == 1);
        // Each uses the other, so neither may go.
        CHILD_CHECK(VeskMldUnload("ldcyca", nullptr) == -1);
        CHILD_CHECK(VeskMldIsloaded("ldcyca", nullptr) == 1 && requested(a));
    });
}

TEST_F(Loader, Load1LeavesDependenciesAlone) {
    EXPECT_EQ(VeskMldLoad1("ldopt", kDirs, 1, 1, nullptr), 1);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 0);
    EXPECT_EQ(module_of(963)->uses.count, 0u);
    EXPECT_EQ(VeskMldLoad1("ldopt", kDirs, 1, 1, nullptr), 0);
    EXPECT_EQ(VeskMldUnload("ldopt", nullptr), 0);
}

TEST_F(Loader, BusyAndBuiltInModulesRefuseToGo) {
    ASSERT_EQ(load("ldplain"), 1);
    const VeskOid cls_key = VESK_OID2(4, 961);
    void *cls = _VeskGetcobject(&cls_key, nullptr);
    void *obj = VeskAlloc(cls, 0, nullptr, 0, nullptr);
    ASSERT_NE(obj, nullptr);
    ASSERT_GE(VeskInit(obj, nullptr, 0, nullptr), 0);
    Status s;
    EXPECT_EQ(VeskMldUnload("ldplain", &s.err), -1);
    expect_rt(s, VESK_E_TOOBUSY, 0, 3,
              "_VeskModUnplug{objects/Probe}: object is presently too busy to perform a requested "
              "operation.");
    EXPECT_TRUE(requested(module_of(961))) << "still requested";
    EXPECT_EQ(VeskRelease(obj, 0, nullptr), 0);
    EXPECT_EQ(VeskMldUnload("ldplain", nullptr), 0);

    Status b;
    EXPECT_EQ(VeskMldUnload("ccsi", &b.err), -1);
    expect_report(b.err, VESK_FAC_RUNTIME, VESK_E_WRONGSTATE, EINVAL, 2);
    EXPECT_EQ(VeskMldIsloaded("ccsi", nullptr), 1);
    EXPECT_EQ(VeskCcsiGetidbyname(nullptr, "utf-8", nullptr), 106) << "still working";

    Status n;
    EXPECT_EQ(VeskMldUnload("ab.ldnothere", &n.err), -1);
    expect_report(n.err, VESK_FAC_RUNTIME, VESK_E_NOTREADY, 0, 1);
}

TEST(LoaderArguments, BadRequestsAreReported) {
    const std::string long_name(300, 'a'), huge(5000, 'b');
    const std::string fault = ": the argument points outside an allocated address space of the process.";
    struct Case {
        std::string label;
        int64_t (*call)(const char *, VeskErr *);
        const char *name;
        int32_t code, syserr;
        uint32_t variant;
        std::string text;
    } cases[] = {
        {"load null", [](const char *n, VeskErr *e) { return VeskMldLoad(n, nullptr, 0, 1, e); },
         nullptr, VESK_E_FAULT, EFAULT, 3, "vesk-runtime:VeskMldLoad(@module-name)" + fault},
        {"load1 empty", [](const char *n, VeskErr *e) { return VeskMldLoad1(n, nullptr, 0, 1, e); },
         "", VESK_E_INVAL, EINVAL, 3, "vesk-runtime:VeskMldLoad1(@module-name): invalid argument."},
        {"load long file name",
         [](const char *n, VeskErr *e) { return VeskMldLoad(n, nullptr, 0, 1, e); },
         long_name.c_str(), VESK_E_NAMETOOLONG, ENAMETOOLONG, 1,
         long_name + ": a file name [path component] exceeded {NAME_MAX} characters."},
        {"load huge path", [](const char *n, VeskErr *e) { return VeskMldLoad(n, nullptr, 0, 1, e); },
         huge.c_str(), VESK_E_NAMETOOLONG, ENAMETOOLONG, 3,
         huge.substr(0, 200)},
        {"isloaded null", VeskMldIsloaded, nullptr, VESK_E_FAULT, EFAULT, 3,
         "vesk-runtime:VeskMldIsloaded(@module-name)" + fault},
        {"isloaded long key", VeskMldIsloaded, long_name.c_str(), VESK_E_BUFSMALL, EOVERFLOW, 3,
         "vesk-runtime:VeskMldIsloaded(" + long_name.substr(0, 180)},
        {"unload empty", VeskMldUnload, "", VESK_E_INVAL, EINVAL, 3,
         "vesk-runtime:VeskMldUnload(@module-name): invalid argument."},
        {"unload key null", _VeskMldUnload, nullptr, VESK_E_FAULT, EFAULT, 3,
         "vesk-runtime:_VeskMldUnload(@module-name)" + fault},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.label);
        Status s;
        EXPECT_EQ(c.call(c.name, &s.err), -1);
        expect_report(s.err, VESK_FAC_RUNTIME, c.code, c.syserr, c.variant);
        // Long texts are cut to the caller's buffer: compare what fits.
        EXPECT_EQ(std::string(s.buf).substr(0, c.text.size()), c.text.substr(0, sizeof s.buf - 1));
    }
    Status d;
    EXPECT_EQ(VeskMldLoad("ldplain", nullptr, 2, 1, &d.err), -1) << "dirs missing";
    expect_report(d.err, VESK_FAC_RUNTIME, VESK_E_FAULT, EFAULT, 3);
    const char *holes[] = {nullptr, "", "/nonexistent"};
    EXPECT_EQ(VeskMldLoad("ldplain", holes, 3, 1, nullptr), -1) << "null and empty entries pass";
}

// The environment is read once, at the first search that reaches it.
TEST(LoaderEnvironment, ModulePathIsReadOnce) {
    expect_in_fresh_process([] {
        setenv("VESK_MODULE_PATH", (std::string("/nonexistent;\"") + kDir + "\":/x").c_str(), 1);
        CHILD_CHECK(VeskMldLoad("ldplain", nullptr, 0, 0, nullptr) == 1);
        CHILD_CHECK(VeskMldUnload("ldplain", nullptr) == 0);
        unsetenv("VESK_MODULE_PATH");
        CHILD_CHECK(VeskMldLoad("ldplain", nullptr, 0, 0, nullptr) == 1);
    });
    expect_in_fresh_process([] {
        unsetenv("VESK_MODULE_PATH");
        CHILD_CHECK(VeskMldLoad("ldplain", nullptr, 0, 0, nullptr) == -1);
        setenv("VESK_MODULE_PATH", kDir, 1);
        CHILD_CHECK(VeskMldLoad("ldplain", nullptr, 0, 0, nullptr) == -1);
    });
}

TEST(LoaderEnvironment, HomeIsReadOnce) {
    const fs::path home = fs::temp_directory_path() / ("vesk-home-" + std::to_string(getpid()));
    fs::create_directories(home / "opt/vesk/modules");
    fs::copy_file(plugin("ldplain"), home / "opt/vesk/modules/ldplain.so",
                  fs::copy_options::overwrite_existing);
    expect_in_fresh_process([&] {
        unsetenv("VESK_MODULE_PATH");
        setenv("HOME", home.c_str(), 1);
        CHILD_CHECK(VeskMldLoad("ldplain", nullptr, 0, 0, nullptr) == 1);
        CHILD_CHECK(VeskMldUnload("ldplain", nullptr) == 0);
        setenv("HOME", "/nonexistent", 1);
        CHILD_CHECK(VeskMldLoad("ldplain", nullptr, 0, 0, nullptr) == 1);
    });
    fs::remove_all(home);
}

// Loads and unloads on one thread while others look the module's class up,
// call it and hold it: an unload refused while a hold is open, no race.
TEST(LoaderThreads, LoadAndUnloadRaceLookupsAndCalls) {
    std::atomic<bool> stop{false};
    std::atomic<int> calls{0}, wrong{0};
    auto caller = [&] {
        const VeskOid cls_key = VESK_OID2(4, 961), op = {2, 4, {3, 961, 0, 0, 0, 0}};
        while (!stop.load()) {
            void *cls = VeskGetcobject(&cls_key, nullptr);
            if (cls == nullptr) {
                EXPECT_GE(VeskMldIsloaded("ldplain", nullptr), 0);
                continue;
            }
            VeskClosure cl;
            if (VeskOprow *row = VeskLookupop(cls, &op, &cl, nullptr)) {
                const auto fn = reinterpret_cast<int64_t (*)(VeskClosure *, VeskErr *)>(row->fn);
                if (fn(&cl, nullptr) != 961)
                    ++wrong;
                ++calls;
            }
            VeskEndcobject(cls, nullptr);
        }
    };
    std::thread a(caller), b(caller);
    int loaded = 0, refused = 0;
    for (int i = 0; i < 200; ++i) {
        ASSERT_EQ(load("ldplain"), 1);
        ++loaded;
        while (VeskMldUnload("ldplain", nullptr) < 0)
            ++refused, std::this_thread::yield();
    }
    stop = true;
    a.join();
    b.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(VeskMldIsloaded("ldplain", nullptr), 0);
    std::printf("loads %d, refused unloads %d, calls %d\n", loaded, refused, calls.load());
}

}  // namespace
