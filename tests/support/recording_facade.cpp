// SPDX-License-Identifier: Apache-2.0
#include "support/recording_facade.h"

#include <type_traits>

#include "support/call_site.h"

namespace support {

namespace {

RecordingFacade *itself(COMMENDFacade *slots) {
    return reinterpret_cast<RecordingFacade *>(slots);
}

/** Stands for the manager of the references that no facade has made. */
REDAWeakReferenceManager *scriptedManager() {
    static char manager;
    return reinterpret_cast<REDAWeakReferenceManager *>(&manager);
}

/** Calls a slot of the facade behind @p facade; @p otherwise is the answer of none. */
template <typename R, typename... A>
R passOn(R (*COMMENDFacade::*slot)(COMMENDFacade *, A...), std::type_identity_t<R> otherwise,
         COMMENDFacade *facade, std::type_identity_t<A>... arguments) {
    COMMENDFacade *real = itself(facade)->real;
    return real == nullptr ? otherwise : (real->*slot)(real, arguments...);
}

using AddEntryport = int(COMMENDFacade *, REDAWeakReference *, const NUVNetioLocatorInfo *,
                         REDAWorker *);
using RemoveEntryport = int(COMMENDFacade *, REDAWeakReference *, REDAWorker *);
using CheckEntryports = int(COMMENDFacade *, int *, const REDAWeakReference *, REDAWorker *);
using ChangeDestination = int(COMMENDFacade *, const NUVNetioLocator *, REDAWorker *);
using SendMessage = NUV_INT32(COMMENDFacade *, const NUV_UINT8 *, NUV_UINT32, REDAWorker *);
using FlushEntryports = int(COMMENDFacade *, const NUVNtpTime *, REDAWorker *);
using SetMessageListener = void(COMMENDFacade *, const COMMENDMessageListener *, REDAWorker *);
using GetStatistics = void(COMMENDFacade *, COMMENDFacadeStatistics *, REDAWorker *);

constinit Site<AddEntryport> site_add("COMMENDFacade.addEntryport", Failing::YES);
constinit Site<RemoveEntryport> site_remove("COMMENDFacade.removeEntryport", Failing::BY_NAME);
constinit Site<CheckEntryports> site_check("COMMENDFacade.checkEntryports", Failing::YES);
constinit Site<ChangeDestination> site_forget("COMMENDFacade.removeDestination", Failing::BY_NAME);
constinit Site<ChangeDestination> site_learn("COMMENDFacade.addDestination", Failing::YES);
constinit Site<SendMessage> site_send("COMMENDFacade.sendMessage", Failing::BY_NAME);
constinit Site<FlushEntryports> site_flush("COMMENDFacade.flushEntryports", Failing::BY_NAME);
constinit Site<SetMessageListener> site_listen("COMMENDFacade.setMessageListener", Failing::NEVER);
constinit Site<GetStatistics> site_statistics("COMMENDFacade.getStatistics", Failing::NEVER);

const faults::Registration registrations[] = {
    faults::Registration(site_add),        faults::Registration(site_remove),
    faults::Registration(site_check),      faults::Registration(site_forget),
    faults::Registration(site_learn),      faults::Registration(site_send),
    faults::Registration(site_flush),      faults::Registration(site_listen),
    faults::Registration(site_statistics),
};

int add_entryport(COMMENDFacade *self, REDAWeakReference *out, const NUVNetioLocatorInfo *info,
                  REDAWorker *caller) {
    return site_add.call(
        [](COMMENDFacade *facade, REDAWeakReference *entryport, const NUVNetioLocatorInfo *locator,
           REDAWorker *worker) {
            RecordingFacade *recording = itself(facade);
            if (recording->real == nullptr) {
                *entryport = {scriptedManager(), recording->reservations++, 1};
            }
            return passOn(&COMMENDFacade::addEntryport, 1, facade, entryport, locator, worker);
        },
        "facade, entryportWROut, locatorInfo, worker", self, out, info, caller);
}

int remove_entryport(COMMENDFacade *self, REDAWeakReference *reference, REDAWorker *caller) {
    return site_remove.call(
        [](COMMENDFacade *facade, REDAWeakReference *entryport, REDAWorker *worker) {
            return passOn(&COMMENDFacade::removeEntryport, 1, facade, entryport, worker);
        },
        "facade, entryportWR, worker", self, reference, caller);
}

int check_entryports(COMMENDFacade *self, int *active, const REDAWeakReference *transport,
                     REDAWorker *caller) {
    return site_check.call(
        [](COMMENDFacade *facade, int *out, const REDAWeakReference *handle, REDAWorker *worker) {
            if (itself(facade)->real == nullptr) {
                *out = 0;
            }
            return passOn(&COMMENDFacade::checkEntryports, 1, facade, out, handle, worker);
        },
        "facade, hasActiveEntryPortsOut, transportHandle, worker", self, active, transport, caller);
}

int remove_destination(COMMENDFacade *self, const NUVNetioLocator *locator, REDAWorker *caller) {
    return site_forget.call(
        [](COMMENDFacade *facade, const NUVNetioLocator *destination, REDAWorker *worker) {
            return passOn(&COMMENDFacade::removeDestination, 1, facade, destination, worker);
        },
        "facade, destination, worker", self, locator, caller);
}

int add_destination(COMMENDFacade *self, const NUVNetioLocator *locator, REDAWorker *caller) {
    return site_learn.call(
        [](COMMENDFacade *facade, const NUVNetioLocator *destination, REDAWorker *worker) {
            return passOn(&COMMENDFacade::addDestination, 1, facade, destination, worker);
        },
        "facade, destination, worker", self, locator, caller);
}

NUV_INT32 send_message(COMMENDFacade *self, const NUV_UINT8 *message, NUV_UINT32 size,
                       REDAWorker *caller) {
    return site_send.call(
        [](COMMENDFacade *facade, const NUV_UINT8 *data, NUV_UINT32 length, REDAWorker *worker) {
            return passOn(&COMMENDFacade::sendMessage, 0, facade, data, length, worker);
        },
        "facade, data, length, worker", self, message, size, caller);
}

int flush_entryports(COMMENDFacade *self, const NUVNtpTime *limit, REDAWorker *caller) {
    return site_flush.call(
        [](COMMENDFacade *facade, const NUVNtpTime *timeout, REDAWorker *worker) {
            return passOn(&COMMENDFacade::flushEntryports, 1, facade, timeout, worker);
        },
        "facade, timeout, worker", self, limit, caller);
}

void set_message_listener(COMMENDFacade *self, const COMMENDMessageListener *taker,
                          REDAWorker *caller) {
    site_listen.call(
        [](COMMENDFacade *facade, const COMMENDMessageListener *listener, REDAWorker *worker) {
            if (COMMENDFacade *real = itself(facade)->real) {
                real->setMessageListener(real, listener, worker);
            }
        },
        "facade, listener, worker", self, taker, caller);
}

void get_statistics(COMMENDFacade *self, COMMENDFacadeStatistics *statistics, REDAWorker *caller) {
    site_statistics.call(
        [](COMMENDFacade *facade, COMMENDFacadeStatistics *out, REDAWorker *worker) {
            if (COMMENDFacade *real = itself(facade)->real) {
                real->getStatistics(real, out, worker);
            } else {
                *out = {};
            }
        },
        "facade, out, worker", self, statistics, caller);
}

constexpr COMMENDFacade SLOTS = {
    add_entryport, remove_entryport, check_entryports,     remove_destination, add_destination,
    send_message,  flush_entryports, set_message_listener, get_statistics,
};
// A slot that were left out would be called with this facade in place of its own.
static_assert(sizeof(COMMENDFacade) == 9 * sizeof(void (*)()));

} // namespace

RecordingFacade::RecordingFacade(COMMENDFacade *real_facade) : slots(SLOTS), real(real_facade) {}

} // namespace support

