// SPDX-License-Identifier: Apache-2.0
// What a frame of the code under test finds where it does not initialize itself.
#pragma once

/** Leaves no zero where the next call will have its frame. */
[[gnu::noinline]] inline void dirtyTheStack() {
    volatile char dirt[8192];
    for (volatile char &one : dirt) {
        one = '\x5A';
    }
}
