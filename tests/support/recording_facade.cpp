#include "support/recording_facade.h"

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

using AddEntryport = int(COMMENDFacade *, REDAWeakReference *, const NUVNetioLocatorInfo *,
                         REDAWorker *);
using RemoveEntryport = int(COMMENDFacade *, REDAWeakReference *, REDAWorker *);
using CheckEntryports = int(COMMENDFacade *, int *, const REDAWeakReference *, REDAWorker *);
using RemoveDestination = int(COMMENDFacade *, const NUVNetioLocator *, REDAWorker *);

const Site<AddEntryport> site_add("COMMENDFacade.addEntryport", Failing::YES);
const Site<RemoveEntryport> site_remove("COMMENDFacade.removeEntryport", Failing::BY_NAME);
const Site<CheckEntryports> site_check("COMMENDFacade.checkEntryports", Failing::YES);
const Site<RemoveDestination> site_forget("COMMENDFacade.removeDestination", Failing::BY_NAME);

int add_entryport(COMMENDFacade *self, REDAWeakReference *out, const NUVNetioLocatorInfo *info,
                  REDAWorker *caller) {
    return site_add.call(
        [](COMMENDFacade *facade, REDAWeakReference *entryport, const NUVNetioLocatorInfo *locator,
           REDAWorker *worker) {
            RecordingFacade *recording = itself(facade);
            if (recording->real != nullptr) {
                return recording->real->addEntryport(recording->real, entryport, locator, worker);
            }
            *entryport = {scriptedManager(), recording->reservations++, 1};
            return 1;
        },
        "facade, entryportWROut, locatorInfo, worker", self, out, info, caller);
}

int remove_entryport(COMMENDFacade *self, REDAWeakReference *reference, REDAWorker *caller) {
    return site_remove.call(
        [](COMMENDFacade *facade, REDAWeakReference *entryport, REDAWorker *worker) {
            COMMENDFacade *real = itself(facade)->real;
            return real == nullptr ? 1 : real->removeEntryport(real, entryport, worker);
        },
        "facade, entryportWR, worker", self, reference, caller);
}

int check_entryports(COMMENDFacade *self, int *active, const REDAWeakReference *transport,
                     REDAWorker *caller) {
    return site_check.call(
        [](COMMENDFacade *facade, int *out, const REDAWeakReference *handle, REDAWorker *worker) {
            COMMENDFacade *real = itself(facade)->real;
            if (real != nullptr) {
                return real->checkEntryports(real, out, handle, worker);
            }
            *out = 0;
            return 1;
        },
        "facade, hasActiveEntryPortsOut, transportHandle, worker", self, active, transport, caller);
}

int remove_destination(COMMENDFacade *self, const NUVNetioLocator *locator, REDAWorker *caller) {
    return site_forget.call(
        [](COMMENDFacade *facade, const NUVNetioLocator *destination, REDAWorker *worker) {
            COMMENDFacade *real = itself(facade)->real;
            return real == nullptr ? 1 : real->removeDestination(real, destination, worker);
        },
        "facade, destination, worker", self, locator, caller);
}

} // namespace

RecordingFacade::RecordingFacade(COMMENDFacade *real_facade) : slots{}, real(real_facade) {
    if (real != nullptr) {
        slots = *real;
    }
    slots.addEntryport = add_entryport;
    slots.removeEntryport = remove_entryport;
    slots.checkEntryports = check_entryports;
    slots.removeDestination = remove_destination;
}

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

const support::Site<COMMENDFacade *(PRESParticipant *)> site_getFacade("PRESParticipant_getFacade",
                                                                       support::Failing::NEVER);

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
