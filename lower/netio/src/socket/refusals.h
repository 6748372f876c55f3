// SPDX-License-Identifier: Apache-2.0
// What is said of the interfaces on which a group could not be joined.
#ifndef NETIO_REFUSALS_H
#define NETIO_REFUSALS_H

#include "interface/allowedInterfaces.h"
#include "reda/reda_repetition.h"

namespace netio {

class Memberships;

/** Names of interfaces as a message lists them; of those that do not fit the number. */
class NameList {
public:
    void add(const char *name);
    /** No more are added then. */
    const char *get();

private:
    char text_[256] = "";
    NUV_UINT32 left_out_ = 0;
};

/** The interfaces that refuse for one reason, that of the first. */
struct Refusing {
    int error = 0;
    NameList interfaces;

    /** False when it is for another reason. */
    bool add(int its_error, const char *name);
};

/** What is to be said of a group; kept until nothing is locked that a device may come to need. */
class RefusalNews {
public:
    /** Nothing. */
    RefusalNews() = default;
    RefusalNews(const NUVNetioLocator &group, const Refusing &refusing, bool is_joined)
        : is_any_(true), is_joined_(is_joined), group_(group), refusing_(refusing) {}

    bool is_any() const {
        return is_any_;
    }
    /** Warns of them in one line, if there is anything to say. */
    void tell(REDARepetitions *repetitions);

private:
    bool is_any_ = false;
    bool is_joined_ = false; // on another interface
    NUVNetioLocator group_ = NUV_NETIO_LOCATOR_INVALID;
    Refusing refusing_;
};

/** For one of those who receive a group. */
class Refusals {
public:
    /** @param quiet nothing is said of what is met at first: it was said before. */
    explicit Refusals(bool quiet) : quiet_(quiet) {}
    ~Refusals();
    Refusals(const Refusals &) = delete;
    Refusals &operator=(const Refusals &) = delete;

    /**
     * The interfaces that refuse, for one line, so that a host with many of them is no flood; each
     * again when it refuses for another reason than before. A group that no interface joins is one
     * line. The caller has it said.
     */
    RefusalNews take_news(const NUVNetioLocator &group, const Memberships &memberships,
                          const AllowedInterfaces &allowed,
                          const NUVNetioInterfaceSnapshot &snapshot);

private:
    /** A refusal that has been said, or kept quiet about. */
    struct Said {
        NUV_UINT32 interface;
        int error;
        bool wanted;
    };

    void note(NUV_UINT32 interface, int error);
    Said *find(NUV_UINT32 interface) const;
    void forget_unwanted();
    bool make_room();

    bool quiet_;
    bool is_deaf_ = false; // it has been said that no interface joins
    int deaf_error_ = 0;   // why
    Said *said_ = nullptr;
    NUV_INT32 count_ = 0;
    NUV_INT32 capacity_ = 0;
};

} // namespace netio

#endif
