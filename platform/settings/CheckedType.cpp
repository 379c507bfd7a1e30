#include "CheckedType.h"

#include <type_traits>

namespace settings {
namespace {

template <StoredType Type>
using Alternative = std::variant_alternative_t<static_cast<std::size_t>(Type), Value>;

// CheckedType takes the index of the variant for the type.
static_assert(std::is_same_v<Alternative<kBool>, bool> && std::is_same_v<Alternative<kInt>, int> &&
              std::is_same_v<Alternative<kString>, std::string> && std::variant_size_v<Value> == 3);

class Fnv
{
public:
    void Add(std::string_view bytes)
    {
        for (const char byte : bytes) {
            Add(static_cast<unsigned char>(byte));
        }
    }
    void Add(unsigned char byte)
    {
        m_hash = (m_hash ^ byte) * 16'777'619U;
    }
    std::uint32_t Hash() const
    {
        return m_hash;
    }

private:
    std::uint32_t m_hash = 2'166'136'261U;
};

} // namespace

std::int64_t CheckedType(std::string_view key, const Value& value)
{
    Fnv fnv;
    fnv.Add(key);
    fnv.Add(static_cast<unsigned char>(value.index()));
    if (const auto* text = std::get_if<std::string>(&value); text != nullptr) {
        fnv.Add(*text);
    } else if (const auto* number = std::get_if<int>(&value); number != nullptr) {
        const auto bits = static_cast<std::uint32_t>(*number);
        for (const unsigned shift : {0U, 8U, 16U, 24U}) {
            fnv.Add(static_cast<unsigned char>(bits >> shift));
        }
    } else {
        fnv.Add(static_cast<unsigned char>(std::get<bool>(value)));
    }
    // Signed, so that SQLite keeps it in four bytes.
    return static_cast<std::int32_t>((fnv.Hash() << 2U) | static_cast<std::uint32_t>(value.index()));
}

} // namespace settings
