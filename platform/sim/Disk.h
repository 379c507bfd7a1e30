#pragma once

namespace sim {

class Television;

/// The disk of the set: all of its folder but for /run, /tmp and /dev, which lie in memory. When it is full, a
/// persistent setting is kept only where the store's file has room left for it, and files that the service replaces as
/// a whole stay as they were.
class Disk
{
public:
    explicit Disk(Television& tv) : m_tv(tv) {}
    ~Disk();
    Disk(const Disk&) = delete;
    Disk& operator=(const Disk&) = delete;

    void IsFull(bool full);
    [[nodiscard]] bool IsFull() const;

private:
    Television& m_tv;
};

} // namespace sim
