// Property dds.transport.allow_interfaces: which interfaces a participant uses.
#include "following_fixture.h"

using following::FollowingTest;
using following::Texts;
using testing::ElementsAre;

namespace {

constexpr const char *ALLOW_INTERFACES = "dds.transport.allow_interfaces";

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

class NoAllowedInterfaces : public AllowedInterfaces,
                            public testing::WithParamInterface<std::string> {};

TEST_P(NoAllowedInterfaces, AreRefusedWithWhatIsAllowed) {
    allow(GetParam());
    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(errors(),
                ElementsAre("bad parameter: property dds.transport.allow_interfaces is '" +
                            GetParam() +
                            "': allowed are up to 32 interface names or numeric "
                            "addresses of 1 to 63 characters, joined by ','"));
}

std::string names(int count) {
    std::string text = "a";
    for (int i = 1; i < count; ++i) {
        text += ",a";
    }
    return text;
}

INSTANTIATE_TEST_SUITE_P(, NoAllowedInterfaces,
                         testing::Values(",", ",test0", "test0,,test1", names(33),
                                         "test0," + std::string(64, 'x')));

TEST_F(AllowedInterfaces, MayBeAsManyAsIsSaid) {
    allow("test0," + names(31));
    EXPECT_NE(create(), nullptr);
    EXPECT_THAT(errors(), testing::IsEmpty());
}

} // namespace
