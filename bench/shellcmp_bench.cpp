// SPDX-License-Identifier: MIT
// strshellcmp3 beside glibc's fnmatch, on the patterns a directory filter
// sees and on the ones that made a backtracking compare explode. Each pair
// is the same question in the two pattern languages ("{c,h}" is written
// "[ch]", a list of words "@(c|h|txt)" with FNM_EXTMATCH); the label says
// whether the text matched. Nanoseconds per compare.
#include <benchmark/benchmark.h>
#include <fnmatch.h>

#include <string>

#include "nu.h"

namespace {

struct Case {
    std::string text, pattern, fnmatch_pattern;
    int fnmatch_flags;
};

Case star_suffix() { return {"quarterly-report.txt", "*.txt", "*.txt", 0}; }
Case star_suffix_miss() { return {"quarterly-report.pdf", "*.txt", "*.txt", 0}; }
Case three_stars() {
    return {"libfoo_bar_baz_gamma.so", "lib*_*_*_delta.so", "lib*_*_*_delta.so", 0};
}
Case bracket() { return {"scheduler.h", "*.{c,h}", "*.[ch]", 0}; }
Case word_list() { return {"notes.txt", "*.{c,h,txt}", "*.@(c|h|txt)", FNM_EXTMATCH}; }
Case literal() { return {"Makefile", "Makefile", "Makefile", 0}; }
Case question() { return {"frame7.png", "frame?.png", "frame?.png", 0}; }
// Adversarial: two branches per "?", a backtrack per "*".
Case questions_40() {
    const std::string q(40, '?');
    return {std::string(40, 'a'), q + "b", q + "b", 0};
}
Case stars_9() {
    const std::string p = "*a*a*a*a*a*a*a*a*a*b";
    return {std::string(50, 'a'), p, p, 0};
}

void BM_strshellcmp3(benchmark::State &state, Case (*make)()) {
    const Case c = make();
    int32_t r = 0;
    for (auto _ : state) {
        r = strshellcmp3(c.text.c_str(), c.pattern.c_str(), 0);
        benchmark::DoNotOptimize(r);
    }
    state.SetLabel(r == 0 ? "match" : "no match");
}

void BM_fnmatch(benchmark::State &state, Case (*make)()) {
    const Case c = make();
    int r = 0;
    for (auto _ : state) {
        r = fnmatch(c.fnmatch_pattern.c_str(), c.text.c_str(), c.fnmatch_flags);
        benchmark::DoNotOptimize(r);
    }
    state.SetLabel(r == 0 ? "match" : "no match");
}

#define SHELL_PAIR(name)                                  \
    BENCHMARK_CAPTURE(BM_strshellcmp3, name, &name);      \
    BENCHMARK_CAPTURE(BM_fnmatch, name, &name)

SHELL_PAIR(star_suffix);
SHELL_PAIR(star_suffix_miss);
SHELL_PAIR(three_stars);
SHELL_PAIR(bracket);
SHELL_PAIR(word_list);
SHELL_PAIR(literal);
SHELL_PAIR(question);
SHELL_PAIR(questions_40);
SHELL_PAIR(stars_9);

}  // namespace

BENCHMARK_MAIN();
