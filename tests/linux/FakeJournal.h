#pragma once

#include <map>
#include <string>
#include <vector>

namespace linux_test {

/// The box's journal: a socket where the journal has its own, and what arrives there.
class FakeJournal
{
public:
    /// One entry by its fields; of a field that came twice the later value.
    using Entry = std::map<std::string, std::string>;

    FakeJournal();
    ~FakeJournal();
    FakeJournal(const FakeJournal&) = delete;
    FakeJournal& operator=(const FakeJournal&) = delete;

    /// All entries that have arrived since the last call.
    std::vector<Entry> Entries();

    /// It goes, and its socket with it.
    void Goes();
    void ComesBack();

private:
    int m_socket = -1;
};

} // namespace linux_test
