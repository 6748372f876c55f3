/** @file operations.h  What is asked of participants that stand there. */
#ifndef BENCH_OPERATIONS_H
#define BENCH_OPERATIONS_H

#include <array>
#include <memory>

namespace bench {

enum class OperationKind {
    UPDATE_WITHOUT_CHANGE, /**< of the locators, which finds nothing new */
    UPDATE_WITH_ADDRESS,   /**< of the locators, which finds one address more */
    GET_QOS,               /**< into an empty record */
    SET_QOS_WITHOUT_CHANGE,
    SET_QOS_OF_USER_DATA, /**< to other 16 octets */
};

inline constexpr std::array OPERATION_KINDS = {
    OperationKind::UPDATE_WITHOUT_CHANGE, OperationKind::UPDATE_WITH_ADDRESS,
    OperationKind::GET_QOS, OperationKind::SET_QOS_WITHOUT_CHANGE,
    OperationKind::SET_QOS_OF_USER_DATA};

/** How many participants are asked. */
inline constexpr std::array OPERATION_COUNTS = {1, 100};

/**
 * An operation on participants of one process and domain, which live as long as the object. What
 * is not done throws.
 */
class Operation {
public:
    virtual ~Operation() = default;

    /** Before each round: what has to be so. */
    virtual void prepare() {}
    /** What is measured: every participant is asked once. */
    virtual void perform() = 0;
    /** The floor. */
    virtual void perform_bare() = 0;
    /** After each round. False when something came in between, so that it does not count. */
    virtual bool finish() {
        return true;
    }
};

/** @param count of participants. */
std::unique_ptr<Operation> make_operation(OperationKind kind, int count);

/** Whether it takes a network that may be changed. */
bool needs_private_network(OperationKind kind);

} // namespace bench

#endif
