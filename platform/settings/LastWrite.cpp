#include "LastWrite.h"

#include "CheckedType.h"
#include "Hash.h"
#include "settings/Change.h"
#include "settings/Value.h"

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

namespace settings {
namespace {

// Another release that lays it out otherwise begins its sums with another number.
constexpr std::uint64_t kLayout = 1;

// Before the key and, behind it, the text of a string.
struct Head
{
    std::uint64_t sum; // of all that follows
    std::uint64_t device;
    std::uint64_t inode;
    std::int64_t id;
    std::int64_t moment;
    std::int64_t number; // of a bool or an int; for a string its length
    std::uint32_t keySize;
    std::uint32_t type; // StoredType, the index in Value
};
static_assert(std::is_trivially_copyable_v<Head> && std::has_unique_object_representations_v<Head>);

std::uint64_t SumOf(std::string_view packed)
{
    Hash hash;
    hash.Add(kLayout);
    hash.Add(packed.substr(sizeof Head::sum));
    return hash.Sum();
}

std::int64_t NumberOf(const Value& value)
{
    const auto* number = std::get_if<int>(&value);
    return number != nullptr ? *number : static_cast<std::int64_t>(std::get<bool>(value));
}

} // namespace

std::string_view PackLastWrite(const WriteId& which, std::int64_t moment, std::string_view key, const Value& value,
                               LastWriteBuffer& buffer)
{
    const auto* string = std::get_if<std::string>(&value);
    const std::string_view text = string != nullptr ? *string : std::string_view();
    const std::size_t room = buffer.size() - sizeof(Head);
    if (key.size() > room || text.size() > room - key.size()) {
        return {};
    }
    Head head{0,
              which.device,
              which.inode,
              which.id,
              moment,
              string != nullptr ? static_cast<std::int64_t>(text.size()) : NumberOf(value),
              static_cast<std::uint32_t>(key.size()),
              static_cast<std::uint32_t>(value.index())};
    std::memcpy(buffer.data(), &head, sizeof head);
    key.copy(buffer.data() + sizeof head, key.size());
    text.copy(buffer.data() + sizeof head + key.size(), text.size());
    const std::string_view packed(buffer.data(), sizeof head + key.size() + text.size());
    head.sum = SumOf(packed);
    std::memcpy(buffer.data(), &head.sum, sizeof head.sum);
    return packed;
}

std::optional<Change> UnpackLastWrite(std::string_view packed, const WriteId& which)
{
    Head head{};
    if (packed.size() < sizeof head) {
        return std::nullopt;
    }
    std::memcpy(&head, packed.data(), sizeof head);
    if (head.id != which.id || head.inode != which.inode || head.device != which.device) {
        return std::nullopt;
    }
    const bool isString = head.type == kString;
    const std::size_t textSize = isString ? static_cast<std::size_t>(head.number) : 0;
    const std::size_t room = packed.size() - sizeof head;
    if (head.keySize > room || textSize > room - head.keySize ||
        SumOf(packed.substr(0, sizeof head + head.keySize + textSize)) != head.sum) {
        return std::nullopt;
    }
    packed.remove_prefix(sizeof head);
    Change change{head.id, head.moment, std::string(packed.substr(0, head.keySize)), false};
    if (isString) {
        change.value = std::string(packed.substr(head.keySize, textSize));
    } else if (head.type == kInt) {
        change.value = static_cast<int>(head.number);
    } else {
        change.value = head.number != 0;
    }
    return change;
}

} // namespace settings
