// SPDX-License-Identifier: Apache-2.0
// Which bit of transport_builtin.mask, and which kind of locator, stands for which class of
// transports.
#ifndef DDS_C_TRANSPORT_BUILTIN_H
#define DDS_C_TRANSPORT_BUILTIN_H

#include <array>

#include "dds_c/dds_c_locator.h"
#include "dds_c/dds_c_qospolicy.h"
#include "netio/netio_transport.h"

struct DDS_TransportBuiltinBitI {
    DDS_TransportBuiltinKindMask bit;
    DDS_Long kind;
    KOLS_Transport_ClassId_t classid;
};

inline constexpr std::array DDS_TRANSPORTBUILTIN_BITS = {
    DDS_TransportBuiltinBitI{DDS_TRANSPORTBUILTIN_UDPv4, DDS_LOCATOR_KIND_UDPv4,
                             KOLS_TRANSPORT_CLASSID_UDPv4},
    DDS_TransportBuiltinBitI{DDS_TRANSPORTBUILTIN_UDPv6, DDS_LOCATOR_KIND_UDPv6,
                             KOLS_TRANSPORT_CLASSID_UDPv6},
};

static_assert(DDS_TRANSPORTBUILTIN_BITS.size() == NUV_NETIO_TRANSPORTS_MAX);

/** The bit of a class; 0 when it has none. */
constexpr DDS_TransportBuiltinKindMask
DDS_TransportBuiltin_bit_of_classI(KOLS_Transport_ClassId_t classid) {
    for (const DDS_TransportBuiltinBitI &one : DDS_TRANSPORTBUILTIN_BITS) {
        if (one.classid == classid) {
            return one.bit;
        }
    }
    return 0;
}

/** The bits of all classes. */
constexpr DDS_TransportBuiltinKindMask DDS_TransportBuiltin_all_bitsI() {
    DDS_TransportBuiltinKindMask all = 0;
    for (const DDS_TransportBuiltinBitI &one : DDS_TRANSPORTBUILTIN_BITS) {
        all |= one.bit;
    }
    return all;
}

static_assert(DDS_TransportBuiltin_all_bitsI() == DDS_TRANSPORTBUILTIN_MASK_ALL);

/** Whether public locators and those of the network call every class the same. */
constexpr bool DDS_TransportBuiltin_kinds_are_classesI() {
    for (const DDS_TransportBuiltinBitI &one : DDS_TRANSPORTBUILTIN_BITS) {
        if (one.kind != one.classid) {
            return false;
        }
    }
    return true;
}

static_assert(DDS_TransportBuiltin_kinds_are_classesI());

#endif