extern "C" COMMENDFacade *__real_PRESParticipant_getFacade(PRESParticipant *participant);
extern "C" COMMENDFacade *__wrap_PRESParticipant_getFacade(PRESParticipant *participant);

namespace support {

COMMENDFacade *RecordingFacade::of(Recorder &recorder, PRESParticipant *participant) {
    if (recorder.scripted_ != nullptr) {
        return &recorder.scripted_->slots;
    }
    COMMENDFacade *real = __real_PRESParticipant_getFacade(participant);
    std::unique_ptr<RecordingFacade> &recording = recorder.facades_[real];
    if (recording == nullptr) {
        recording = std::make_unique<RecordingFacade>(real);
        recorder.name(&recording->slots, "facade");
    }
    return &recording->slots;
}

} // namespace support

namespace {

constinit support::Site<COMMENDFacade *(PRESParticipant *)>
    site_getFacade("PRESParticipant_getFacade", support::Failing::NEVER);
const faults::Registration registration_getFacade(site_getFacade);

} // namespace

COMMENDFacade *__wrap_PRESParticipant_getFacade(PRESParticipant *participant) {
    support::Recorder *recorder = support::Recorder::current();
    if (recorder == nullptr || recorder->isInside()) { // the lower layers see the real one
        return __real_PRESParticipant_getFacade(participant);
    }
    return site_getFacade.call(
        [recorder](PRESParticipant *self) { return support::RecordingFacade::of(*recorder, self); },
        "participant", participant);
}
