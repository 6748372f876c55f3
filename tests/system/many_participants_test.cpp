// SPDX-License-Identifier: Apache-2.0
// As many participants as a domain has room for on one host.
#include <csignal>
#include <filesystem>
#include <iterator>

#include <gmock/gmock.h>

#include "dds_c/dds_c_domain.h"
#include "network.h"
#include "process.h"
#include "support/heap_watch.h"
#include "support/log_capture.h"

using support::LogCapture;
using testing::Contains;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr DDS_Long ROOM = 120; // indices 0 to 119 with the standard ports

std::set<DDS_Long> all_indices() {
    std::set<DDS_Long> indices;

    for (DDS_Long index = 0; index < ROOM; ++index) {
        indices.insert(index);
    }
    return indices;
}

/** The multicast port and the two unicast ports of each index, in domain 0. */
std::set<unsigned> ports_of(const std::set<DDS_Long> &indices) {
    std::set<unsigned> ports = {7400};

    for (const DDS_Long index : indices) {
        ports.insert(7410u + 2u * static_cast<unsigned>(index));
        ports.insert(7411u + 2u * static_cast<unsigned>(index));
    }
    return ports;
}

std::ptrdiff_t number_of_threads() {
    const std::filesystem::directory_iterator threads("/proc/self/task");

    return std::distance(begin(threads), end(threads));
}

/** Participants of this process. */
class ManyInOneProcess : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        if (!IsSkipped()) {
            factory = DDS_DomainParticipantFactory_get_instance();
        }
    }

    void TearDown() override {
        for (DDS_DomainParticipant *participant : participants) {
            EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                      DDS_RETCODE_OK);
        }
        EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
        EXPECT_THAT(udp_ports(), IsEmpty());
        EXPECT_EQ(heap.change(), support::Blocks());
        EXPECT_EQ(heap.refusals(), 0u);
    }

    DDS_DomainParticipant *create() {
        DDS_DomainParticipant *participant = DDS_DomainParticipantFactory_create_participant(
            factory, 0, DDS_PARTICIPANT_QOS_DEFAULT, nullptr, DDS_STATUS_MASK_NONE);

        if (participant != nullptr) {
            participants.push_back(participant);
        }
        return participant;
    }

    void create_up_to(std::size_t number) {
        while (participants.size() < number) {
            ASSERT_NE(create(), nullptr);
        }
    }

    const support::HeapWatch heap;
    DDS_DomainParticipantFactory *factory = nullptr;
    std::vector<DDS_DomainParticipant *> participants;
};

TEST_F(ManyInOneProcess, EachHasAnIndexOfItsOwnUntilThereIsNoneLeft) {
    std::set<DDS_Long> indices;

    create_up_to(ROOM);
    for (DDS_DomainParticipant *participant : participants) {
        indices.insert(DDS_DomainParticipant_get_participant_index(participant));
    }
    EXPECT_EQ(indices, all_indices());
    EXPECT_EQ(udp_ports(), ports_of(all_indices()));

    const LogCapture log;

    EXPECT_EQ(create(), nullptr);
    EXPECT_THAT(log.messages(),
                Contains(Field(&support::Message::body, "No index available for participant")));
    EXPECT_EQ(udp_ports(), ports_of(all_indices()));
}

TEST_F(ManyInOneProcess, TheIndexOfOneThatLeftIsFreeAgain) {
    create_up_to(3);
    ASSERT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participants[1]),
              DDS_RETCODE_OK);
    participants.erase(participants.begin() + 1);
    ASSERT_NE(create(), nullptr);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participants.back()), 1);
}

TEST_F(ManyInOneProcess, HaveNoMoreThreadsThanOne) {
    create_up_to(1);
    const std::ptrdiff_t threads = number_of_threads();

    create_up_to(ROOM - 1);
    EXPECT_EQ(number_of_threads(), threads);
}

/** Participants of one process each. */
class ManyProcesses : public HostTest {
protected:
    void start(DDS_Long number) {
        for (DDS_Long i = 0; i < number; ++i) {
            // Each index passed over is a line: as a whole they take longer than all the rest.
            processes.push_back(ddspart({"run", "--verbosity", "error"}));
        }
    }

    /** The indices that the processes have. */
    std::multiset<DDS_Long> indices() {
        const std::string before = "with participant index ";
        std::multiset<DDS_Long> all;

        for (Process &process : processes) {
            EXPECT_TRUE(process.wait_for_output("Default multicast locators")) << process.errors();
            const std::string text = process.output();

            all.insert(std::stoi(text.substr(text.find(before) + before.size())));
        }
        return all;
    }

    std::vector<Process> processes;
};

TEST_F(ManyProcesses, StartedTogetherEachHasAnIndexOfItsOwn) {
    start(ROOM);
    const std::multiset<DDS_Long> chosen = indices();
    const std::set<DDS_Long> different(chosen.begin(), chosen.end());

    ASSERT_EQ(chosen.size(), static_cast<std::size_t>(ROOM));
    EXPECT_EQ(different, all_indices());
    EXPECT_EQ(udp_ports(), ports_of(all_indices()));

    Process one_more = ddspart({"run"});

    EXPECT_EQ(one_more.wait().code, 1);
    EXPECT_THAT(one_more.errors(), HasSubstr("No index available for participant\n"));

    // Half of them vanish without a farewell, the others leave: one after the other, as each ends
    // by force when it does not get to the end within a second.
    for (std::size_t i = 0; i < processes.size(); ++i) {
        processes[i].send(i % 2 == 0 ? SIGKILL : SIGTERM);
        const Exit exit = processes[i].wait();

        EXPECT_EQ(exit.signal, i % 2 == 0 ? SIGKILL : 0);
        EXPECT_EQ(exit.code, i % 2 == 0 ? -1 : 0) << processes[i].errors();
    }
    EXPECT_THAT(udp_ports(), IsEmpty());
}

TEST_F(ManyProcesses, ThePortsOfOneThatWasKilledAreFree) {
    start(1);
    (void)indices();
    EXPECT_EQ(processes[0].stop(SIGKILL).signal, SIGKILL);
    processes.clear();
    start(1);
    EXPECT_EQ(indices(), std::multiset<DDS_Long>{0});
}

} // namespace
