// SPDX-License-Identifier: Apache-2.0
#include "following_library.h"

#include <filesystem>
#include <ostream>

#include "domain/DomainParticipant_internal.h"
#include "support/callback_flush.h"

using testing::Test;

namespace following {

std::ostream &operator<<(std::ostream &out, const OpenFiles &files) {
    return out << files.all << " files, of which " << files.sockets << " sockets";
}

OpenFiles open_files() {
    OpenFiles files;

    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error; // of the directory itself, which is closed by now
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();

        ++files.all;
        files.sockets += target.starts_with("socket:") ? 1 : 0;
    }
    return files;
}

void LibraryTest::SetUp() {
    HostTest::SetUp();
    if (!IsSkipped()) {
        factory = DDS_DomainParticipantFactory_get_instance();
        ASSERT_NE(factory, nullptr);
    }
}

void LibraryTest::TearDown() {
    remove_all();
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    EXPECT_EQ(open_files(), files_before);
    EXPECT_EQ(heap.change(), support::Blocks());
    EXPECT_EQ(heap.refusals(), 0u);
}

DDS_DomainParticipant *LibraryTest::create(Callback callback, const DDS_DomainParticipantQos *qos) {
    DDS_DomainParticipantListener listener = {};

    if (callback != nullptr) {
        callbacks_.push_back(std::make_unique<Callback>(std::move(callback)));
        listener.listener_data = callbacks_.back().get();
        listener.on_locators_changed = [](void *data, DDS_DomainParticipant *participant) {
            (*static_cast<Callback *>(data))(participant);
        };
    }
    DDS_DomainParticipant *const participant = DDS_DomainParticipantFactory_create_participant(
        factory, 0, qos, &listener, DDS_STATUS_MASK_NONE);

    EXPECT_NE(participant, nullptr);
    if (participant != nullptr) {
        participants.push_back(participant);
    }
    return participant;
}

void LibraryTest::remove_all() {
    for (DDS_DomainParticipant *participant : participants) {
        EXPECT_EQ(DDS_DomainParticipantFactory_delete_participant(factory, participant),
                  DDS_RETCODE_OK);
    }
    participants.clear();
}

void LibraryTest::start_over() {
    remove_all();
    EXPECT_EQ(DDS_DomainParticipantFactory_finalize_instance(), DDS_RETCODE_OK);
    factory = DDS_DomainParticipantFactory_get_instance();
    ASSERT_NE(factory, nullptr);
}

Texts LibraryTest::default_unicast(DDS_DomainParticipant *participant) {
    return locators_of(participant, DDS_DomainParticipant_get_default_unicast_locators);
}

Texts LibraryTest::metatraffic_unicast(DDS_DomainParticipant *participant) {
    return locators_of(participant, DDS_DomainParticipant_get_metatraffic_unicast_locators);
}

bool LibraryTest::has(DDS_DomainParticipant *participant, const Texts &addresses) {
    const int index = DDS_DomainParticipant_get_participant_index(participant);

    return default_unicast(participant) == locators(addresses, default_port(index)) &&
           metatraffic_unicast(participant) == locators(addresses, metatraffic_port(index));
}

void LibraryTest::flush(DDS_DomainParticipant *participant) {
    const NUVNtpTime limit = {static_cast<NUV_INT32>(PATIENCE.count()), 0};

    EXPECT_TRUE(NUVNetioRuntime_flush(participant->resources.runtime, &limit));
}

void LibraryTest::flush_callbacks(DDS_DomainParticipant *participant) {
    support::flush_callbacks(participant->resources.runtime);
}

Texts LibraryTest::errors() const {
    Texts texts;

    for (const support::Messages &messages : {log.messages(), log.messagesOfOtherThreads()}) {
        for (const support::Message &message : messages) {
            if (message.level == NUV_LOG_LEVEL_ERROR || message.level == NUV_LOG_LEVEL_FATAL) {
                texts.push_back(message.text);
            }
        }
    }
    return texts;
}

} // namespace following
