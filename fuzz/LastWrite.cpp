// What lies beside a bell of the settings: anything, and what a writer left there, cut or changed in one place.

#include "settings/LastWrite.h"

#include "Input.h"
#include "Target.h"
#include "settings/Change.h"
#include "settings/Value.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace {

constexpr settings::WriteId kWhich{1, 2, 3};

settings::Value ValueOf(char type, const std::string& text)
{
    switch (type) {
    case 'b':
        return !text.empty();
    case 'i':
        return static_cast<int>(text.size());
    default:
        return text;
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view anything(reinterpret_cast<const char*>(data), size);
    settings::WriteId which = kWhich;
    if (size >= 4 * sizeof which.id) {
        // Where device, inode and id lie, so that it gets past them.
        std::memcpy(&which.device, data + sizeof which.id, sizeof which.device);
        std::memcpy(&which.inode, data + 2 * sizeof which.id, sizeof which.inode);
        std::memcpy(&which.id, data + 3 * sizeof which.id, sizeof which.id);
    }
    settings::UnpackLastWrite(anything, which);

    fuzz::Input input(data, size);
    const char type = input.Letter();
    const std::string key = input.Until('=');
    const settings::Value value = ValueOf(type, std::string(input.Rest()));
    settings::LastWriteBuffer buffer{};
    const std::string packed(settings::PackLastWrite(kWhich, 4, key, value, buffer));
    if (packed.empty()) {
        return 0;
    }
    const std::optional<settings::Change> left = settings::UnpackLastWrite(packed, kWhich);
    fuzz::Expect(left && left->key == key && left->value == value, "what was left is found");
    const std::size_t place = size % packed.size();
    fuzz::Expect(!settings::UnpackLastWrite(packed.substr(0, place), kWhich), "what was cut is not taken");
    std::string changed = packed;
    changed[place] = static_cast<char>(changed[place] ^ 1);
    fuzz::Expect(!settings::UnpackLastWrite(changed, kWhich), "what was changed is not taken");
    return 0;
}
