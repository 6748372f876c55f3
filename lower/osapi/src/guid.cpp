// SPDX-License-Identifier: Apache-2.0
// Participant GUIDs that are unique without any network address.
#include "osapi/osapi_guid.h"

#include <array>
#include <atomic>
#include <cstddef>

#include <fcntl.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <unistd.h>

#include "osapi/osapi_ntptime.h"

namespace {

/** FNV-1a with 64 bits. */
class Hash {
public:
    constexpr Hash() = default;

    void add(const void *data, std::size_t size) {
        const auto *bytes = static_cast<const unsigned char *>(data);
        for (std::size_t i = 0; i < size; ++i) {
            value_ = (value_ ^ bytes[i]) * 0x100000001B3u;
        }
    }

    template <typename Number>
    void add(Number number) {
        add(&number, sizeof number);
    }

    /** Half the bits, each of which depends on all of them. */
    NUV_UINT32 folded() const {
        NUV_UINT64 mixed = (value_ ^ (value_ >> 32)) * 0x9E3779B97F4A7C15u;
        mixed ^= mixed >> 29;
        return static_cast<NUV_UINT32>(mixed ^ (mixed >> 32));
    }

private:
    NUV_UINT64 value_ = 0xCBF29CE484222325u;
};

/** Adds the start of a file, which is enough for a line with an identity. A missing file is fine.
 */
void add_file(Hash &hash, const char *path) {
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) {
        return;
    }
    std::array<char, 128> contents{};
    const ssize_t length = read(descriptor, contents.data(), contents.size());
    if (length > 0) {
        hash.add(contents.data(), static_cast<std::size_t>(length));
    }
    close(descriptor);
}

void add_network_namespace(Hash &hash) {
    struct stat status {};
    if (stat("/proc/thread-self/ns/net", &status) == 0) {
        hash.add(status.st_dev);
        hash.add(status.st_ino);
    }
}

/**
 * Read once per process, for it takes longer than all the rest of a GUID. A thread that goes to
 * another network namespace later keeps this host id; random bits keep its GUIDs apart.
 */
NUV_UINT32 read_host_id() {
    Hash hash;
    add_file(hash, "/etc/machine-id");
    add_file(hash, "/proc/sys/kernel/random/boot_id");
    add_network_namespace(hash);
    // The first two octets of a GUID prefix are those of the vendor id. It is unknown, {0, 0}.
    return hash.folded() & 0xFFFFu;
}

NUV_UINT32 host_id() {
    static const NUV_UINT32 host = read_host_id();
    return host;
}

NUV_UINT32 not_zero(NUV_UINT32 value) {
    return value != 0 ? value : 1;
}

/** Bits that no other process has, also one that was started at the same time on such a host. */
struct Secret {
    std::array<NUV_UINT64, 2> bits{};

    Secret() {
        // Early after a boot there may be none yet; rather than wait, time and count have to do.
        [[maybe_unused]] const ssize_t received =
            getrandom(bits.data(), sizeof bits, GRND_NONBLOCK);
    }
};

void generate_prefix(const NUVOsapiRtpsGuidSource * /*self*/, NUVOsapiRtpsGuidPrefix *out) {
    static std::atomic<NUV_UINT64> last_count{0};
    static const Secret secret;

    // The process id is asked for each time: a forked child remembers all the rest.
    const pid_t process_id = getpid();
    const NUV_UINT64 count = last_count.fetch_add(1, std::memory_order_relaxed);
    NUVClock *monotonic = NUVClock_getMonotonic();
    const NUV_INT64 now = monotonic->getNanoseconds(monotonic);

    Hash process;
    process.add(process_id);
    process.add(now);
    process.add(count);
    process.add(secret.bits[0]);

    Hash instance;
    instance.add(secret.bits[1]);
    instance.add(process_id);
    instance.add(now);
    instance.add(count);

    out->hostId = not_zero(host_id());
    out->appId = not_zero(process.folded());
    out->instanceId = not_zero(instance.folded());
}

NUVOsapiRtpsGuidSource source = {generate_prefix};

} // namespace

int NUVOsapiRtpsGuidPrefix_isSame(const NUVOsapiRtpsGuidPrefix *left,
                                  const NUVOsapiRtpsGuidPrefix *right) {
    return left->hostId == right->hostId && left->appId == right->appId &&
                   left->instanceId == right->instanceId
               ? 1
               : 0;
}

NUVOsapiRtpsGuidSource *NUVOsapiRtpsGuidSource_get(void) {
    return &source;
}

void NUVOsapiRtpsGuid_generate(NUVOsapiRtpsGuid *out) {
    source.generatePrefix(&source, &out->prefix);
    out->objectId = NUV_OSAPI_RTPS_OBJECT_ID_PARTICIPANT;
}
