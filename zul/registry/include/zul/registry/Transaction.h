// Groups registry calls into one atomic, durable step.
#pragma once

#include "zul/registry/registry.h"

namespace zul::registry {

// While a Transaction lives on a thread, every registry call that thread makes
// joins one transaction per hive it touches (the hive is write-locked against
// other processes from the first call on), and nothing becomes visible to
// other processes or durable until commit(). Destroying the scope without
// commit() rolls every call back. Scopes nest: an inner scope's commit()
// hands its work to the outer scope, which makes it durable or not; an inner
// scope left without commit() undoes its own work only.
//
// Atomic per hive; a transaction touching two hives commits them one after
// the other. Other threads of the process wait for the scope to end before
// they reach a hive it has joined. On Windows the scope does nothing.
class ZUL_PLATFORM_API Transaction {
public:
    Transaction();
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    // Makes the calls durable. ERROR_SUCCESS, or a failure status after which
    // everything was rolled back.
    LSTATUS commit();
    // Abandons the calls (also done by the destructor).
    void rollback();

private:
    bool done_ = false;
};

} // namespace zul::registry
