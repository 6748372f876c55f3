// SPDX-License-Identifier: Apache-2.0
// What a participant announces of itself.
#include <algorithm>
#include <cstring>
#include <optional>
#include <span>
#include <vector>

#include "octets.h"
#include "rtps/rtps_participantData.h"

namespace {

using Octets = std::vector<std::uint8_t>;

/** Whom the announcements come from. */
constexpr RTPSHeader SOURCE = {{2, 5}, {{0, 0}}, {0x01020304, 0x05060708, 0x090A0B0C}};
constexpr std::uint8_t GUID[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 0, 1, 0xC1};

NUV_INT32 rank(void * /*param*/, const NUVNetioLocator *locator) {
    return locator->port % 4 - 1;
}
constexpr RTPSLocatorRanking RANKING = {rank, nullptr};

/** The list as another, simpler reader sees it (DDSI-RTPS 9.4.2.11). */
struct List {
    explicit List(std::span<const std::uint8_t> payload) {
        if (payload.size() < 4 || payload[0] != 0 || (payload[1] != 2 && payload[1] != 3)) {
            return;
        }
        is_little = payload[1] == 3;
        for (std::size_t place = 4; place + 4 <= payload.size();) {
            const unsigned id = number(payload, place);
            const std::size_t size = number(payload, place + 2);
            place += 4;
            if ((id & 0xBFFFu) == 1) {
                is_whole = true;
                return;
            }
            if (size % 4 != 0 || size > payload.size() - place) {
                return;
            }
            read(id, payload.subspan(place, size));
            place += size;
        }
    }

    unsigned number(std::span<const std::uint8_t> octets, std::size_t place) const {
        const unsigned first = octets[place];
        const unsigned second = octets[place + 1];
        return is_little ? second * 256 + first : first * 256 + second;
    }

    void read(unsigned id, std::span<const std::uint8_t> value) {
        if (id % 0x4000 == 0x50 && id < 0x8000) {
            guid = value;
        }
        has_unknown = has_unknown || (id >= 0xC000) || (id >= 0x4100 && id < 0x8000);
    }

    bool is_its_guid() const {
        return guid.size() >= sizeof GUID &&
               std::equal(std::begin(GUID), std::end(GUID), guid.begin());
    }

    bool is_little = false;
    bool is_whole = false;
    bool has_unknown = false; ///< among those that must be understood: not all, but what is sure
    std::span<const std::uint8_t> guid;
};

Octets write(const RTPSParticipantData &data, RTPSByteOrder order) {
    Octets octets(RTPSParticipantData_write(&data, order, nullptr, 0));
    fuzz::must(RTPSParticipantData_write(&data, order, octets.data(), octets.size()) ==
                   octets.size(),
               "an announcement has the length that was told without room");
    if (!octets.empty()) {
        Octets small(octets.size() - 1);
        fuzz::must(RTPSParticipantData_write(&data, order, small.data(), small.size()) ==
                       octets.size(),
                   "it has the same where it does not fit");
    }
    return octets;
}

void check_locators(const RTPSLocators &list) {
    fuzz::must(list.count <= RTPS_LOCATORS_MAX, "no more locators than there is room for");
    const std::span locators(list.locators, list.count);
    for (const NUVNetioLocator &it : locators) {
        fuzz::must(NUVNetioLocator_isPort(it.port) != 0 && rank(nullptr, &it) >= 0,
                   "each locator can be sent to and is wanted");
        fuzz::must(std::count_if(locators.begin(), locators.end(),
                                 [&it](const NUVNetioLocator &other) {
                                     return NUVNetioLocator_isSame(&it, &other) != 0;
                                 }) == 1,
                   "each locator is there once");
    }
    fuzz::must(std::is_sorted(locators.begin(), locators.end(),
                              [](const NUVNetioLocator &left, const NUVNetioLocator &right) {
                                  return rank(nullptr, &left) > rank(nullptr, &right);
                              }),
               "the locators are in the order of their ranks");
}

void check_accepted(const RTPSParticipantData &data, const RTPSOctets &payload) {
    fuzz::must(data.leaseDuration.sec > 0 ||
                   (data.leaseDuration.sec == 0 && data.leaseDuration.frac > 0),
               "a lease is longer than nothing");
    fuzz::must_be_within(data.domainTag, payload);
    fuzz::must_be_within(data.entityName, payload);
    fuzz::must_be_within(data.userData, payload);
    fuzz::must_be_within(data.properties.octets, payload);
    for (const RTPSLocators *list : {&data.metatrafficUnicast, &data.metatrafficMulticast,
                                     &data.defaultUnicast, &data.defaultMulticast}) {
        check_locators(*list);
    }
    for (const RTPSByteOrder order : {RTPS_BIG_ENDIAN, RTPS_LITTLE_ENDIAN}) {
        const Octets octets = write(data, order);
        RTPSParticipantData again;
        fuzz::must(RTPSParticipantData_read({octets.data(), octets.size()}, &SOURCE, &RANKING,
                                            &again) == RTPS_ACCEPTED,
                   "what is written can be read");
        fuzz::must(write(again, order) == octets, "what is read again is equal");
        fuzz::must(write(again, RTPS_BIG_ENDIAN) == write(data, RTPS_BIG_ENDIAN),
                   "it is the same in either byte order");
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const fuzz::Unaligned copy({data, size});
    RTPSParticipantData participant;
    const RTPSOctets payload = {data, size};
    const RTPSRefusal refusal = RTPSParticipantData_read(payload, &SOURCE, &RANKING, &participant);
    RTPSParticipantData same;
    fuzz::must(RTPSParticipantData_read(copy.view(), &SOURCE, &RANKING, &same) == refusal,
               "it makes no difference where it lies");
    if (refusal == RTPS_ACCEPTED) {
        const List list({data, size});
        fuzz::must(list.is_whole, "only a whole list is accepted");
        fuzz::must(!list.has_unknown, "nothing unknown that must be understood is accepted");
        fuzz::must(list.is_its_guid(), "only the sender itself is accepted");
        check_accepted(participant, payload);
    }
    return 0;
}
