// SPDX-License-Identifier: Apache-2.0
// The end that answers.
#include <algorithm>
#include <chrono>
#include <iterator>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <netinet/in.h>

#include "doctor/control.h"
#include "doctor/end.h"
#include "doctor/greeting.h"
#include "doctor/two_ends.h"
#include "listening.h"
#include "numbers.h"

namespace doctor {

namespace {

constexpr std::chrono::milliseconds TURN(10);
/** What the one who asks has no more use for is given back, if he has not said so. */
constexpr std::chrono::seconds TIME_TO_ASK_ON(1);
/** Nobody has this host send much to places of his choice. */
constexpr std::chrono::milliseconds TIME_BETWEEN_ANNOUNCEMENTS(200);

/** That nobody guesses. */
std::uint64_t random_number() {
    constexpr unsigned BITS = 32;
    std::random_device random;

    return (static_cast<std::uint64_t>(random()) << BITS) | random();
}

/** Whether what is sent there stays on this host, where programs may trust it. */
bool is_loopback(const std::string &address, Family family) {
    constexpr unsigned BITS_OF_REST = 24;
    constexpr in_addr_t THIS_HOST = 0;
    constexpr in_addr_t LOOPBACK = 127;
    in6_addr ipv6 = {};
    in_addr ipv4 = {};

    if (family == Family::IPV4) {
        (void)inet_pton(AF_INET, address.c_str(), &ipv4);
        const in_addr_t net = ntohl(ipv4.s_addr) >> BITS_OF_REST;

        return net == THIS_HOST || net == LOOPBACK;
    }
    (void)inet_pton(AF_INET6, address.c_str(), &ipv6);
    return IN6_IS_ADDR_LOOPBACK(&ipv6) || IN6_IS_ADDR_UNSPECIFIED(&ipv6) ||
           IN6_IS_ADDR_V4MAPPED(&ipv6);
}

/** A locator that may be announced to: an address and a port, of nobody but one other host. */
bool is_place(const std::string &text) {
    const bool is_locator = text.starts_with("udpv4://") || text.starts_with("udpv6://");
    const Peer peer = is_locator ? to_peer(text) : Peer();

    return is_locator && !peer.is_name && !peer.is_group && !is_loopback(peer.host, *peer.family) &&
           peer.port && *peer.port >= DDS_RTPS_PORT_MIN && *peer.port <= DDS_RTPS_PORT_MAX;
}

} // namespace

/** With the host that asks. */
class Server::Session {
public:
    Session(const DoctorOptions &options, const Wishes &wishes, const Facts &facts)
        : own_(options, wishes, facts) {
        own_.listen();
    }

    /** What to say to a datagram of the host; empty: nothing. */
    std::string answer(const Said &said, Family family) {
        Reading reading = read_message(said.text);

        if (!reading.message) {
            // Whoever asks should learn of the other version, and no more than he has said. Two
            // ends that answered each other's answers would do so for ever.
            const std::string ours = to_text({VERSION_KIND, 0, 0, {}});

            return reading.version && *reading.version != MESSAGE_VERSION &&
                           reading.kind != VERSION_KIND && ours.size() <= said.text.size()
                       ? ours
                       : "";
        }
        const Message &question = *reading.message;

        if (question.session == 0) {
            return question.kind == "hello" ? greet(question, said) : "";
        }
        // Whoever knows the session has had an answer: his address is his.
        if (question.session == greeting_.session && greeting_.session != session_) {
            begin();
        }
        if (question.session != session_) {
            return "";
        }
        last_question_ = Moment::clock::now();
        if (question.number != number_) {
            if (question.kind == "announce" && last_question_ < next_announcement_) {
                return ""; // it is asked again
            }
            number_ = question.number;
            last_answer_ = to_text({question.kind, session_, question.number,
                                    records_for(question, said.address, family)});
        }
        return last_answer_;
    }

    /** Gives back what is not needed any more. */
    void tidy() {
        if (Moment::clock::now() - last_question_ > TIME_TO_ASK_ON) {
            give_back();
        } else if (ear_) {
            ear_->listen();
        }
    }

private:
    void give_back() {
        ear_.reset();
        own_.stop_announcing();
    }

    /** The talk of the last greeting; until now anybody may have sent that by another's address. */
    void begin() {
        session_ = greeting_.session;
        token_ = random_number();
        number_.reset();
        give_back();
        own_.forget();
    }

    std::string greet(const Message &question, const Said &said) {
        if (greeting_.session == 0 || question.number != greeting_.number) {
            greeting_ = {question.number, random_number()};
        }
        const std::string text =
            to_text({"hello", greeting_.session, question.number, {settings_of(own_.wishes())}});

        return text.size() <= said.text.size() ? text : ""; // nobody knows yet whose address it is
    }

    std::vector<Record> records_for(const Message &question, const std::string &address,
                                    Family family) {
        if (question.kind == "end") {
            return page(question);
        }
        if (question.kind == "receive") {
            return receive(family);
        }
        if (question.kind == "received") {
            return received();
        }
        if (question.kind == "send") {
            return send(question, address, family);
        }
        return question.kind == "announce" ? announce(question, address)
                                           : std::vector<Record>{{"unknown"}};
    }

