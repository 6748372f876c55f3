// What is said of the interfaces on which a group could not be joined.
#ifndef NETIO_REFUSALS_H
#define NETIO_REFUSALS_H

#include "interface/allowedInterfaces.h"
#include "reda/reda_repetition.h"

namespace netio {

class Memberships;

/** For one of those who receive a group. */
class Refusals {
public:
    /** @param quiet nothing is said of what is met at first: it was said before. */
    explicit Refusals(bool quiet) : quiet_(quiet) {}
    ~Refusals();
    Refusals(const Refusals &) = delete;
    Refusals &operator=(const Refusals &) = delete;

    /**
     * Warns of interfaces that refuse, in one line, so that a host with many of them is no flood;
     * of each again when it refuses for another reason than before. A group that no interface joins
     * is one warning.
     */
    void tell(const NUVNetioLocator &group, const Memberships &memberships,
              const AllowedInterfaces &allowed, const NUVNetioInterfaceSnapshot &snapshot,
              REDARepetitions *repetitions);

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
