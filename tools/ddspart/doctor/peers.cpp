// SPDX-License-Identifier: Apache-2.0
#include "doctor/peers.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>

#include "doctor/socket.h"

namespace doctor {

namespace {

using Clock = std::chrono::steady_clock;

struct Answer {
    std::string failure; // with neither it is not known yet
    bool is_unanswered = false;
    std::vector<std::string> addresses;
};

std::string text_of(const addrinfo &entry) {
    std::array<char, NI_MAXHOST> text{};

    (void)getnameinfo(entry.ai_addr, entry.ai_addrlen, text.data(), text.size(), nullptr, 0,
                      NI_NUMERICHOST);
    return text.data();
}

Answer look_up(const std::string &name, int family) {
    addrinfo hints = {};
    addrinfo *first = nullptr;
    Answer answer;

    hints.ai_family = family;
    hints.ai_socktype = SOCK_DGRAM;
    const int code = getaddrinfo(name.c_str(), nullptr, &hints, &first);

    if (code != 0) {
        answer.is_unanswered = code == EAI_AGAIN;
        answer.failure = code == EAI_SYSTEM ? "no answer" : gai_strerror(code);
        return answer;
    }
    for (const addrinfo *entry = first; entry != nullptr; entry = entry->ai_next) {
        answer.addresses.push_back(text_of(*entry));
    }
    freeaddrinfo(first);
    return answer;
}

/** A name that is being looked up, which may take longer than anybody waits. */
class Lookup {
public:
    Lookup(const std::string &name, int family) : state_(std::make_shared<State>()) {
        // The thread may outlive all but the state, and ends with the process at the latest.
        std::thread([state = state_, name, family] {
            Answer answer = look_up(name, family);
            const std::lock_guard lock(state->mutex);

            state->answer = std::move(answer);
            state->is_there.notify_one();
        }).detach();
    }

    Answer wait(Clock::time_point end) const {
        std::unique_lock lock(state_->mutex);

        return state_->is_there.wait_until(lock, end, [&] { return state_->answer.has_value(); })
                   ? *state_->answer
                   : Answer{};
    }

private:
    struct State {
        std::mutex mutex;
        std::condition_variable is_there;
        std::optional<Answer> answer;
    };
    std::shared_ptr<State> state_;
};

int domain_of(const Peer &peer, const Wishes &wishes) {
    if (!peer.family && wishes.families.size() > 1) {
        return AF_UNSPEC;
    }
    return peer.family.value_or(wishes.families.front()) == Family::IPV4 ? AF_INET : AF_INET6;
}

/** What the kernel says of the way to an address: 0, or an error. */
int route_error(const std::string &address) {
    constexpr unsigned ANY_PORT = 9; // nothing is sent there
    const std::optional<Family> family = family_of(address);

    if (!family) {
        return 0; // of one with a scope the interface is known
    }
    const Socket socket(*family);
    const SocketName name(*family, address, ANY_PORT);

    return connect(socket.get(), name.get(), name.length()) == 0 ? 0 : errno;
}

} // namespace

std::vector<PeerTrial> try_peers(const Wishes &wishes, std::chrono::milliseconds most_time) {
    const Clock::time_point end = Clock::now() + most_time;
    std::vector<PeerTrial> trials;
    std::vector<std::pair<std::size_t, Lookup>> lookups;

    for (const Peer &peer : wishes.peers) {
        if (peer.is_group) {
            continue;
        }
        if (peer.is_name) {
            lookups.emplace_back(trials.size(), Lookup(peer.host, domain_of(peer, wishes)));
        }
        trials.push_back({peer, "", {}, 0});
        if (!peer.is_name) {
            trials.back().addresses.push_back(peer.host);
        }
    }
    for (const auto &[number, lookup] : lookups) {
        Answer answer = lookup.wait(end);

        trials[number].failure = std::move(answer.failure);
        trials[number].is_unanswered = answer.is_unanswered;
        trials[number].addresses = std::move(answer.addresses);
    }
    for (PeerTrial &trial : trials) {
        if (!trial.addresses.empty()) {
            trial.route_error = route_error(trial.addresses.front());
        }
    }
    return trials;
}

} // namespace doctor
