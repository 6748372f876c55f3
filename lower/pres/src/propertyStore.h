// SPDX-License-Identifier: Apache-2.0
// A participant's property, kept.
#ifndef PRES_PROPERTY_STORE_H
#define PRES_PROPERTY_STORE_H

#include "pres/pres_participantProperty.h"

/** Length of the text of a property's partition names; 0 when it has none. */
size_t PRESParticipantProperty_getPartitionLengthI(const struct PRESParticipantProperty *self);

/** Bytes of all texts of a property list with their terminators. */
size_t PRESPropertyList_getStringSizeI(const struct PRESPropertyList *self);

/** A property that owns its variable parts. Its owner locks. */
class PRESPropertyStore {
public:
    PRESPropertyStore() = default;
    ~PRESPropertyStore();
    PRESPropertyStore(const PRESPropertyStore &) = delete;
    PRESPropertyStore &operator=(const PRESPropertyStore &) = delete;

    /** Fills an empty store with a deep copy. False when memory runs out: it is good for nothing.
     */
    bool copyFrom(const PRESParticipantProperty &source);

    /** As PRESParticipant_getProperty does. False when a buffer of @p out is too small. */
    bool copyTo(PRESParticipantProperty &out) const;

    void swap(PRESPropertyStore &other);

    const PRESParticipantProperty &get() const {
        return property_;
    }

    /** Replaces the facade's part, which holds no string here. */
    void setFacadeProperty(const COMMENDActiveFacadeProperty &facadeProperty);

    void setLocators(const PRESLocatorQosPolicy &defaultUnicast,
                     const PRESLocatorQosPolicy &metatrafficUnicast,
                     const PRESReducedLocatorQosPolicy &metatrafficMulticast);

private:
    PRESParticipantProperty property_ = PRES_PARTICIPANT_PROPERTY_DEFAULT;
};

#endif
