// What the column "type" of a row holds: the type of its value, and a check of key, type and value, so that what was
// damaged on the disk is not taken for what was written. Both in one number: the rows keep their shape, and a write its
// cost.
#pragma once

#include "Value.h"

#include <cstdint>
#include <string_view>

namespace settings {

// The order is that of Value's types and what the files hold: append only.
enum StoredType : std::int64_t
{
    kBool = 0,
    kInt = 1,
    kString = 2
};

// Of 32 bits: the type in the lowest two, above them 30 bits of a hash. Damage goes unseen once in 2^30. Taken in this
// machine's order of bytes: a file is of no use on a machine with the other one.
std::int64_t CheckedType(std::string_view key, const Value& value);

// The type in such a number, which may be none of the above when it is damaged.
inline StoredType TypeIn(std::int64_t checkedType)
{
    return static_cast<StoredType>(checkedType & 3);
}

} // namespace settings