    std::vector<Record> page(const Message &question) {
        const auto asked = question.find("page");
        const auto number =
            asked && !asked->empty() ? to_number<unsigned>(asked->front()) : std::nullopt;

        if (number == 0U) {
            records_ = to_records(own_.look());
            next_ = 0;
        }
        const std::size_t count = records_for_one_message(records_, next_);
        const auto first = records_.begin() + static_cast<std::ptrdiff_t>(next_);
        std::vector<Record> records(first, first + static_cast<std::ptrdiff_t>(count));

        next_ += count;
        if (count > 0 && next_ < records_.size()) {
            records.push_back({"more"});
        }
        return records;
    }

    std::vector<Record> receive(Family family) {
        std::vector<Record> records;

        if (!ear_) {
            std::set<unsigned> ports;

            for (const auto &each : unicast_ports(own_.wishes())) {
                ports.insert(each.begin(), each.end());
            }
            ear_ = std::make_unique<Ear>(own_.volley_plan(family, token_), ports);
        }
        records.push_back({"token", std::to_string(token_)});
        for (const unsigned port : ear_->ports()) {
            records.push_back(to_record({Shot::Kind::PORT, port}));
        }
        if (ear_->has_group()) {
            records.push_back({"group"});
        }
        return records;
    }

    std::vector<Record> received() {
        std::vector<Record> records;

        if (ear_) {
            ear_->listen();
            for (const Shot &shot : ear_->shots()) {
                records.push_back(to_record(shot));
            }
            records.push_back({"source", ear_->source()});
        }
        return records;
    }

    /** To ports of the mapping at the host that asks; whatever else it names is left alone. */
    std::vector<Record> send(const Message &question, const std::string &address, Family family) {
        std::set<unsigned> asked;
        std::set<unsigned> ports;

        for (const Record &record : question.records) {
            if (const auto shot = to_shot(record)) {
                asked.insert(shot->value);
            }
        }
        for (const auto &each : unicast_ports(own_.wishes())) {
            std::ranges::copy_if(each, std::inserter(ports, ports.end()),
                                 [&](unsigned port) { return asked.contains(port); });
        }
        const Volley volley = fire(own_.volley_plan(family, way_back(token_)), address, ports);
        std::vector<Record> records = {{"source", volley.source}};

        for (const Shot &shot : volley.shots) {
            records.push_back(to_record(shot));
        }
        return records;
    }

    std::vector<Record> announce(const Message &question, const std::string &address) {
        std::vector<std::string> places;

        for (const Record &record : question.records) {
            const std::string &value = record.back();

            if (record.front() == "port") {
                const auto port = to_number<DDS_Long>(value);

                if (port && *port >= DDS_RTPS_PORT_MIN && *port <= DDS_RTPS_PORT_MAX) {
                    places.push_back(place_at(address, *port));
                }
            } else if (record.front() == "place" && is_place(value)) {
                places.push_back(value);
            }
        }
        const bool is_done = own_.announce(places);

        next_announcement_ = Moment::clock::now() + TIME_BETWEEN_ANNOUNCEMENTS;
        return {{is_done ? "done" : "failed"}};
    }

    OwnEnd own_;
    std::uint64_t session_ = 0; // 0: none
    std::uint64_t token_ =
        0; // of the volleys; groups have it told to everybody, unlike the session
    struct Greeting {
        unsigned number;
        std::uint64_t session; // that its answer has named; 0: there was none
    };
    Greeting greeting_ = {0, 0};
    std::optional<unsigned> number_; // of the last question
    std::string last_answer_;
    Moment last_question_;
    Moment next_announcement_; // not before
    std::unique_ptr<Ear> ear_;
    std::vector<Record> records_; // of this end, when it was asked for the first page
    std::size_t next_ = 0;        // of them
};

Server::Server(const DoctorOptions &options, const Wishes &wishes)
    : options_(options), wishes_(wishes), hosts_(addresses_of_host(options.serve, wishes)) {
    for (const Family family : wishes.families) {
        if (std::ranges::any_of(
                hosts_, [&](const std::string &address) { return family_of(address) == family; })) {
            controls_.emplace_back(family, options.control_port);
        }
    }
}

Server::~Server() = default;

void Server::serve(const Facts &facts, Moment end) {
    constexpr int MOST_IN_A_TURN = 64;
    Session session(options_, wishes_, facts);
    bool is_asked = false;
    Event event = Event::NEWS;

    while (event != Event::SIGINT_CAME && event != Event::SIGTERM_CAME &&
           Moment::clock::now() < end) {
        for (const Control &control : controls_) {
            control.wait(TURN);
            for (int i = 0; i < MOST_IN_A_TURN; ++i) {
                const auto said = control.hear();

                if (!said) {
                    break;
                }
                if (std::ranges::find(hosts_, said->address) == hosts_.end()) {
                    stranger_ = read_message(said->text).version ? said->address : stranger_;
                    continue;
                }
                if (const std::string text = session.answer(*said, control.family());
                    !text.empty()) {
                    control.say(text, said->address, said->port, said->own_address);
                    is_asked = true;
                }
            }
        }
        session.tidy();
        event = wait_for_event(Moment::min());
    }
    if (!is_asked && (event == Event::NEWS || event == Event::TIME_IS_UP)) {
        throw NoTalk(
            options_.serve + " has asked nothing at UDP port " +
            std::to_string(options_.control_port) +
            (stranger_.empty()
                 ? "; run \"ddspart doctor --with\" there with the address of this host, and let "
                   "that port through both ways"
                 : ", but " + stranger_ +
                       " has, which is not answered; if that is the host, its "
                       "address is translated on the way: --serve " +
                       stranger_));
    }
}

} // namespace doctor
