// SPDX-License-Identifier: MIT
//
// A C++ program outside the tree, built through find_package(vesk) and the
// imported target vesk::vesk, including the header by its installed path.
#include <vesk/vesk.h>

#include <cstdio>
#include <string_view>

int main() {
    if (VeskLibraryVersion() != VESK_VERSION_HEX ||
        std::string_view(VeskLibraryVersionString()) != VESK_VERSION_STRING) {
        std::fprintf(stderr, "headers %s, library %s\n", VESK_VERSION_STRING,
                     VeskLibraryVersionString());
        return 1;
    }

    // A tree of the library's, ordered by its default element table.
    NuRTBT *tree = NuRTBTCreate(nullptr);
    if (tree == nullptr)
        return 1;
    for (uintptr_t v : {30u, 10u, 20u})
        if (NuRTBTInsert(tree, &_G_default_btninfo_opv, v, 0, nullptr) == nullptr)
            return 1;
    const NuRTBTNode *found = NuRTBTFind(tree, &_G_default_btninfo_opv, 20, nullptr);
    const bool ok = found != nullptr && found->data == 20 && tree->count == 3;
    NuRTBTFree(tree, &_G_default_btninfo_opv);
    if (!ok) {
        std::fprintf(stderr, "the tree lost an element\n");
        return 1;
    }
    std::printf("vesk %s from C++ through find_package\n", VeskLibraryVersionString());
    return 0;
}
