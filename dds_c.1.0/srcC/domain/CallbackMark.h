// SPDX-License-Identifier: Apache-2.0
/**
 * @file CallbackMark.h
 * @brief The mark of a thread that runs a callback of a listener.
 */
#ifndef DOMAIN_CALLBACK_MARK_H
#define DOMAIN_CALLBACK_MARK_H

/** Says for as long as it lives that its thread runs a callback of a listener. */
class CallbackMark {
public:
    CallbackMark() : wasSet(isSet) {
        isSet = true;
    }
    ~CallbackMark() {
        isSet = wasSet;
    }
    /** Whether the calling thread is within a callback. */
    static bool is_set() {
        return isSet;
    }

    CallbackMark(const CallbackMark &) = delete;
    CallbackMark &operator=(const CallbackMark &) = delete;

private:
    static inline thread_local bool isSet = false;
    const bool wasSet;
};

#endif
