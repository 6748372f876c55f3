// SPDX-License-Identifier: Apache-2.0
// A participant's topics.
#include "participant_internal.h"

#include <cstring>
#include <new>

#include "osapi/osapi_heap.h"
#include "pres_log.h"

namespace {

bool is_empty(const char *text) {
    return text == nullptr || text[0] == '\0';
}

char *duplicate(const char *text) {
    const std::size_t length = std::strlen(text);
    char *copy = nullptr;
    NUVOsapiHeap_allocateString(&copy, length);
    if (copy != nullptr) {
        std::memcpy(copy, text, length + 1);
    }
    return copy;
}

/** Drops a reference; the last one frees the topic. */
void release(PRESTopic *topic) {
    if (topic->references.fetch_sub(1, std::memory_order_acq_rel) > 1) {
        return;
    }
    NUVOsapiHeap_freeString(topic->name);
    NUVOsapiHeap_freeString(topic->typeName);
    topic->~PRESTopic();
    NUVOsapiHeap_freeStructure(topic);
}

PRESTopic *make_topic(const char *name, const char *type_name) {
    PRESTopic *topic = nullptr;
    NUVOsapiHeap_allocateStructure(&topic, struct PRESTopic);
    if (topic == nullptr) {
        return nullptr;
    }
    new (topic) PRESTopic();
    topic->name = duplicate(name);
    topic->typeName = duplicate(type_name);
    if (topic->name == nullptr || topic->typeName == nullptr) {
        release(topic);
        return nullptr;
    }
    return topic;
}

PRESTopic *find_topic(const PRESParticipant *self, const char *name) {
    PRESTopic *topic = self->topics;
    while (topic != nullptr && std::strcmp(topic->name, name) != 0) {
        topic = topic->next;
    }
    return topic;
}

bool autoenables(PRESParticipant *self, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard record(self->recordEa, worker);
    return self->property.get().parameter.autoenableCreatedEntities != 0;
}

/** What came of asking for a topic. */
struct Outcome {
    int reason;       // PRES_RETCODE_OK with a new topic
    PRESTopic *topic; // the new one, or the one that exists, with a reference
};

Outcome add_topic(PRESParticipant *self, const char *name, const char *type_name,
                  REDAWorker *worker) {
    const reda::ExclusiveAreaGuard table(self->tableEa, worker);

    if (!self->takesTopics) {
        return {PRES_RETCODE_ALREADY_DELETED, nullptr};
    }
    PRESTopic *const existing = find_topic(self, name);
    if (existing != nullptr) {
        existing->references.fetch_add(1, std::memory_order_relaxed);
        return {PRES_RETCODE_PRECONDITION_NOT_MET, existing};
    }
    PRESTopic *const topic = make_topic(name, type_name);
    if (topic == nullptr) {
        return {PRES_RETCODE_OUT_OF_RESOURCES, nullptr};
    }
    topic->isEnabled = self->phase == PRESParticipant::Phase::ENABLED && autoenables(self, worker);
    topic->next = self->topics;
    self->topics = topic;
    return {PRES_RETCODE_OK, topic};
}

/** Says why a name is taken, and tells the listener when that is for another type. */
void report_existing_topic(PRESParticipant *self, PRESTopic *existing, const char *type_name,
                           REDAWorker *worker) {
    constexpr const char *LOG_METHOD = "PRESParticipant_createTopic";
    if (std::strcmp(existing->typeName, type_name) == 0) {
        PRESLog_error(worker, "topic '%s' exists already", existing->name);
        return;
    }
    PRESLog_error(worker, "topic '%s' exists already with type '%s' and cannot have type '%s'",
                  existing->name, existing->typeName, type_name);
    if ((self->listenerMask & PRES_STATUS_KIND_INCONSISTENT_TOPIC) != 0 &&
        self->listener.onInconsistentTopic != nullptr) {
        self->listener.onInconsistentTopic(self->listener.param, existing, worker);
    }
}

/** Takes a topic off the list. False when it is not on it. */
bool remove_topic(PRESParticipant *self, const PRESTopic *topic, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard table(self->tableEa, worker);
    for (PRESTopic **link = &self->topics; *link != nullptr; link = &(*link)->next) {
        if (*link == topic) {
            *link = topic->next;
            return true;
        }
    }
    return false;
}

} // namespace

void PRESParticipant_enableTopicsI(PRESParticipant *self) {
    for (PRESTopic *topic = self->topics; topic != nullptr; topic = topic->next) {
        topic->isEnabled = true;
    }
}

PRESTopic *PRESParticipant_createTopic(PRESParticipant *self, int *failReason, const char *name,
                                       const char *typeName, REDAWorker *worker) {
    if (is_empty(name) || is_empty(typeName)) {
        PRESLog_error(worker, "a topic needs a name and a type");
        *failReason = PRES_RETCODE_BAD_PARAMETER;
        return nullptr;
    }
    const Outcome outcome = add_topic(self, name, typeName, worker);
    if (outcome.reason == PRES_RETCODE_OK) {
        return outcome.topic;
    }
    if (outcome.topic != nullptr) {
        report_existing_topic(self, outcome.topic, typeName, worker);
        release(outcome.topic);
    } else if (outcome.reason == PRES_RETCODE_ALREADY_DELETED) {
        PRESLog_error(worker, "topic '%s' asked for of a participant that is going down", name);
    } else {
        PRESLog_error(worker, "out of memory for topic '%s'", name);
    }
    *failReason = outcome.reason;
    return nullptr;
}

int PRESParticipant_deleteTopic(PRESParticipant *self, int *failReason, PRESTopic *topic,
                                REDAWorker *worker) {
    if (!remove_topic(self, topic, worker)) {
        PRESLog_error(worker, "cannot delete a topic that the participant does not have");
        *failReason = PRES_RETCODE_BAD_PARAMETER;
        return 0;
    }
    if (self->finalizeListener.onBeforeTopicFinalize != nullptr) {
        self->finalizeListener.onBeforeTopicFinalize(
            self->finalizeListener.onBeforeTopicFinalizeParam, topic, worker);
    }
    release(topic);
    return 1;
}

int PRESParticipant_hasTopic(PRESParticipant *self, REDAWorker *worker) {
    const reda::ExclusiveAreaGuard table(self->tableEa, worker);
    return self->topics != nullptr ? 1 : 0;
}

const char *PRESTopic_getName(const PRESTopic *self) {
    return self->name;
}

const char *PRESTopic_getTypeName(const PRESTopic *self) {
    return self->typeName;
}

int PRESTopic_isEnabled(const PRESTopic *self) {
    return self->isEnabled ? 1 : 0;
}
