#include "features/KeyFiles.h"
#include "features/Model.h"

#include <system_info.h>

#include <cstring>
#include <optional>
#include <string>

namespace {

constexpr int kInfoFailed = -1;
constexpr int kInfoNotFound = -2;
constexpr int kInfoWrongType = -3;

constexpr const char* kValueGroup = "value";

int ResultOf(features::KeyFiles::Found found)
{
    switch (found) {
    case features::KeyFiles::Found::Yes:
        return 0;
    case features::KeyFiles::Found::WrongType:
        return kInfoWrongType;
    case features::KeyFiles::Found::No:
        break;
    }
    return kInfoNotFound;
}

/// A feature's name up to its second slash is the group, the rest the key; nothing for a name that has no such rest.
struct FeatureName
{
    explicit FeatureName(const std::string& name)
    {
        const std::size_t first = name.find('/');
        const std::size_t second = first == std::string::npos ? first : name.find('/', first + 1);
        if (second != std::string::npos) {
            group = name.substr(0, second);
            key = name.substr(second + 1);
        }
    }

    std::string group;
    std::string key;
};

} // namespace

int system_info_get_custom_bool(const char* key, bool* value)
{
    if (key == nullptr || value == nullptr) {
        return kInfoFailed;
    }
    const FeatureName name(key);
    return ResultOf(features::KeyFiles::OfBox().Bool(name.group.c_str(), name.key.c_str(), value));
}

int system_info_get_custom_int(const char* key, int* value)
{
    if (key == nullptr || value == nullptr) {
        return kInfoFailed;
    }
    const FeatureName name(key);
    return ResultOf(features::KeyFiles::OfBox().Int(name.group.c_str(), name.key.c_str(), value));
}

int system_info_get_value_int(int key, int* value)
{
    if (value == nullptr) {
        return kInfoFailed;
    }
    return ResultOf(features::KeyFiles::OfBox().Int(kValueGroup, std::to_string(key).c_str(), value));
}

int system_info_get_value_string(int key, char** value)
{
    if (value == nullptr) {
        return kInfoFailed;
    }
    std::optional<std::string> text = features::KeyFiles::OfBox().Text(kValueGroup, std::to_string(key).c_str());
    if (!text && key == SYSTEM_INFO_MODEL_NAME) {
        text = features::ModelOfMachine();
    }
    if (!text) {
        return kInfoNotFound;
    }
    char* copy = ::strdup(text->c_str());
    if (copy == nullptr) {
        return kInfoFailed;
    }
    *value = copy;
    return 0;
}
