// SPDX-License-Identifier: Apache-2.0
// A process of a simulated host, and the loop that turns its runtime.
#include "simnet/simnet_process.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <utility>

#include "osapi/osapi_assert.h"
#include "simnet/simnet_world.h"
#include "transport.h"

namespace simnet {

/** What turns a runtime, as calls of a process. */
class Loop {
public:
    static NUVNetioLoop of(Process *process) {
        NUVNetioLoop loop{};
        loop.open = open;
        loop.close = [](void *) {};
        loop.start = start;
        loop.stop = stop;
        loop.watch = watch;
        loop.unwatch = unwatch;
        loop.setTimer = set_timer;
        loop.wakeUp = wake_up;
        loop.isWithin = is_within;
        loop.run = [](void *param, NUV_INT64 nanoseconds) { self(param).run(nanoseconds); };
        loop.param = process;
        return loop;
    }

private:
    static Process &self(void *param) {
        return *static_cast<Process *>(param);
    }

    static void *open(void *param, const NUVNetioLoopHandler *handler) {
        self(param).handler_ = *handler;
        return param;
    }

    static int start(void *param, NUVOsapiThreadFactory * /*threads*/, REDAWorkerFactory *workers) {
        NUV_ASSERT(self(param).worker_ == nullptr);
        self(param).workers_ = workers;
        self(param).worker_ =
            REDAWorkerFactory_createWorker(workers, NUV_NETIO_REACTOR_THREAD_NAME);
        return self(param).worker_ != nullptr ? 1 : 0;
    }

    static int stop(void *param) {
        Process &process = self(param);
        if (process.worker_ != nullptr) {
            [[maybe_unused]] const bool goes_on = process.turn();
            NUV_ASSERT(!goes_on);
            REDAWorkerFactory_destroyWorker(process.workers_, process.worker_);
            process.worker_ = nullptr;
            process.timer_ = 0;
            process.ready_.clear();
        }
        return 1;
    }

    static int watch(void *param, NUVNetioSocket_t handle, NUV_UINT64 tag) {
        Process &process = self(param);
        if (process.fails(Call::WATCH)) {
            return 0;
        }
        Socket *const socket = process.host_.find(handle);
        if (socket == nullptr) { // the process is dead
            errno = EBADF;
            return 0;
        }
        socket->tag = tag;
        if (!socket->arrived.empty()) {
            process.on_arrived(*socket);
        }
        return 1;
    }

    static void unwatch(void *param, NUVNetioSocket_t handle) {
        Socket *const socket = self(param).host_.find(handle);
        if (socket != nullptr) {
            socket->tag.reset();
        }
    }

    static void set_timer(void *param, NUV_INT64 nanoseconds) {
        self(param).timer_ = nanoseconds;
        self(param).plan_timer();
    }

    static int wake_up(void *param) {
        self(param).is_woken_ = true;
        self(param).turn_soon();
        return 1;
    }

    static int is_within(const void *param) {
        return static_cast<const Process *>(param)->is_within_ ? 1 : 0;
    }
};

/** What a runtime is handed by reference. */
struct Process::Networks {
    explicit Networks(Process &process)
        : udpv4(make_transport(process, KOLS_TRANSPORT_CLASSID_UDPv4)),
          udpv6(make_transport(process, KOLS_TRANSPORT_CLASSID_UDPv6)),
          loop(Loop::of(&process)), clock{{"simulated", read, sleep}, &process} {}

    struct Clock : NUVClock {
        Process *process;
    };
    static NUV_INT64 read(const NUVClock *self) {
        return static_cast<const Clock *>(self)->process->host().monotonic();
    }
    static void sleep(const NUVClock *self, NUV_INT64 shown) {
        static_cast<const Clock *>(self)->process->sleep_until(shown);
    }

