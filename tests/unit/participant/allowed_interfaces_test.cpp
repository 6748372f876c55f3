// SPDX-License-Identifier: Apache-2.0
// Property dds.transport.allow_interfaces: which interfaces a participant uses.
#include "following_fixture.h"

using following::FollowingTest;
using following::Texts;
using testing::ElementsAre;

namespace {

/** Four interfaces. Each address that is allowed is bound; they are loopback's, so it can be. */
class AllowedInterfaces : public FollowingTest {
protected:
    AllowedInterfaces() {
        finalize_factory();
        allow("");
        blocks_before = heap.change();
        factory = DDS_DomainParticipantFactory_get_instance();
        interfaces.set({{"test0", {"127.0.0.2"}},
                        {"test1", {"127.0.0.3"}},
                        {"test2", {"127.0.0.4"}},
                        {"test3", {"127.0.0.5", "127.0.0.6"}}});
    }

    void allow(const std::string &names) {
        EXPECT_EQ(DDS_PropertyQosPolicyHelper_assert_property(&qos->property, ALLOW_INTERFACES,
                                                              names.c_str(), DDS_BOOLEAN_FALSE),
                  DDS_RETCODE_OK);
    }

    DDS_DomainParticipant *create_on(const std::string &names) {
        allow(names);
        return create_follower();
    }
};

TEST_F(AllowedInterfaces, MayBeSeveralNames) {
    EXPECT_TRUE(
        has(create_on("test0,test2,test3"), {"127.0.0.2", "127.0.0.4", "127.0.0.5", "127.0.0.6"}));
}

TEST_F(AllowedInterfaces, MayBeNamesAndAddresses) {
    EXPECT_TRUE(has(create_on("127.0.0.6,test1"), {"127.0.0.3", "127.0.0.6"}));
}

TEST_F(AllowedInterfaces, AreAllWhereTheTextIsEmpty) {
    EXPECT_TRUE(
        has(create_on(""), {"127.0.0.2", "127.0.0.3", "127.0.0.4", "127.0.0.5", "127.0.0.6"}));
}

struct Refused {
    std::string value;
    std::string entry; // as the error shows it
    int number;
};

class NoAllowedInterfaces : public AllowedInterfaces,
                            public testing::WithParamInterface<Refused> {};

TEST_P(NoAllowedInterfaces, AreRefusedWithWhatIsAllowed) {
    allow(GetParam().value);
    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(
        errors(),
        ElementsAre("bad parameter: property dds.transport.allow_interfaces has '" +
                    GetParam().entry + "' as entry " + std::to_string(GetParam().number) +
                    ": allowed are up to 32 entries, joined by ',': the name of an interface (1 to "
                    "15 characters without '/', ':' and white space) and a numeric IPv4 or IPv6 "
                    "address"));
}

std::string names(int count) {
    std::string text = "a";
    for (int i = 1; i < count; ++i) {
        text += ",a";
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(
    , NoAllowedInterfaces,
    testing::Values(Refused{",", "", 1}, Refused{",test0", "", 1}, Refused{"test0,,test1", "", 2},
                    Refused{"test0,", "", 2}, Refused{names(33), "a", 33},
                    Refused{"test0,sixteen-chars-ab,test1", "sixteen-chars-ab", 2},
                    Refused{"192.0.2.0/24", "192.0.2.0/24", 1},
                    Refused{"test0," + std::string(80, 'x'), std::string(64, 'x'), 2}));

TEST_F(AllowedInterfaces, MayHaveNamesAsLongAsTheKernels) {
    interfaces.set({{"fifteen-chars-a", {"127.0.0.2"}}});
    EXPECT_TRUE(has(create_on("fifteen-chars-a"), {"127.0.0.2"}));
}

TEST_F(AllowedInterfaces, MayBeAddressesThatAreLongerThanNames) {
    EXPECT_NE(create_on("test0,fd00:1111:2222:3333:4444:5555:6666:7777"), nullptr);
    EXPECT_THAT(errors(), testing::IsEmpty());
}

TEST_F(AllowedInterfaces, MayBeAsManyAsIsSaid) {
    allow("test0," + names(31));
    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(errors(), testing::IsEmpty());
}

} // namespace
