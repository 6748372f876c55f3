// SPDX-License-Identifier: Apache-2.0
// What goes over segments, as a file that other tools read.
#include <csignal>
#include <filesystem>
#include <system_error>

#include <sys/resource.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "pcapng.h"
#include "simnet/simnet_capture.h"
#include "simulated.h"

namespace {

using namespace sim;
using pcapng::Datagram;
using pcapng::Frame;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char *A = "c0000201"; // 192.0.2.1
constexpr const char *B = "c0000202";

class SimCapture : public NetTest {
protected:
    SimCapture() {
        eth0(a).set_addresses({"192.0.2.1/24", "fd00::1/64"});
        eth0(b).set_addresses({"192.0.2.2/24", "fd00::2/64"});
        world.tap(&capture);
    }
    ~SimCapture() override {
        world.tap(nullptr);
        std::filesystem::remove(path);
    }

    std::vector<Frame> frames() {
        capture.close();
        return pcapng::read(path);
    }
    static std::string digits(const Mac &mac) {
        return pcapng::hex({mac.begin(), mac.end()});
    }
    static std::string payload(std::size_t size) {
        std::string octets;
        for (std::size_t i = 0; i < size; ++i) {
            octets += static_cast<char>(i * 7 + i / 256);
        }
        return octets;
    }
    static std::vector<std::size_t> sizes(const std::vector<Frame> &frames) {
        std::vector<std::size_t> all;
        for (const Frame &frame : frames) {
            all.push_back(frame.size);
        }
        return all;
    }

    const std::string path =
        std::filesystem::temp_directory_path() / ("simnet." + std::to_string(getpid()) + ".pcapng");
    Capture capture{path};
};

TEST_F(SimCapture, IsEmptyAtFirst) {
    EXPECT_THAT(frames(), IsEmpty());
}

TEST_F(SimCapture, HasEachDatagramWithItsHeaders) {
    run(5 * SECOND);
    const Udp sender(a, "0.0.0.0:5000", {1, 46});
    EXPECT_EQ(sender.send("192.0.2.2:7410", "hello"), 0);
    const std::vector<Datagram> all = pcapng::datagrams(frames());
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].data, "hello");
    EXPECT_EQ(all[0].source_port, 5000u);
    EXPECT_EQ(all[0].destination_port, 7410u);
    const Frame &frame = all[0].first;
    EXPECT_EQ(frame.interface, "lan");
    EXPECT_EQ(frame.nanoseconds, static_cast<NUV_UINT64>(EPOCH + 5 * SECOND));
    EXPECT_EQ(frame.to, digits(eth0(b).mac()));
    EXPECT_EQ(frame.from, digits(eth0(a).mac()));
    EXPECT_EQ(frame.version, 4);
    EXPECT_EQ(frame.size, 33u);
    EXPECT_EQ(frame.dscp, 46);
    EXPECT_EQ(frame.ttl, 64);
    EXPECT_EQ(frame.source, A);
    EXPECT_EQ(frame.destination, B);
    EXPECT_FALSE(frame.is_fragment);
}

TEST_F(SimCapture, HasIPv6AsWell) {
    EXPECT_EQ(Udp(a, "[::]:5000", {1, 46}).send("[fd00::2]:7410", "hello"), 0);
    const std::vector<Datagram> all = pcapng::datagrams(frames());
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].data, "hello");
    const Frame &frame = all[0].first;
    EXPECT_EQ(frame.version, 6);
    EXPECT_EQ(frame.size, 53u);
    EXPECT_EQ(frame.dscp, 46);
    EXPECT_EQ(frame.ttl, 64);
    EXPECT_EQ(frame.source, "fd000000000000000000000000000001");
    EXPECT_EQ(frame.destination, "fd000000000000000000000000000002");
    EXPECT_FALSE(frame.is_fragment);
}

