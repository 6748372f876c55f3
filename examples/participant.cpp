// SPDX-License-Identifier: Apache-2.0
// Joins a domain with a QoS of its own, shows where the participant can be reached, and leaves.
//
//     participant [DOMAIN]
//
// When the library fails, it has said why on stderr.
#include <array>
#include <charconv>
#include <iostream>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "dds_c/dds_c.h"

namespace {

void check(DDS_ReturnCode_t code) {
    if (code != DDS_RETCODE_OK) {
        throw std::runtime_error(DDS_ReturnCode_to_string(code));
    }
}

/** A QoS that is finalized with the object. */
class Qos {
public:
    Qos() {
        check(DDS_DomainParticipantQos_initialize(&value));
    }
    ~Qos() {
        (void)DDS_DomainParticipantQos_finalize(&value);
    }
    Qos(const Qos &) = delete;
    Qos &operator=(const Qos &) = delete;

    DDS_DomainParticipantQos value = DDS_DOMAIN_PARTICIPANT_QOS_INITIALIZER;
};

/** A participant that leaves its domain with the object. */
class Participant {
public:
    Participant(DDS_DomainId_t domain, const Qos &qos)
        : factory_(DDS_DomainParticipantFactory_get_instance()),
          participant_(DDS_DomainParticipantFactory_create_participant(
              factory_, domain, &qos.value, nullptr, DDS_STATUS_MASK_NONE)) {
        if (participant_ == nullptr) {
            throw std::runtime_error("cannot join domain " + std::to_string(domain));
        }
    }
    ~Participant() {
        (void)DDS_DomainParticipantFactory_delete_participant(factory_, participant_);
    }
    Participant(const Participant &) = delete;
    Participant &operator=(const Participant &) = delete;

    DDS_Long index() const {
        return DDS_DomainParticipant_get_participant_index(participant_);
    }

    /** Where user traffic for it goes. */
    std::vector<std::string> locators() const {
        DDS_LocatorSeq sequence = DDS_SEQUENCE_INITIALIZER;
        const std::unique_ptr<DDS_LocatorSeq, void (*)(DDS_LocatorSeq *)> guard(
            &sequence, DDS_LocatorSeq_finalize);
        std::vector<std::string> texts;

        check(DDS_DomainParticipant_get_default_unicast_locators(participant_, &sequence));
        for (DDS_Long i = 0; i < DDS_LocatorSeq_get_length(&sequence); ++i) {
            std::array<char, DDS_LOCATOR_STRING_SIZE> text{};

            check(DDS_Locator_to_string(DDS_LocatorSeq_get_reference(&sequence, i), text.data(),
                                        text.size()));
            texts.emplace_back(text.data());
        }
        return texts;
    }

private:
    DDS_DomainParticipantFactory *factory_;
    DDS_DomainParticipant *participant_;
};

void join(DDS_DomainId_t domain) {
    Qos qos;

    if (!DDS_String_replace(&qos.value.participant_name.name, "example")) {
        throw std::bad_alloc();
    }
    const Participant participant(domain, qos);

    std::cout << "domain " << domain << ", participant index " << participant.index() << '\n';
    for (const std::string &locator : participant.locators()) {
        std::cout << "user traffic: " << locator << '\n';
    }
}

/** Reads a domain id; false when the text is none. */
bool read_domain(std::string_view text, DDS_DomainId_t &domain) {
    const char *const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, domain);

    return error == std::errc() && rest == end && domain >= 0;
}

} // namespace

int main(int argc, char **argv) {
    DDS_DomainId_t domain = 0;

    if (argc > 2 || (argc == 2 && !read_domain(argv[1], domain))) {
        std::cerr << "usage: " << argv[0] << " [DOMAIN], with a domain id of 0 or more\n";
        return 2;
    }
    int exit_code = 0;

    try {
        join(domain);
    } catch (const std::exception &error) {
        std::cerr << argv[0] << ": " << error.what() << '\n';
        exit_code = 1;
    }
    if (DDS_DomainParticipantFactory_finalize_instance() != DDS_RETCODE_OK) {
        exit_code = 1;
    }
    return exit_code;
}
