// SPDX-License-Identifier: Apache-2.0
// Those that are known in a domain, found by their prefix, their address and their place.
#include "table.h"

#include <new>

#include "domain.h"
#include "osapi/osapi_assert.h"

namespace disc {

namespace {

constexpr std::size_t FIRST_SIZE = 16;

/** Takes one out of a chain. */
template <auto next>
void unlink_from(Known **first, Known *known) {
    while (*first != known) {
        first = &((*first)->*next);
    }
    *first = known->*next;
}

} // namespace

Known::Known(Domain &its_domain, const NUVOsapiRtpsGuidPrefix &its_prefix, HeldRemote announcement)
    : domain(its_domain), prefix(its_prefix), greeting(Domain::on_greeting, this),
      lease(Domain::on_lease, this), question(Domain::on_question, this) {
    set_record(std::move(announcement));
}

Known::~Known() {
    NUV_ASSERT(claim == nullptr);
}

void Known::set_record(HeldRemote announcement) {
    RTPSParticipantData data;
    DISCRemote_read(announcement.get(), &data);
    record = std::move(announcement);
    tag = data.domainTag;
    is_elsewhere = data.hasDomainId != 0 && data.domainId != static_cast<NUV_UINT32>(domain.id);
}

bool Known::is_at(const Place &place) const {
    if (place.has_same_address(source)) {
        return true;
    }
    const auto places = record->unicast();
    return std::any_of(places.begin(), places.end(),
                       [&](const Place &one) { return one.has_same_address(place); });
}

Table::~Table() {
    for (Known *known : slots_) {
        if (known != nullptr) {
            known->~Known();
            NUVOsapiHeap_freeStructure(known);
        }
    }
}

Known *Table::find(const NUVOsapiRtpsGuidPrefix &prefix) const {
    if (buckets_.is_empty()) {
        return nullptr;
    }
    Known *one = buckets_[bucket_of_prefix(prefix)].by_prefix;
    while (one != nullptr && NUVOsapiRtpsGuidPrefix_isSame(&one->prefix, &prefix) == 0) {
        one = one->next_by_prefix_;
    }
    return one;
}

bool Table::make_room() {
    if (size_ >= buckets_.size() && !make_buckets(std::max(2 * buckets_.size(), FIRST_SIZE))) {
        return false;
    }
    if (!free_slots_.is_empty()) {
        return true;
    }
    const std::size_t before = slots_.size();
    const std::size_t after = std::max(2 * before, FIRST_SIZE);
    if (!free_slots_.reserve(after) || !slots_.resize(after)) {
        return false;
    }
    for (std::size_t slot = after; slot > before; --slot) {
        (void)free_slots_.append(static_cast<NUV_UINT32>(slot - 1)); // there is room
    }
    return true;
}

bool Table::make_buckets(std::size_t count) {
    Array<Bucket> larger;
    if (!larger.resize(count)) {
        return false;
    }
    buckets_.swap(larger);
    for (Known *known : slots_) {
        if (known != nullptr) {
            link(known);
        }
    }
    return true;
}

void Table::link(Known *known) {
    Bucket &bucket = buckets_[bucket_of_prefix(known->prefix)];
    known->next_by_prefix_ = bucket.by_prefix;
    bucket.by_prefix = known;
    link_address(known);
    link_place(known);
}

void Table::link_address(Known *known) {
    Known *&first = buckets_[bucket_of_address(known->source)].by_address;
    known->next_by_address_ = first;
    first = known;
}

void Table::unlink_address(Known *known) {
    unlink_from<&Known::next_by_address_>(&buckets_[bucket_of_address(known->source)].by_address,
                                          known);
}

/** One without a place cannot be found by it. */
void Table::link_place(Known *known) {
    if (!known->record->metatraffic().empty()) {
        Known *&first = buckets_[bucket_of_place(known->record->metatraffic().front())].by_place;
        known->next_by_place_ = first;
        first = known;
    }
}

void Table::unlink_place(Known *known) {
    if (!known->record->metatraffic().empty()) {
        unlink_from<&Known::next_by_place_>(
            &buckets_[bucket_of_place(known->record->metatraffic().front())].by_place, known);
    }
}

void Table::add(Known *added) {
    added->slot = free_slots_[free_slots_.size() - 1];
    free_slots_.remove_last();
    slots_[added->slot] = added;
    ++size_;
    link(added);
}

void Table::remove(Known *removed) {
    unlink_from<&Known::next_by_prefix_>(&buckets_[bucket_of_prefix(removed->prefix)].by_prefix,
                                         removed);
    unlink_address(removed);
    unlink_place(removed);
    slots_[removed->slot] = nullptr;
    (void)free_slots_.append(removed->slot); // it came from there
    --size_;
}

void Table::change_source(Known *known, const Place &source) {
    if (known->source == source) {
        return;
    }
    unlink_address(known);
    known->source = source;
    link_address(known);
}

void Table::change_record(Known *known, HeldRemote record) {
    unlink_place(known);
    known->set_record(std::move(record));
    link_place(known);
}

} // namespace disc