    const NUVNetioTransport udpv4;
    const NUVNetioTransport udpv6;
    const NUVNetioLoop loop;
    Clock clock;
};

Process::Within::Within(Process &process)
    : world_(process.host().world()), former_(world_.current_) {
    world_.current_ = &process;
}

Process::Within::~Within() {
    world_.current_ = former_;
}

Process::Process(Host &host, std::string name, NUV_UINT32 number, const ProcessProperty &property)
    : host_(host), name_(std::move(name)), number_(number), property_(property),
      networks_(std::make_unique<Networks>(*this)) {}

Process::~Process() {
    NUV_ASSERT(worker_ == nullptr);
}

NUVNetioRuntimeProperty Process::runtime_property() {
    NUVNetioRuntimeProperty property = NUV_NETIO_RUNTIME_PROPERTY_DEFAULT;
    property.interfaceSource = {
        [](void *param, int (*add)(void *, const NUVNetioInterface *), void *add_param) {
            auto *self = static_cast<Process *>(param);
            return self->fails(Call::LIST) ? 0 : self->host_.list_interfaces(add, add_param);
        },
        this,
        [](void *param, NUVNetioRuntime *runtime) {
            static_cast<Process *>(param)->runtime_ = runtime;
        },
    };
    property.transports[0] = &networks_->udpv4;
    property.transports[1] = &networks_->udpv6;
    property.loop = &networks_->loop;
    property.clock = &networks_->clock;
    return property;
}

void Process::at(Time time, Action action) {
    host_.world().at(time, [this, action = std::move(action)]() mutable {
        if (!is_alive_) {
            return;
        }
        waiting_.push_back(std::move(action));
        run_waiting();
    });
}

void Process::run_waiting() {
    while (!waiting_.empty() && is_alive_ && !is_stopped_ && sleeping_ == 0) {
        const Action action = std::move(waiting_.front());
        waiting_.pop_front();
        call(action);
    }
}

/** While it sleeps the world goes on, and so does the process's own loop. */
void Process::sleep_until(Time shown) {
    World &world = host_.world();
    ++sleeping_;
    while (host_.monotonic() < shown || (is_stopped_ && is_alive_)) {
        const Time time = host_.monotonic() < shown ? host_.monotonic_.when(shown) : INT64_MAX;
        if (time != INT64_MAX) {
            world.run_until(time);
        } else if (!world.step()) { // somebody has to set it going
            throw std::logic_error(name_ + " sleeps, and it or its clock is stopped for good");
        }
    }
    --sleeping_;
    if (!waiting_.empty()) {
        world.at(world.now(), [this] { run_waiting(); });
    }
}

void Process::fail(const Fault &fault) {
    if (fault.error == 0) {
        throw std::logic_error("a fault without a reason");
    }
    faults_.push_back(fault);
}

void Process::mend() {
    faults_.clear();
}

void Process::limit_descriptors(NUV_UINT32 most) {
    property_.descriptorsMax = most;
}

void Process::interpose(int calls, Action action) {
    calls_until_ = calls;
    interposed_ = std::move(action);
}

void Process::run_interposed() {
    if (interposed_ && calls_until_-- <= 0) {
        Process *const former = std::exchange(host_.world().current_, nullptr);
        std::exchange(interposed_, nullptr)();
        host_.world().current_ = former;
    }
}

/** Whether a call is to fail; then errno tells why. */
bool Process::fails(Call call) {
    run_interposed();
    for (Fault &fault : faults_) {
        if (fault.call != call || fault.times == 0) {
            continue;
        }
        if (fault.after > 0) {
            --fault.after;
        } else if (host_.world().random().happens(fault.share)) {
            fault.times -= fault.times > 0 ? 1 : 0;
            errno = fault.error;
            return true;
        }
    }
    return false;
}

void Process::stop() {
    if (is_stopped_) {
        return;
    }
    is_stopped_ = true;
    host_.world().trace_change(host_.number(), number_, "stop");
}

void Process::resume() {
    if (!is_stopped_) {
        return;
    }
    is_stopped_ = false;
    host_.world().trace_change(host_.number(), number_, "resume");
    if (is_woken_ || !ready_.empty()) {
        turn_soon();
    }
    plan_timer();
    run_waiting();
}

void Process::kill() {
    if (is_alive_) {
        is_alive_ = false;
        host_.close_all_of(this);
        host_.world().trace_change(host_.number(), number_, "kill");
    }
}

void Process::on_arrived(Socket &socket) {
    if (socket.tag && !socket.is_ready) {
        socket.is_ready = true;
        ready_.push_back(socket.handle);
        turn_soon();
    }
}

void Process::on_interfaces_changed() const {
    if (runtime_ != nullptr && is_alive_) {
        NUVNetioRuntime_noteInterfaceEvent(runtime_);
    }
}

void Process::forget(const Socket &socket) {
    std::erase(ready_, socket.handle);
}

/** Has it do what there is to do, when it gets to it. */
void Process::turn_soon() {
    if (is_planned_ || is_within_ || is_stopped_ || !is_alive_ || worker_ == nullptr) {
        return;
    }
    World &world = host_.world();
    const Time reaction = property_.reactionMax > property_.reaction
                              ? world.random().between(property_.reaction, property_.reactionMax)
                              : property_.reaction;
    is_planned_ = true;
    world.at(std::max(world.now() + reaction, busy_until_), [this] {
        is_planned_ = false;
        if (!is_within_ && !is_stopped_ && is_alive_ && worker_ != nullptr) {
            turn();
        }
    });
}

void Process::read_ready() {
    for (const NUVNetioSocket_t handle : std::exchange(ready_, {})) {
        Socket *socket = host_.find(handle);
        if (socket == nullptr) { // closed by what was read before
            continue;
        }
        socket->is_ready = false;
        if (!socket->tag || socket->arrived.empty()) {
            continue;
        }
        handler_.onReadable(handler_.param, *socket->tag, worker_);
        socket = host_.find(handle);
        if (socket != nullptr && socket->tag && !socket->arrived.empty() && !socket->is_ready) {
            socket->is_ready = true;
            ready_.push_back(handle);
        }
    }
}

/** Whether the loop is to go on. */
bool Process::turn() {
    const Within within(*this);
    World &world = host_.world();
    is_within_ = true;
    is_woken_ = false;
    received_ = 0;
    if (timer_ != 0 && timer_ <= host_.monotonic()) {
        timer_ = 0;
    }
    read_ready();
    const bool goes_on = handler_.onTurn(handler_.param, worker_) != 0;
    is_within_ = false;
    busy_until_ = world.now() + static_cast<Time>(received_) * property_.receiveTime;
    world.trace_.add({world.now(), Event::TURNED, host_.number(), number_, {}, received_, 0});
    if (goes_on && (is_woken_ || !ready_.empty())) {
        turn_soon();
    }
    plan_timer(); // its time may have come meanwhile
    return goes_on;
}

/** What a call does that waits for its own loop. */
void Process::run(Time duration) {
    constexpr int MOST_TURNS = 1'000; // more follow one another only where something is wrong
    for (int i = 0; i < MOST_TURNS && (i == 0 || is_woken_ || !ready_.empty()); ++i) {
        (void)turn();
    }
    if (duration > 0) {
        sleep_until(host_.monotonic() + duration);
    }
}

/** Sees to it that the timer is looked at when its time has come. */
void Process::plan_timer() {
    if (timer_ == 0 || is_stopped_ || !is_alive_) {
        return;
    }
    World &world = host_.world();
    const Time time = host_.monotonic_.when(timer_);
    if (time == INT64_MAX || (planned_timer_ != 0 && planned_timer_ <= time)) {
        return; // it is looked at before
    }
    planned_timer_ = std::max(time, world.now());
    world.at(planned_timer_, [this, planned = planned_timer_] {
        if (planned_timer_ == planned) {
            planned_timer_ = 0;
            on_timer();
        }
    });
}

void Process::on_timer() {
    if (timer_ == 0) {
        return;
    }
    if (timer_ <= host_.monotonic()) {
        turn_soon();
    } else {
        plan_timer();
    }
}

} // namespace simnet
