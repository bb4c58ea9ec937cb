/** @file
 * Memory that runs out at a chosen place. For test programs that have AllocationFailure.cpp among their sources: it
 * replaces the program's operator new and operator delete.
 */
#pragma once

namespace allocation_failure {

/** Lets the @p nth allocation from now fail, from 1, that this thread asks for without an exception. */
void FailNothrow(long nth);

/** Lets every allocation from now fail that this thread asks for without an exception. */
void FailEveryNothrow();

/** Lets the @p nth allocation of any kind from now fail, from 1, that this thread asks for. */
void FailAny(long nth);

/** The same, and every one after it. */
void FailAnyFrom(long nth);

/** While one lives, what this thread allocates is neither counted nor fails. */
class Suspended {
 public:
    Suspended();
    ~Suspended();
    Suspended(const Suspended&) = delete;
    Suspended& operator=(const Suspended&) = delete;
};

/** Lets no allocation fail any more.
 * @return whether the chosen one has failed */
bool Stop();

/** How many allocations of any kind this thread has asked for since FailAny() or FailAnyFrom(), the chosen one being
 * the last that is counted; until Stop(). */
long Asked();

/** For what stands in for another allocator: asks for an allocation that is not made here. @return whether it fails */
bool Fails();

/** How many blocks all threads have allocated and not freed. What another allocator gives is counted by adding it. */
long Live();
void AddLive(long blocks);

}  // namespace allocation_failure
