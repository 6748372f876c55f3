// SPDX-License-Identifier: Apache-2.0
// What becomes of participants when the process is forked, closes its descriptors or cancels a
// thread.
#include <atomic>
#include <functional>

#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "../netio/net_fixture.h"
#include "fixture.h"
#include "support/hurried_waits.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr unsigned FAR_TOO_LONG = 60; // seconds; the kernel ends a child that hangs

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define IS_THREAD_SANITIZED
#endif
#endif
#ifdef IS_THREAD_SANITIZED
constexpr bool CHILDREN_START_THREADS = false;
#else
constexpr bool CHILDREN_START_THREADS = true;
#endif

/** Carries out @p function in a forked child; what it returned, or -1. */
int in_child(const std::function<int()> &function) {
    const pid_t child = fork();

    if (child == 0) {
        alarm(FAR_TOO_LONG);
        _exit(function());
    }
    int status = -1;

    EXPECT_GT(child, 0);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class Forked : public ParticipantTest {
protected:
    /** How many of these are not as they should be, in a forked child that does not wait for any.
     */
    int wrong_in_child(const std::function<std::vector<bool>()> &statements) {
        return in_child([&] {
            log.clear();
            int wrong = 0;

            for (const bool is_right : statements()) {
                wrong += is_right ? 0 : 1;
            }
            return wrong;
        });
    }

    /** Whether the last call left just the one line that says why it was refused. */
    bool is_explained() {
        const std::vector<std::string> lines = errors();

        log.clear();
        return lines == std::vector<std::string>{"this process was forked from the one that made "
                                                 "the participant factory, and can't use it"};
    }
};

TEST_F(Forked, ChildIsRefusedEachCallOfAParticipantWithOneLine) {
    DDS_DomainParticipant *const participant = create();
    ASSERT_NE(participant, nullptr);
    DDS_Topic *const topic = DDS_DomainParticipant_create_topic(participant, "square", "shape");
    ASSERT_NE(topic, nullptr);

    EXPECT_EQ(
        wrong_in_child([&]() -> std::vector<bool> {
            DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
            DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
            DDS_GUID_t guid = {};
            const auto refused = [&](DDS_ReturnCode_t code) {
                return code == DDS_RETCODE_ILLEGAL_OPERATION && is_explained();
            };

            return {
                refused(DDS_DomainParticipant_enable(participant)),
                refused(DDS_DomainParticipant_get_qos(participant, &out)),
                refused(DDS_DomainParticipant_set_qos(participant, qos.get())),
                refused(DDS_DomainParticipant_update_locators(participant)),
                refused(DDS_DomainParticipant_get_guid(participant, &guid)),
                refused(DDS_DomainParticipant_get_default_unicast_locators(participant, &sequence)),
                refused(
                    DDS_DomainParticipant_get_default_multicast_locators(participant, &sequence)),
                refused(
                    DDS_DomainParticipant_get_metatraffic_unicast_locators(participant, &sequence)),
                refused(DDS_DomainParticipant_get_metatraffic_multicast_locators(participant,
                                                                                 &sequence)),
                refused(DDS_DomainParticipant_delete_topic(participant, topic)),
                DDS_DomainParticipant_get_participant_index(participant) == -1 && is_explained(),
                DDS_DomainParticipant_get_domain_id(participant) == -1 && is_explained(),
                DDS_DomainParticipant_create_topic(participant, "circle", "shape") == nullptr &&
                    is_explained(),
            };
        }),
        0);
    EXPECT_EQ(DDS_DomainParticipant_delete_topic(participant, topic), DDS_RETCODE_OK);
}

TEST_F(Forked, ChildIsRefusedEachCallOfTheFactoryWithOneLine) {
    DDS_DomainParticipant *const participant = create();
    ASSERT_NE(participant, nullptr);

    EXPECT_EQ(
        wrong_in_child([&]() -> std::vector<bool> {
            DDS_DomainParticipantFactoryQos factory_qos = {{DDS_BOOLEAN_TRUE}};
            DDS_DomainParticipantQos out = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
            const auto refused = [&](DDS_ReturnCode_t code) {
                return code == DDS_RETCODE_ILLEGAL_OPERATION && is_explained();
            };

            return {
                DDS_DomainParticipantFactory_get_instance() == nullptr && is_explained(),
                DDS_DomainParticipantFactory_create_participant(factory, 0, qos.get(), nullptr,
                                                                DDS_STATUS_MASK_NONE) == nullptr &&
                    is_explained(),
                refused(DDS_DomainParticipantFactory_delete_participant(factory, participant)),
                refused(DDS_DomainParticipantFactory_get_qos(factory, &factory_qos)),
                refused(DDS_DomainParticipantFactory_set_qos(factory, &factory_qos)),
                refused(DDS_DomainParticipantFactory_get_default_participant_qos(factory, &out)),
                refused(DDS_DomainParticipantFactory_finalize_instance()),
            };
        }),
        0);
}

TEST_F(Forked, ParentGoesOnAsIfNothingHadBeen) {
    DDS_DomainParticipant *const participant = create();

    EXPECT_EQ(wrong_in_child([&]() -> std::vector<bool> {
                  return {DDS_DomainParticipantFactory_delete_participant(factory, participant) !=
                          DDS_RETCODE_OK};
              }),
              0);
    EXPECT_EQ(DDS_DomainParticipant_update_locators(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(create()), 1);
    EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(create()), 0);
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Forked, ChildMayHaveAFactoryOfItsOwnWhenTheParentHasNoneAnyMore) {
    ASSERT_NE(create(), nullptr);
    ASSERT_EQ(remove(participants.at(0)), DDS_RETCODE_OK);
    ASSERT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    if (!CHILDREN_START_THREADS) {
        GTEST_SKIP() << "the thread sanitizer lets a forked child start no thread";
    }
    EXPECT_EQ(wrong_in_child([&]() -> std::vector<bool> {
                  DDS_DomainParticipantFactory *const own =
                      DDS_DomainParticipantFactory_get_instance();
                  DDS_DomainParticipant *const participant =
                      DDS_DomainParticipantFactory_create_participant(own, 0, qos.get(), nullptr,
                                                                      DDS_STATUS_MASK_NONE);

                  return {participant != nullptr,
                          DDS_DomainParticipant_get_participant_index(participant) == 0,
                          DDS_DomainParticipantFactory_delete_participant(own, participant) ==
                              DDS_RETCODE_OK,
                          DDS_DomainParticipantFactory_finalize_instance() == DDS_RETCODE_OK};
              }),
              0);
}

/** A process of its own, whose descriptors are closed below the library's feet. */
class ClosedDescriptors : public testing::Test {
protected:
    void SetUp() override {
        if (!CHILDREN_START_THREADS) {
            GTEST_SKIP() << "the thread sanitizer lets a forked child start no thread";
        }
    }

    static void close_all() {
        for (int descriptor = 3; descriptor < 256; ++descriptor) {
            (void)close(descriptor);
        }
    }
};

TEST_F(ClosedDescriptors, DeletionComesBackAndTheEndOfTheFactorySaysWhatDoesNotAnswer) {
    EXPECT_EQ(in_child([] {
                  const support::LogCapture log;
                  Qos qos;
                  DDS_DomainParticipantFactory *const factory =
                      DDS_DomainParticipantFactory_get_instance();
                  DDS_DomainParticipant *const participant =
                      DDS_DomainParticipantFactory_create_participant(
                          factory, 0, qos.get(), nullptr, DDS_STATUS_MASK_NONE);

                  EXPECT_NE(participant, nullptr);
                  // Until its thread waits, which it does in the end without a descriptor to be
                  // woken by.
                  std::this_thread::sleep_for(std::chrono::milliseconds(100));
                  close_all();
                  EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                            DDS_RETCODE_OK);
                  const support::HurriedWaits hurried;
                  EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_TIMEOUT);
                  std::vector<std::string> errors;
                  for (const support::Message &message : log.messages()) {
                      if (message.level == NUV_LOG_LEVEL_ERROR) {
                          errors.push_back(message.text);
                      }
                  }
                  EXPECT_THAT(errors,
                              ElementsAre("the thread 'reactor' cannot be woken, and so not be "
                                          "ended: Bad file descriptor (EBADF)"));
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
}

TEST_F(ClosedDescriptors, CreationFailsWithTheReason) {
    EXPECT_EQ(in_child([] {
                  const support::LogCapture log;
                  Qos qos;
                  DDS_DomainParticipantFactory *const factory =
                      DDS_DomainParticipantFactory_get_instance();

                  EXPECT_NE(DDS_DomainParticipantFactory_create_participant(
                                factory, 0, qos.get(), nullptr, DDS_STATUS_MASK_NONE),
                            nullptr);
                  close_all();
                  EXPECT_EQ(DDS_DomainParticipantFactory_create_participant(
                                factory, 0, qos.get(), nullptr, DDS_STATUS_MASK_NONE),
                            nullptr);
                  EXPECT_THAT(log.messages().back().text,
                              testing::HasSubstr("cannot poll the socket: "));
                  return testing::Test::HasFailure() ? 1 : 0;
              }),
              0);
}

/** A thread that makes and deletes participants until it is cancelled. */
class Cancelled : public ParticipantTest {
protected:
    static void *work(void *param) {
        auto *self = static_cast<Cancelled *>(param);

        for (;;) {
            pthread_testcancel(); // here and nowhere else
            DDS_DomainParticipant *const participant =
                DDS_DomainParticipantFactory_create_participant(self->factory, 0, self->qos.get(),
                                                                nullptr, DDS_STATUS_MASK_NONE);
            (void)DDS_DomainParticipant_update_locators(participant);
            (void)DDS_DomainParticipantFactory_delete_participant(self->factory, participant);
            ++self->rounds;
        }
        return nullptr;
    }

    std::atomic<int> rounds = 0;
};

TEST_F(Cancelled, ThreadLeavesNothingLockedAndNothingHalfDone) {
    for (int i = 0; i < 50; ++i) {
        pthread_t thread{};
        void *result = nullptr;
        const int before = rounds;

        ASSERT_EQ(pthread_create(&thread, nullptr, work, this), 0);
        EXPECT_TRUE(net::eventually([&] { return rounds > before; }));
        ASSERT_EQ(pthread_cancel(thread), 0);
        ASSERT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        DDS_DomainParticipant *const participant = create();
        ASSERT_NE(participant, nullptr);
        EXPECT_EQ(DDS_DomainParticipant_get_participant_index(participant), 0);
        EXPECT_EQ(remove(participant), DDS_RETCODE_OK);
    }
    EXPECT_THAT(errors(), IsEmpty());
}

TEST_F(Cancelled, CallInAThreadThatIsCancelledIsCarriedOut) {
    struct Round {
        DDS_DomainParticipantFactory *factory;
        const DDS_DomainParticipantQos *qos;
        DDS_DomainParticipant *participant = nullptr;

        static void *run(void *param) {
            auto *self = static_cast<Round *>(param);

            (void)pthread_cancel(pthread_self());
            self->participant = DDS_DomainParticipantFactory_create_participant(
                self->factory, 0, self->qos, nullptr, DDS_STATUS_MASK_NONE);
            pthread_testcancel();
            return nullptr;
        }
    } round{factory, qos.get()};
    pthread_t thread{};
    void *result = nullptr;

    ASSERT_EQ(pthread_create(&thread, nullptr, Round::run, &round), 0);
    ASSERT_EQ(pthread_join(thread, &result), 0);
    EXPECT_EQ(result, PTHREAD_CANCELED);
    ASSERT_NE(round.participant, nullptr);
    participants.push_back(round.participant);
    EXPECT_EQ(DDS_DomainParticipant_get_participant_index(round.participant), 0);
}

} // namespace
