// SPDX-License-Identifier: Apache-2.0
// The receive ports of a facade, and who has reserved them.
#ifndef COMMEND_ENTRYPORT_TABLE_H
#define COMMEND_ENTRYPORT_TABLE_H

#include <optional>
#include <span>

#include "commend/commend_facade.h"
#include "receiver.h"

namespace commend {

class EntryportTable;

/** One receive port: a resource that several reservations may share. */
struct Entryport {
    EntryportTable *table;
    Entryport *next;
    NUVNetioLocator locator; // transport, port and, for multicast, the group
    bool tracked;            // its messages are timed
    NUV_INT32 reservations;  // 0: closed, while the reactor still hands on a message of it
    NUVNetioReceiveResource *resource; // null then
};

/** Thread-safe. A reservation is a weak reference to its entryport. */
class EntryportTable {
public:
    EntryportTable(NUVNetioConfigurator *configurator, Receiver &receiver)
        : configurator_(configurator), receiver_(receiver) {}
    /** After close(). */
    ~EntryportTable();
    EntryportTable(const EntryportTable &) = delete;
    EntryportTable &operator=(const EntryportTable &) = delete;

    /** False when memory runs out. */
    bool open();
    /**
     * Gives all reservations back and waits until no message is being handed on. False when that
     * takes too long; it may be called again.
     */
    bool close(REDAWorker *worker);

    /** Makes a reservation. On failure its reference is invalid and a message says why. */
    bool reserve(const NUVNetioLocator &locator, REDAWeakReference *out, REDAWorker *worker);
    /** Gives one back; false when it is none. */
    bool give_back(const REDAWeakReference &reservation, REDAWorker *worker);

    /** Whether there is a reservation of the locator's receive resource. */
    bool has_reserved(const NUVNetioLocator &locator, REDAWorker *worker);
    /**
     * Sends a message from a unicast port of the destination's transport. Answers how many
     * datagrams the network took; nothing when there is no such reservation.
     */
    std::optional<NUV_INT32> send_from(KOLS_Transport_Port_t port,
                                       const NUVNetioLocator &destination,
                                       std::span<const NUV_UINT8> message, REDAWorker *worker);

    /** Whether any entryport of a transport is open; the invalid class means any transport. */
    bool has_open(KOLS_Transport_ClassId_t transport, REDAWorker *worker);
    /** Waits until nothing that was given back hands on a message; false when the time is up. */
    bool flush(const NUVNtpTime &timeout, REDAWorker *worker);

    void add_statistics(COMMENDFacadeStatistics *out, REDAWorker *worker);

private:
    Entryport *find_shared(const NUVNetioLocator &locator);
    void note_no_memory(const NUVNetioLocator &locator);
    Entryport *make_entryport(const NUVNetioLocator &locator);
    bool reserve_new(const NUVNetioLocator &locator, REDAWeakReference *out, REDAWorker *worker);
    bool open_resource(Entryport *entryport, REDAWorker *worker);
    void release(Entryport *entryport, REDAWorker *worker);
    void forget(Entryport *entryport);

    static void on_message(void *param, const NUVNetioMessage *message, REDAWorker *worker);
    static void on_closed(void *param, REDAWorker *worker);

    NUVNetioConfigurator *const configurator_;
    Receiver &receiver_;
    REDAExclusiveArea *area_ = nullptr; // guards what follows
    REDAWeakReferenceManager *references_ = nullptr;
    Entryport *first_ = nullptr;
    bool is_closed_ = false;
    Entryport *spare_ = nullptr; // one whose port was taken: the next try costs no allocation
};

} // namespace commend

#endif
