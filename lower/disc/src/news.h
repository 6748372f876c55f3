// SPDX-License-Identifier: Apache-2.0
// What a participant's listener has not been told of yet.
#ifndef DISC_NEWS_H
#define DISC_NEWS_H

#include "array.h"
#include "disc/disc_participant.h"
#include "remote.h"

namespace disc {

/** In the order in which it happened. Without a listener there is none. */
class News {
public:
    News() = default;
    ~News();
    News(const News &) = delete;
    News &operator=(const News &) = delete;

    void open(const DISCParticipantListener &listener) {
        listener_ = listener;
    }
    /** Makes room, with that for the end of each of @p known. False when memory runs out. */
    bool make_room(std::size_t known);
    /** There is room for what comes and what goes; a change without room is not told of. */
    void add(DISCChange change, const DISCRemote &record);
    /** What it is about is the caller's then. */
    bool take(DISCChange *change, const DISCRemote **record);

private:
    struct Item {
        DISCChange change;
        const DISCRemote *record; // held
    };

    bool merge(DISCChange change, const DISCRemote &record);

    DISCParticipantListener listener_{};
    Array<Item> items_; // those before first_ have been taken
    std::size_t first_ = 0;
};

} // namespace disc

#endif
