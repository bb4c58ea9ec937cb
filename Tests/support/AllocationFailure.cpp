#include "AllocationFailure.h"

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

thread_local long nothrowUntilFailure = 0;
thread_local long anyUntilFailure = 0;
thread_local long chosenOfAny = 0;
thread_local bool everyNothrowFails = false;
thread_local bool lastsForEver = false;
thread_local bool failed = false;
thread_local int suspended = 0;

std::atomic<long> live{0};

bool IsTheOne(long& untilFailure)
{
    const bool isTheOne = suspended == 0 && untilFailure > 0 && --untilFailure == 0;
    failed = failed || isTheOne;
    return isTheOne;
}

bool AnyFails()
{
    const bool isAfterwards = lastsForEver && failed && suspended == 0;
    return isAfterwards || IsTheOne(anyUntilFailure);
}

void* Counted(void* memory)
{
    live += memory != nullptr ? 1 : 0;
    return memory;
}

void* Allocate(std::size_t size)
{
    return AnyFails() ? nullptr : Counted(std::malloc(size > 0 ? size : 1));
}

void* Allocate(std::size_t size, std::align_val_t alignment)
{
    const std::size_t unit = static_cast<std::size_t>(alignment);
    return AnyFails() ? nullptr : Counted(std::aligned_alloc(unit, (size + unit - 1) / unit * unit));
}

/** Whether an allocation fails that is asked for without an exception, of those that FailNothrow() is about. */
bool NothrowFails()
{
    failed = failed || everyNothrowFails;
    return everyNothrowFails || IsTheOne(nothrowUntilFailure);
}

void* OrThrow(void* memory)
{
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void Free(void* memory)
{
    live -= memory != nullptr ? 1 : 0;
    std::free(memory);
}

}  // namespace

void allocation_failure::FailNothrow(long nth)
{
    failed = false;
    nothrowUntilFailure = nth;
}

void allocation_failure::FailEveryNothrow()
{
    failed = false;
    everyNothrowFails = true;
}

void allocation_failure::FailAny(long nth)
{
    failed = false;
    anyUntilFailure = nth;
    chosenOfAny = nth;
}

void allocation_failure::FailAnyFrom(long nth)
{
    FailAny(nth);
    lastsForEver = true;
}

allocation_failure::Suspended::Suspended()
{
    ++suspended;
}

allocation_failure::Suspended::~Suspended()
{
    --suspended;
}

bool allocation_failure::Stop()
{
    nothrowUntilFailure = 0;
    everyNothrowFails = false;
    anyUntilFailure = 0;
    lastsForEver = false;
    return failed;
}

long allocation_failure::Asked()
{
    return chosenOfAny - anyUntilFailure;
}

bool allocation_failure::Fails()
{
    return AnyFails();
}

long allocation_failure::Live()
{
    return live;
}

void allocation_failure::AddLive(long blocks)
{
    live += blocks;
}

// All forms that there are: none of the library's allocations goes another way.

void* operator new(std::size_t size)
{
    return OrThrow(Allocate(size));
}

void* operator new[](std::size_t size)
{
    return OrThrow(Allocate(size));
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return NothrowFails() ? nullptr : Allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return NothrowFails() ? nullptr : Allocate(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return OrThrow(Allocate(size, alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return OrThrow(Allocate(size, alignment));
}

void* operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return NothrowFails() ? nullptr : Allocate(size, alignment);
}

void* operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t&) noexcept
{
    return NothrowFails() ? nullptr : Allocate(size, alignment);
}

void operator delete(void* memory) noexcept
{
    Free(memory);
}

void operator delete[](void* memory) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    Free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    Free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    Free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    Free(memory);
}

void operator delete[](void* memory, std::align_val_t) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    Free(memory);
}

void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept
{
    Free(memory);
}

void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept
{
    Free(memory);
}

void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept
{
    Free(memory);
}