TEST_F(SimCapture, GroupsHaveTheirOwnMacAddresses) {
    const Udp ipv4(a, "0.0.0.0:5000", {3, 0});
    EXPECT_EQ(ipv4.send("239.255.0.1:7400", "hello", 2), 0);
    EXPECT_EQ(ipv4.send("239.129.2.3:7400", "hello", 2), 0);
    EXPECT_EQ(Udp(a, "[::]:5000").send("[ff15::1:2]:7400", "hello", 2), 0);
    const std::vector<Frame> all = frames();
    ASSERT_THAT(all, SizeIs(3));
    EXPECT_EQ(all[0].to, "01005e7f0001");
    EXPECT_EQ(all[0].ttl, 3);
    EXPECT_EQ(all[1].to, "01005e010203"); // 23 bits of it
    EXPECT_EQ(all[2].to, "333300010002");
    EXPECT_EQ(all[2].ttl, 1);
}

TEST_F(SimCapture, LargeDatagramsGoInFragments) {
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", payload(4'000)), 0);
    const std::vector<Frame> all = frames();
    EXPECT_THAT(sizes(all), ElementsAre(1500, 1500, 20 + 4'008 - 2 * 1480));
    EXPECT_EQ(all[0].id, all[2].id);
    const std::vector<Datagram> together = pcapng::datagrams(all);
    ASSERT_THAT(together, SizeIs(1));
    EXPECT_EQ(together[0].data, payload(4'000));
}

TEST_F(SimCapture, FragmentsOfIPv6HaveAHeaderMore) {
    EXPECT_EQ(Udp(a, "[::]:5000").send("[fd00::2]:7410", payload(4'000)), 0);
    const std::vector<Frame> all = frames();
    EXPECT_THAT(sizes(all), ElementsAre(1496, 1496, 48 + 4'008 - 2 * 1448));
    EXPECT_EQ(all[0].id, all[2].id);
    EXPECT_EQ(pcapng::datagrams(all).at(0).data, payload(4'000));
}

TEST_F(SimCapture, FragmentsAreAsLargeAsTheLinkOfTheSenderTakes) {
    eth0(a).set_link({.mtu = 576});
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", payload(1'000)), 0);
    EXPECT_EQ(Udp(a, "[::]:5000").send("[fd00::2]:7410", payload(1'000)), 0);
    const std::vector<Frame> all = frames();
    EXPECT_THAT(sizes(all), ElementsAre(572, 476, 576, 528));
    for (const Datagram &one : pcapng::datagrams(all)) {
        EXPECT_EQ(one.data, payload(1'000));
        EXPECT_EQ(one.fragments, 2u);
    }
}

TEST_F(SimCapture, WhatJustFitsIsNoFragment) {
    const Udp ipv4(a);
    const Udp ipv6(a, "[::]:5000");
    EXPECT_EQ(ipv4.send("192.0.2.2:7410", payload(1472)), 0);
    EXPECT_EQ(ipv4.send("192.0.2.2:7410", payload(1473)), 0);
    EXPECT_EQ(ipv6.send("[fd00::2]:7410", payload(1452)), 0);
    EXPECT_EQ(ipv6.send("[fd00::2]:7410", payload(1453)), 0);
    std::vector<std::size_t> counts;
    for (const Datagram &one : pcapng::datagrams(frames())) {
        counts.push_back(one.fragments);
    }
    EXPECT_THAT(counts, ElementsAre(1, 2, 1, 2));
}

TEST_F(SimCapture, DatagramsOfAnySizeHaveTheirChecksum) {
    const Udp ipv4(a);
    const Udp ipv6(a, "[::]:5000");
    for (const std::size_t size : {0u, 1u, 2u, 3u, 9'999u}) {
        EXPECT_EQ(ipv4.send("192.0.2.2:7410", payload(size)), 0);
        EXPECT_EQ(ipv6.send("[fd00::2]:7410", payload(size)), 0);
    }
    const std::vector<Datagram> all = pcapng::datagrams(frames());
    ASSERT_THAT(all, SizeIs(10));
    EXPECT_EQ(all[9].data, payload(9'999));
}

TEST_F(SimCapture, ChecksumThatWouldBeZeroIsSentAsItsOpposite) {
    const Udp sender(a, "0.0.0.0:5000");
    EXPECT_EQ(sender.send("192.0.2.2:7410", "\x4b\x5c"), 0); // all words together are 0xFFFF
    const std::vector<Frame> all = frames();
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_THAT(pcapng::datagrams(all), SizeIs(1));
    EXPECT_EQ(all[0].payload[6], 0xFF);
    EXPECT_EQ(all[0].payload[7], 0xFF);
}

TEST_F(SimCapture, HasWhatIsLostAfterwards) {
    eth0(a).set_link({.loss = 1});
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "hello"), 0);
    EXPECT_THAT(frames(), SizeIs(1));
}

TEST_F(SimCapture, HasNothingThatDoesNotReachTheWire) {
    EXPECT_EQ(Udp(a).send("192.0.2.1:7410", "to itself"), 0);
    EXPECT_EQ(Udp(a).send("192.0.2.99:7410", "to nobody"), 0);
    EXPECT_EQ(Udp(a, "0.0.0.0:0", {0, 0}).send(GROUP, "to its own host", 2), 0);
    run();
    EXPECT_THAT(frames(), IsEmpty());
}

TEST_F(SimCapture, HasEachSegmentAsAnInterface) {
    Segment &other = world.add_segment("other");
    Router &router = world.add_router("router");
    router.plug_in(lan, prefix("192.0.2.254/24"));
    router.plug_in(other, prefix("198.51.100.254/24"));
    add_to(other, "c", {"198.51.100.1/24"});
    host_a.add_route(prefix("0.0.0.0/0"), address("192.0.2.254"));
    EXPECT_EQ(Udp(a).send("198.51.100.1:7410", "hello"), 0);
    EXPECT_EQ(Udp(b).send("192.0.2.1:7410", "hello"), 0);
    run();
    const std::vector<Frame> all = frames();
    ASSERT_THAT(all, SizeIs(3));
    EXPECT_EQ(all[0].interface, "lan");
    EXPECT_EQ(all[1].interface, "lan");
    EXPECT_EQ(all[2].interface, "other");
    EXPECT_EQ(all[2].ttl, 63);
    EXPECT_EQ(all[2].source, A);
    EXPECT_EQ(all[2].nanoseconds, static_cast<NUV_UINT64>(EPOCH + 40 * MICROSECOND));
}

TEST_F(SimCapture, BeginsAndEndsWhenItIsWanted) {
    world.tap(nullptr);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "before"), 0);
    world.tap(&capture);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "meanwhile"), 0);
    world.tap(nullptr);
    EXPECT_EQ(Udp(a).send("192.0.2.2:7410", "afterwards"), 0);
    const std::vector<Datagram> all = pcapng::datagrams(frames());
    ASSERT_THAT(all, SizeIs(1));
    EXPECT_EQ(all[0].data, "meanwhile");
}

TEST_F(SimCapture, FileThatCannotBeMadeIsRefused) {
    try {
        const Capture none("/nonexistent/simnet.pcapng");
        FAIL();
    } catch (const std::system_error &error) {
        EXPECT_EQ(error.code().value(), ENOENT);
        EXPECT_THAT(error.what(), testing::HasSubstr("/nonexistent/simnet.pcapng"));
    }
}

/** What closing a file says; 0: nothing. */
int error_of_closing(Capture &file) {
    try {
        file.close();
        return 0;
    } catch (const std::system_error &error) {
        return error.code().value();
    }
}

TEST_F(SimCapture, SaysWhenItsEndCouldNotBeWritten) {
    Capture full("/dev/full");
    EXPECT_EQ(error_of_closing(full), ENOSPC);
}

/** The files of this process may not get larger than that; whoever tries is told so. */
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t most) {
        getrlimit(RLIMIT_FSIZE, &former_);
        const rlimit limit = {most, former_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &former_);
        (void)std::signal(SIGXFSZ, former_handler_);
    }
    FileSizeLimit(const FileSizeLimit &) = delete;
    FileSizeLimit &operator=(const FileSizeLimit &) = delete;

private:
    rlimit former_{};
    void (*const former_handler_)(int) = std::signal(SIGXFSZ, SIG_IGN);
};

TEST_F(SimCapture, SaysWhenSomethingBeforeItsEndCouldNotBeWritten) {
    {
        const FileSizeLimit limit(10'000);
        EXPECT_EQ(Udp(a).send("192.0.2.2:7410", payload(65'000)), 0);
    }
    errno = 0;
    EXPECT_EQ(error_of_closing(capture), EFBIG);
}

} // namespace
