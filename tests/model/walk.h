// walk.h - the real driver and the reference driver, walked through the same operations side by side.
//
//  - An operation is a row of the table of operations and a seed of its own, so that a list of operations can lose any
//    of its members and the others still mean something: what depends on the state (the reply to the frame in flight,
//    the entry that a host changes) is looked up in the reference driver when the operation is performed.
//  - After each operation everything that a host can see is compared.

#ifndef WALK_H
#define WALK_H

#include "compare.h"
#include "dice.h"

#include <memory>
#include <string>
#include <vector>

/// Gives PLC_driver and the globals the state that they have after loading.
void reloadDriver();

/// Lists as they were at one moment: the model's as values, the driver's as copies that share their contents.
struct HeldCopies {
    std::vector<plain::Frame> frames;
    std::vector<plain::Var> writes, onceReads, polling, qmapList;
    std::vector<plain::Cell> cells;
    QList<Protocol> driversFrames;
    QList<RW_VAR> driversWrites, driversOnceReads, driversPolling, driversQmapList;
    QList<EXTENDVAR> driversCells;
};

class Walk
{
public:
    Walk();
    ~Walk();
    Walk(const Walk &) = delete;
    Walk &operator=(const Walk &) = delete;

    /// Performs operation \a code (below operationCount()) with the choices of \a dice.
    /// \return empty, or what differs afterwards
    std::string perform(int code, Dice &dice);

    /// What the last operation was, in words.
    const std::string &told() const { return m_told; }

    static int operationCount();
    /// The code of an operation by its name, -1 for none.
    static int operationNamed(const std::string &name);
    /// A code drawn by the weights of ordinary walks, or of walks with long lists and many cells.
    static int drawOperation(Dice &dice, bool large);

    // For the operations.
    plain::Driver model;
    ComInfo settings;
    std::unique_ptr<HeldCopies> held;
    void tell(const std::string &words) { m_told += words; }
    void expect(bool holds, const std::string &what);

private:
    std::string m_told, m_fault;
    int m_performed = 0;
};

struct Operation {
    int code;
    std::uint64_t seed;
};

/// Walks through \a operations from a freshly loaded driver.
/// \param told  receives the operations in words, up to the one that failed
/// \return empty, or what differed; \a failedAt is then the index of the operation that showed it
std::string walkThrough(const std::vector<Operation> &operations, std::size_t &failedAt, std::string *told = nullptr);

/// \a operations that differ somewhere, without those that can be left out of them.
std::vector<Operation> shrunk(std::vector<Operation> operations);

/// A walk of \a length operations drawn from \a seed. \return empty, or a report: seed, difference, shrunk operations
std::string reportOfWalk(std::uint64_t seed, int length, bool large);

#endif
