#include "orders/Findings.h"

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <system_error>

namespace orders {

namespace {

constexpr std::size_t kSlots = std::size_t{1} << 25U; // of the table of states
constexpr std::size_t kMostKept = std::size_t{1} << 24U;
constexpr std::size_t kMostFound = 4;

} // namespace

struct Findings::Memory
{
    Counts counts;
    std::array<Finding, kMostFound> found;
    std::array<Known, kMostKept> kept;
    std::array<std::atomic<std::uint64_t>, kSlots> seen; // 0 for a free slot
};

namespace {

void* Share(std::size_t size)
{
    void* memory = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "no memory to share");
    }
    return memory;
}

} // namespace

// The memory comes filled with zeroes, which is how all of it begins: to write it once more would take it up.
Findings::Findings() : counts(*new (Share(sizeof(Memory))) Counts), m_memory(reinterpret_cast<Memory*>(&counts)) {}

Findings::~Findings()
{
    ::munmap(m_memory, sizeof(Memory));
}

bool Findings::IsNew(std::uint64_t digest)
{
    for (std::size_t tried = 0; tried < kSlots; ++tried) {
        std::atomic<std::uint64_t>& slot = m_memory->seen[(digest + tried) % kSlots];
        std::uint64_t present = 0;
        if (slot.compare_exchange_strong(present, digest)) {
            return true;
        }
        if (present == digest) {
            return false;
        }
    }
    counts.isFull = true;
    return false;
}

void Findings::Keep(const Known& state)
{
    const std::uint64_t place = counts.kept.fetch_add(1);
    if (place >= kMostKept) {
        counts.isFull = true;
        return;
    }
    m_memory->kept[place] = state;
}

void Findings::Report(const Order& order, std::string_view what)
{
    const std::uint64_t place = counts.found.fetch_add(1);
    if (place < kMostFound) {
        Finding& finding = m_memory->found[place];
        finding.order = order;
        std::ranges::copy_n(what.begin(), static_cast<std::ptrdiff_t>(std::min(what.size(), finding.what.size() - 1)),
                            finding.what.begin());
    }
}

std::size_t Findings::Kept() const
{
    return std::min<std::size_t>(counts.kept, kMostKept);
}

const Known& Findings::At(std::size_t place) const
{
    return m_memory->kept[place];
}

std::span<const Finding> Findings::Found() const
{
    return {m_memory->found.data(), std::min<std::size_t>(counts.found, kMostFound)};
}

} // namespace orders
