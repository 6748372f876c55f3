// SPDX-License-Identifier: Apache-2.0
// Variables of the environment, in programs that know nothing of them.
#include <filesystem>

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include "network.h"
#include "process.h"

using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Environment : public HostTest {};

TEST_F(Environment, SetsTheVerbosityOfAProgramThatSetsNone) {
    Process process({"/usr/bin/env", "NUVDDS_VERBOSITY=status", EXAMPLE_C_PATH});

    EXPECT_EQ(process.wait().code, 0);
    EXPECT_THAT(process.errors(), HasSubstr("Reserved participant index 0 on domain 0"));
    EXPECT_THAT(process.errors(), HasSubstr("NUVDDS_VERBOSITY is used: status"));
}

TEST_F(Environment, ThatCannotBeReadIsTheReasonOfAFailure) {
    Process process({"/usr/bin/env", "NUVDDS_PEERS=a b", EXAMPLE_C_PATH});

    EXPECT_EQ(process.wait().code, 1);
    EXPECT_THAT(process.errors(), HasSubstr("NUVDDS_PEERS has 'a b' as entry 1"));
}

/** A copy of a program that runs as another user than the one who starts it. */
class SetUserId {
public:
    explicit SetUserId(const std::string &program)
        : path(std::filesystem::temp_directory_path() /
               ("nuvdds-set-user-id-" + std::to_string(getpid()))) {
        std::filesystem::copy_file(program, path);
        constexpr uid_t NOBODY = 65534;
        struct statvfs mounted {};
        is_set = statvfs(path.c_str(), &mounted) == 0 && (mounted.f_flag & ST_NOSUID) == 0 &&
                 chown(path.c_str(), NOBODY, NOBODY) == 0 && chmod(path.c_str(), 04755) == 0;
    }
    ~SetUserId() {
        std::filesystem::remove(path);
    }
    SetUserId(const SetUserId &) = delete;
    SetUserId &operator=(const SetUserId &) = delete;

    const std::filesystem::path path;
    bool is_set = false;
};

TEST_F(Environment, IsNotReadByAProgramWithMoreRightsThanItsCaller) {
#ifdef NUVDDS_SANITIZED
    GTEST_SKIP() << "a sanitizer cannot look into a set-user-id program";
#endif
    const SetUserId program(EXAMPLE_C_PATH);
    if (!program.is_set) {
        GTEST_SKIP() << "needs the right to make a program set-user-id";
    }
    Process changed({"/usr/bin/env", "NUVDDS_VERBOSITY=status", program.path});

    EXPECT_EQ(changed.wait().code, 0) << changed.errors();
    EXPECT_THAT(changed.errors(), IsEmpty());
}

} // namespace
