#include "AllocationFailure.h"

#include <cstdlib>
#include <new>

namespace {

thread_local long nothrowUntilFailure = 0;
thread_local long anyUntilFailure = 0;
thread_local bool everyNothrowFails = false;
thread_local bool lastsForEver = false;
thread_local bool failed = false;
thread_local int suspended = 0;

bool IsTheOne(long& untilFailure)
{
    const bool isTheOne = suspended == 0 && untilFailure > 0 && --untilFailure == 0;
    failed = failed || isTheOne;
    return isTheOne;
}

void* Allocate(std::size_t size)
{
    const bool isAfterwards = lastsForEver && failed && suspended == 0;
    return isAfterwards || IsTheOne(anyUntilFailure) ? nullptr : std::malloc(size > 0 ? size : 1);
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

void* operator new(std::size_t size)
{
    void* const memory = Allocate(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    failed = failed || everyNothrowFails;
    return everyNothrowFails || IsTheOne(nothrowUntilFailure) ? nullptr : Allocate(size);
}

void* operator new[](std::size_t size)
{
    return operator new(size);
}

void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept
{
    return operator new(size, nothrow);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, const std::nothrow_t&) noexcept
{
    std::free(memory);
}
