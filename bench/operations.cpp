#include "operations.h"

#include <atomic>
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
    explicit UpdateWithAddress(int count) : participants_(make_participants(count, &listener_)) {}

    void prepare() override {
        /* The reactor still lets settle what the last round did, and then acts on it. */
        std::this_thread::sleep_for(QUIET);
        address_.add();
        participants_.front().wait_for_reactor();
        list_interfaces(); /* or else the pause would cost the subject more than the floor */
        updated_here_ = 0;
        asking_ = std::this_thread::get_id();
    }
    void perform() override {
        for (const Participant &participant : participants_) {
            participant.update_locators();
        }
    }
    /** The question that has to be asked once, however many participants there are. */
    void perform_bare() override {
        list_interfaces();
    }
    /** Some may have been updated by the reactor, if this thread had to wait for a processor. */
    bool finish() override {
        const bool is_complete = updated_here_ == static_cast<int>(participants_.size());

        address_.remove();
        participants_.front().wait_for_reactor();
        perform();
        return is_complete;
    }

private:
    /** Longer than the middleware lets a burst of events settle. */
    static constexpr std::chrono::milliseconds QUIET{30};

    static void count(void *self, DDS_DomainParticipant * /*participant*/) {
        auto *operation = static_cast<UpdateWithAddress *>(self);

        if (std::this_thread::get_id() == operation->asking_) {
            ++operation->updated_here_;
        }
    }

    std::atomic<std::thread::id> asking_{};
    std::atomic<int> updated_here_ = 0;
    const DDS_DomainParticipantListener listener_ = {this, nullptr, count};
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
