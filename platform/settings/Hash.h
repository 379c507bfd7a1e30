// The sum by which damage is told from what was written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace settings {

// FNV-1a with eight bytes at once, as one byte at a time a long text would cost more than a tenth of its write, and the
// end of SplitMix64, so that each bit of the last word reaches all bits of the sum. Every step is a bijection: whatever
// changes in one word alone changes the 64 bits of the end.
class Hash
{
public:
    void Add(std::string_view bytes)
    {
        Add(bytes.size());
        std::uint64_t word = 0;
        for (; bytes.size() > sizeof word; bytes.remove_prefix(sizeof word)) {
            std::memcpy(&word, bytes.data(), sizeof word);
            Add(word);
        }
        word = 0;
        std::memcpy(&word, bytes.data(), bytes.size());
        Add(word);
    }
    void Add(std::uint64_t word)
    {
        m_hash = (m_hash ^ word) * 1'099'511'628'211U;
        m_hash ^= m_hash >> 32U; // else the upper bits of a word would never reach the lower ones
    }
    std::uint64_t Sum() const
    {
        std::uint64_t sum = (m_hash ^ (m_hash >> 30U)) * 0xBF58'476D'1CE4'E5B9U;
        sum = (sum ^ (sum >> 27U)) * 0x94D0'49BB'1331'11EBU;
        return sum ^ (sum >> 31U);
    }

private:
    std::uint64_t m_hash = 14'695'981'039'346'656'037U;
};

} // namespace settings
