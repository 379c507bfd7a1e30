// The program's own operator new, which can fail once.

#include "failures/Memory.h"

#include "sim/Side.h"

#include <cstdlib>
#include <new>

namespace {

bool counts = false;
int counted = 0;
int fails = 0;
std::size_t refused = 0;

/// \return whether this request finds no memory
bool IsRefused(std::size_t size)
{
    if (!counts || sim::Runs::Now() != sim::Side::Service || ++counted != fails) {
        return false;
    }
    refused = size;
    return true;
}

} // namespace

void failures::CountMemory(int failing)
{
    counts = true;
    counted = 0;
    fails = failing;
    refused = 0;
}

int failures::StopCountingMemory()
{
    counts = false;
    return counted;
}

std::size_t failures::MemoryRefused()
{
    return refused;
}

// Those for arrays and those that do not throw come here by themselves.
void* operator new(std::size_t size)
{
    void* memory = IsRefused(size) ? nullptr : std::malloc(size > 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
