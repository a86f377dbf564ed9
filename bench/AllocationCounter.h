#pragma once

/** Counts what the calling thread allocates from its construction on. */
class AllocationCounter {
public:
    AllocationCounter();
    unsigned long long OfThisThread() const;

private:
    unsigned long long before;
};
