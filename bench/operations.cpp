#include "operations.h"

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <stdexcept>
#include <system_error>
#include <thread>
#include <vector>

#include <ifaddrs.h>

#include "addresses.h"
#include "participants.h"

namespace bench {
namespace {

void list_interfaces() {
    ifaddrs *interfaces = nullptr;

    if (getifaddrs(&interfaces) != 0) {
        throw std::system_error(errno, std::generic_category(), "getifaddrs");
    }
    freeifaddrs(interfaces);
}

class UpdateWithoutChange : public Operation {
public:
    explicit UpdateWithoutChange(int count) : participants_(make_participants(count)) {}

    void perform() override {
        for (const Participant &participant : participants_) {
            participant.update_locators();
        }
    }
    /** The question that each update saves. */
    void perform_bare() override {
        for (std::size_t i = 0; i < participants_.size(); ++i) {
            list_interfaces();
        }
    }

private:
    const std::vector<Participant> participants_;
};

class UpdateWithAddress : public Operation {
public:
    explicit UpdateWithAddress(int count) : participants_(make_participants(count)) {}

    void prepare() override {
        /* The reactor still lets settle what the last round did, and then acts on it. */
        std::this_thread::sleep_for(QUIET);
        added_ = Clock::now();
        address_.add();
        participants_.front().wait_for_reactor();
        list_interfaces(); /* or else the pause would cost the subject more than the floor */
    }
    void perform() override {
        for (const Participant &participant : participants_) {
            participant.update_locators();
        }
        updated_ = Clock::now();
    }
    /** The question that has to be asked once, however many participants there are. */
    void perform_bare() override {
        list_interfaces();
    }
    /** Some may have been updated by the reactor, if this thread had to wait for a processor. */
    bool finish() override {
        const bool is_complete = updated_ - added_ < SETTLE;

        address_.remove();
        participants_.front().wait_for_reactor();
        perform();
        return is_complete;
    }

private:
    using Clock = std::chrono::steady_clock;

    /** The middleware lets a burst of events settle for so long before it acts by itself. */
    static constexpr std::chrono::milliseconds SETTLE{20};
    static constexpr std::chrono::milliseconds QUIET{30};

    Clock::time_point added_;
    Clock::time_point updated_;
    SpareAddress address_;
    const std::vector<Participant> participants_;
};

/** A participant and the records that its QoS goes to and comes from. */
struct WithQos {
    explicit WithQos(int domain) : participant(domain) {
        participant.get_qos(running);
    }
    WithQos(WithQos &&) = default;

    Participant participant;
    Qos running;
    Qos got;
    Qos copied;
};

class QosOperation : public Operation {
public:
    explicit QosOperation(int count) {
        all_.reserve(static_cast<std::size_t>(count));
        for (int i = 0; i < count; ++i) {
            all_.emplace_back(DOMAIN);
        }
    }

    void prepare() override {
        for (WithQos &each : all_) {
            each.got.clear();
            each.copied.clear();
        }
    }
    /** A deep copy of the record, which both getting and setting cannot do without. */
    void perform_bare() override {
        for (WithQos &each : all_) {
            each.copied.copy(each.running);
        }
    }

protected:
    std::vector<WithQos> all_;
};

class GetQos : public QosOperation {
public:
    using QosOperation::QosOperation;

    void perform() override {
        for (WithQos &each : all_) {
            each.participant.get_qos(each.got);
        }
    }
};

class SetQos : public QosOperation {
public:
    using QosOperation::QosOperation;

    void perform() override {
        for (const WithQos &each : all_) {
            each.participant.set_qos(each.running);
        }
    }
};

class SetUserData : public SetQos {
public:
    using SetQos::SetQos;

    void prepare() override {
        SetQos::prepare();
        ++first_octet_;
        for (WithQos &each : all_) {
            each.running.set_user_data(first_octet_);
        }
    }

private:
    DDS_Octet first_octet_ = 0;
};

} // namespace

std::unique_ptr<Operation> make_operation(OperationKind kind, int count) {
    switch (kind) {
    case OperationKind::UPDATE_WITHOUT_CHANGE:
        return std::make_unique<UpdateWithoutChange>(count);
    case OperationKind::UPDATE_WITH_ADDRESS:
        return std::make_unique<UpdateWithAddress>(count);
    case OperationKind::GET_QOS:
        return std::make_unique<GetQos>(count);
    case OperationKind::SET_QOS_WITHOUT_CHANGE:
        return std::make_unique<SetQos>(count);
    case OperationKind::SET_QOS_OF_USER_DATA:
        return std::make_unique<SetUserData>(count);
    }
    throw std::logic_error("no such operation");
}

bool needs_private_network(OperationKind kind) {
    return kind == OperationKind::UPDATE_WITH_ADDRESS;
}

} // namespace bench
