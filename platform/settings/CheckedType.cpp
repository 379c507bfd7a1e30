#include "CheckedType.h"

#include "Value.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

namespace settings {
namespace {

template <StoredType Type>
using Alternative = std::variant_alternative_t<static_cast<std::size_t>(Type), Value>;

// CheckedType takes the index of the variant for the type.
static_assert(std::is_same_v<Alternative<kBool>, bool> && std::is_same_v<Alternative<kInt>, int> &&
              std::is_same_v<Alternative<kString>, std::string> && std::variant_size_v<Value> == 3);

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
    std::uint32_t Value() const
    {
        std::uint64_t sum = (m_hash ^ (m_hash >> 30U)) * 0xBF58'476D'1CE4'E5B9U;
        sum = (sum ^ (sum >> 27U)) * 0x94D0'49BB'1331'11EBU;
        return static_cast<std::uint32_t>(sum ^ (sum >> 31U));
    }

private:
    std::uint64_t m_hash = 14'695'981'039'346'656'037U;
};

} // namespace

std::int64_t CheckedType(std::string_view key, const Value& value)
{
    Hash hash;
    hash.Add(key);
    hash.Add(value.index());
    if (const auto* text = std::get_if<std::string>(&value); text != nullptr) {
        hash.Add(std::string_view(*text));
    } else if (const auto* number = std::get_if<int>(&value); number != nullptr) {
        hash.Add(static_cast<std::uint32_t>(*number));
    } else {
        hash.Add(static_cast<std::uint64_t>(std::get<bool>(value)));
    }
    // Signed, so that SQLite keeps it in four bytes.
    return static_cast<std::int32_t>((hash.Value() << 2U) | static_cast<std::uint32_t>(value.index()));
}

} // namespace settings
