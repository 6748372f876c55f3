// SPDX-License-Identifier: Apache-2.0
// What valgrind has to say.
#include <gmock/gmock.h>

#include "network.h"
#include "process.h"

namespace {

class Memory : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
#ifdef NUVDDS_SANITIZED
        GTEST_SKIP() << "a program with a sanitizer does not run under valgrind";
#endif
        if (!IsSkipped() && Process({"valgrind", "--version"}).wait().code != 0) {
            GTEST_SKIP() << "valgrind is not installed";
        }
    }

    static void expect_no_finding(const std::vector<std::string> &arguments, int code) {
        std::vector<std::string> command = {"valgrind",
                                            "--quiet",
                                            "--error-exitcode=99",
                                            "--leak-check=full",
                                            "--show-leak-kinds=all",
                                            "--errors-for-leak-kinds=all",
                                            "--track-fds=no",
                                            DDSPART_PATH};

        command.insert(command.end(), arguments.begin(), arguments.end());
        Process process(command);

        EXPECT_EQ(process.wait().code, code) << process.errors();
    }
};

TEST_F(Memory, OfAStayIsUsedWellAndGivenBack) {
    expect_no_finding({"run", "--for", "1", "--transport", "udpv4,udpv6", "--name", "n",
                       "--user-data", "u", "--property", "a=b"},
                      0);
}

TEST_F(Memory, OfAListIsUsedWellAndGivenBack) {
    const Process one = ddspart({"run"});

    expect_no_finding({"list", "--expect", "1", "--for", "60"}, 0);
}

TEST_F(Memory, OfAFailureIsUsedWellAndGivenBack) {
    expect_no_finding({"run", "--domain", "233"}, 1);
}

TEST_F(Memory, OfThePortTableIsUsedWellAndGivenBack) {
    expect_no_finding({"ports", "--json"}, 0);
}

} // namespace
