#include "CheckedType.h"

#include "Hash.h"
#include "Value.h"

#include <cstddef>
#include <cstdint>
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
    return static_cast<std::int32_t>((static_cast<std::uint32_t>(hash.Sum()) << 2U) |
                                     static_cast<std::uint32_t>(value.index()));
}

} // namespace settings
