// SPDX-License-Identifier: Apache-2.0
// Where every test program begins.
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <unistd.h>

namespace {

/** What whoever runs the tests has set for programs of the library would change what they state. */
void forgetSettings() {
    std::vector<std::string> names;

    for (char **variable = environ; *variable != nullptr; ++variable) {
        const std::string text = *variable;
        if (text.starts_with("NUVDDS_")) {
            names.push_back(text.substr(0, text.find('=')));
        }
    }
    for (const std::string &name : names) {
        unsetenv(name.c_str());
    }
}

} // namespace

int main(int argc, char **argv) {
    forgetSettings();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
